// Runs a fuzz target over files and folders of files, without a fuzzer: the ordinary tests replay the seeds with it.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

/// In the order of their names, so that every run is the same.
std::set<fs::path> filesOf(const fs::path& path) {
  if (!fs::is_directory(path)) {
    return {path};
  }
  std::set<fs::path> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path)) {
    if (entry.is_regular_file()) {
      files.insert(entry.path());
    }
  }
  return files;
}

void replay(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  const std::vector<char> content{std::istreambuf_iterator<char>(stream), {}};
  std::fprintf(stderr, "%s\n", file.c_str());
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
}

}  // namespace

int main(int argc, char** argv) {
  LLVMFuzzerInitialize(&argc, &argv);
  std::size_t count = 0;
  for (int index = 1; index < argc; ++index) {
    for (const fs::path& file : filesOf(argv[index])) {
      replay(file);
      ++count;
    }
  }
  std::fprintf(stderr, "%zu inputs\n", count);
  return count == 0 ? 1 : 0;
}
