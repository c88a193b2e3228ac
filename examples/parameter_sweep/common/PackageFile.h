#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

/// A file with several packages, none of which must be held with the others: for each a line with its length in bytes,
/// the package and a line end; at last the line "end".
namespace ParameterSweep {

/// Writes such a file. Throws `std::system_error` when it cannot be written. Threads: one.
class PackageFileWriter {
 public:
  explicit PackageFileWriter(const std::filesystem::path& file);

  void add(const std::string& package);
  /// Nothing can be added any more.
  void finish();

 private:
  void check();

  std::string m_name;
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
