#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace TestSupport {

/// A folder of its own for each test; it goes with this object, with all that the test has left in it.
class TemporaryFolder {
 public:
  TemporaryFolder() : TemporaryFolder(std::filesystem::temp_directory_path()) {}
  /// Within `parent` instead of the usual place.
  explicit TemporaryFolder(const std::filesystem::path& parent) {
    std::string name = (parent / "request_handling_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("cannot make a temporary folder at " + name);
    }
    m_path = name;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

  const std::filesystem::path& path() const { return m_path; }
  std::string file(const std::string& name) const { return (m_path / name).string(); }

  /// Writes a file and returns its name.
  std::string write(const std::string& name, const std::string& content) const {
    std::ofstream(file(name), std::ios::binary) << content;
    return file(name);
  }

  static std::string read(const std::string& name) {
    std::ifstream stream(name, std::ios::binary | std::ios::ate);
    std::string content(stream ? static_cast<std::size_t>(stream.tellg()) : 0, '\0');
    stream.seekg(0);
    stream.read(content.data(), static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<std::size_t>(stream.gcount()));
    return content;
  }

  /// Fails the test unless the folder holds exactly `count` entries, hidden ones included.
  void expectEntries(std::size_t count) const {
    std::size_t found = 0;
    std::string names;
    for (const auto& entry : std::filesystem::directory_iterator(m_path)) {
      ++found;
      names += " " + entry.path().filename().string();
    }
    EXPECT_EQ(found, count) << "left in " << m_path << ":" << names;
  }

 private:
  std::filesystem::path m_path;
};

}  // namespace TestSupport
