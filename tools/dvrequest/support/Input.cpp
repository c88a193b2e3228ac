#include <tools/dvrequest/support/Input.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

namespace DvRequest {

namespace {

namespace fs = std::filesystem;

struct CloseFile {
  void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

[[noreturn]] void failRead(const std::string& name, int error) {
  throw Unreadable("cannot read " + (name == "-" ? "standard input" : "'" + name + "'") + ": " +
                   std::generic_category().message(error));
}

std::string readStream(std::FILE* stream, const std::string& name) {
  std::string content;
  std::array<char, 65536> block{};
  errno = 0;
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), stream)) {
    content.append(block.data(), count);
  }
  if (std::ferror(stream) != 0) {
    failRead(name, errno);
  }
  return content;
}

std::vector<std::string> documentsBelow(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.path().extension() == ".xml" && entry.is_regular_file()) {
      names.push_back(entry.path().string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

std::string readAll(const std::string& name) {
  if (name == "-") {
    return readStream(stdin, name);
  }
  const File file(std::fopen(name.c_str(), "rb"));
  if (file == nullptr) {
    failRead(name, errno);
  }
  return readStream(file.get(), name);
}

std::vector<std::string> expandFolders(const std::vector<std::string>& names) {
  std::vector<std::string> result;
  for (const std::string& name : names) {
    std::error_code ignored;
    if (!fs::is_directory(name, ignored)) {
      result.push_back(name);
      continue;
    }
    try {
      const std::vector<std::string> found = documentsBelow(name);
      if (found.empty()) {
        throw Unreadable("no .xml file in '" + name + "'; name the files themselves if they end otherwise");
      }
      result.insert(result.end(), found.begin(), found.end());
    } catch (const fs::filesystem_error& error) {
      throw Unreadable("cannot read '" + name + "': " + error.code().message());
    }
  }
  return result;
}

}  // namespace DvRequest
