#pragma once

#include <examples/parameter_sweep/common/SweepJobId.h>

#include <cstdint>
#include <filesystem>
#include <string>

namespace ParameterSweep {

/// Where the server and the job programs find what is theirs. A job's folder has its unique id for a name, which is
/// hexadecimal digits and hyphens only; it exists as long as there are files in it. Threads: plain values.
struct JobFolder {
  JobFolder(const std::filesystem::path& spool, const SweepJobId& jobId) : path(spool / "jobs" / jobId.getUniqueId()) {}

  std::filesystem::path path;
};

/// The files of one try of a part of a job.
struct PartFiles {
  PartFiles(const std::filesystem::path& spool, const SweepJobId& jobId, std::uint32_t part, std::uint32_t attempt)
      : folder(JobFolder(spool, jobId).path), name(std::to_string(part) + "." + std::to_string(attempt) + ".") {}

  std::filesystem::path folder;
  std::string name;  ///< part and try, with which each file's name begins

  // Written by the server.
  std::filesystem::path input = folder / (name + "input");  ///< packages of the sweep, with the part's place in it
  // Written by the job program.
  std::filesystem::path progress = folder / (name + "progress");  ///< a status, replaced as a whole
  std::filesystem::path log = folder / (name + "log");            ///< log messages, one per line
  std::filesystem::path result =
      folder / (name + "result");  ///< packages of results, or a refusal; put there as a whole
  std::filesystem::path output = folder / (name + "output");  ///< standard output and error, also of a launcher
};

/// Whether there is such a file; what is no regular file does not count.
bool isStored(const std::filesystem::path& file);

/// The content of a file; empty when there is none. Throws `SweepFailure` (`LocalFailure`) when it cannot be read
/// whole.
std::string readStoredFile(const std::filesystem::path& file);
/// The same from a place on, at most `limit` bytes.
std::string readStoredFile(const std::filesystem::path& file, std::uint64_t offset, std::size_t limit);

/// Gives a file its whole content at once: writes a sibling, flushes it to the disk and moves it into place, waiting
/// while the file is busy. An old file's permissions are kept. Who reads the file sees the old content or the new one,
/// also after a kill or a loss of power. Throws `DvException`: with the old content in place, or, when only the flush
/// of the folder failed, with the new one.
void writeStoredFile(const std::filesystem::path& file, const std::string& content);
/// The same without the flush: after a loss of power the file may be missing.
void replaceFile(const std::filesystem::path& file, const std::string& content);

/// The name of a file until it is whole. The process number keeps two runs of one part, as a restart can leave them,
/// from writing into one sibling.
std::filesystem::path siblingOf(const std::filesystem::path& file);
/// Flushes a file that has been written to `sibling` and moves it into place. Throws with the sibling removed, or, when
/// only the flush of the folder failed, with the file in place.
void moveIntoPlace(const std::filesystem::path& sibling, const std::filesystem::path& file);
/// The same without the flush and without waiting.
void renameIntoPlace(const std::filesystem::path& sibling, const std::filesystem::path& file);

/// Removes a file if there is one, waiting while it is busy.
void removeStoredFile(const std::filesystem::path& file);

}  // namespace ParameterSweep
