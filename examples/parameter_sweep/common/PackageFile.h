#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

/// A file with several packages, none of which must be held with the others: for each a line with its length in bytes,
/// the package and a line end; at last the line "end".
namespace ParameterSweep {

/// Writes such a file into a sibling, which gets its name once it is whole. Throws `std::system_error` when it cannot
/// be written, `DvException` when it cannot be put into place. Threads: one.
class PackageFileWriter {
 public:
  explicit PackageFileWriter(std::filesystem::path file);
  PackageFileWriter(const PackageFileWriter&) = delete;
  PackageFileWriter& operator=(const PackageFileWriter&) = delete;
  ~PackageFileWriter();  ///< Leaves nothing behind of a file that is not finished.

  void add(const std::string& package);
  /// Flushes the file to the disk and puts it into place. Nothing can be added any more.
  void finish();
  /// The same without the flush: after a loss of power the file may be missing.
  void finishUnflushed();

 private:
  void close();
  void check();

  const std::filesystem::path m_file;
  const std::filesystem::path m_sibling;
  std::ofstream m_stream;
};

/// Reads such a file. Throws `SweepFailure`: `LocalFailure` when a call failed and may succeed later,
/// `MalformedPackage` when what was read is wrong. Threads: one.
class PackageFileReader {
 public:
  /// Packages beyond `maxPackage` bytes count as wrong.
  PackageFileReader(const std::filesystem::path& file, std::size_t maxPackage);
  PackageFileReader(const PackageFileReader&) = delete;
  PackageFileReader& operator=(const PackageFileReader&) = delete;
  ~PackageFileReader();

  /// The next package; empty after the last one.
  std::optional<std::string> next();

 private:
  std::string readLine();
  std::string read(std::size_t size);
  bool fill();

  std::string m_name;
  std::size_t m_maxPackage;
  int m_descriptor;
  std::string m_buffer;
};

}  // namespace ParameterSweep
