#pragma once

#include <examples/parameter_sweep/common/SweepJobId.h>

#include <filesystem>
#include <string>

namespace ParameterSweep {

/// The files of one job in the spool. Its name is the job's unique id, which is hexadecimal digits and hyphens only.
///
/// Each but the logs and the output is replaced as a whole. Threads: a plain value.
struct JobFolder {
  JobFolder(const std::filesystem::path& spool, const SweepJobId& jobId) : path(spool / "jobs" / jobId.getUniqueId()) {}

  std::filesystem::path path;

  // Written by the server.
  std::filesystem::path request = path / "request.xml";   ///< the submission as received: the job is accepted
  std::filesystem::path process = path / "process";       ///< the running job process
  std::filesystem::path serverLog = path / "server.log";  ///< log messages, one a line
  std::filesystem::path outcome =
      path / "outcome.xml";  ///< the status of a failed or cancelled job; outweighs a result

  // Written by the job.
  std::filesystem::path progress = path / "progress.xml";  ///< a status: how far the job is, and on which machine
  std::filesystem::path jobLog = path / "job.log";         ///< log messages, one a line
  std::filesystem::path output = path / "output";          ///< standard output and error of the job and its launcher
  std::filesystem::path result = path / "result.xml";      ///< the result or a refusal: the job has ended
};

/// Whether there is such a file; what is no regular file does not count.
bool isStored(const std::filesystem::path& file);

/// The content of a file; empty when there is none.
std::string readStoredFile(const std::filesystem::path& file);

/// Gives a file its whole content at once: writes a sibling, flushes it to the disk and moves it into place, waiting
/// while the file is busy. An old file's permissions are kept. Who reads the file sees the old content or the new one,
/// also after a kill or a loss of power. Throws `DvException` with nothing changed.
void writeStoredFile(const std::filesystem::path& file, const std::string& content);

/// Removes a file if there is one, waiting while it is busy.
void removeStoredFile(const std::filesystem::path& file);

}  // namespace ParameterSweep
