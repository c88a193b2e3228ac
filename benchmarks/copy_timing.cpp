/// Copies a file of data, and one of a gibibyte that holds three words and holes, with the library's service layer and
/// with `cp` followed by a flush, in turns; a line of JSON for each copy.
///
/// Usage: copy_timing FOLDER MEGABYTES ROUNDS

#include <service/FileHandling.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace {

double secondsOf(const std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void writeData(const std::string& name, int megabytes) {
  std::ofstream file(name, std::ios::binary);
  std::vector<char> block(std::size_t{1} << 20U);
  for (int index = 0; index < megabytes; ++index) {
    for (std::size_t place = 0; place < block.size(); place += 64) {
      block[place] = static_cast<char>(index + static_cast<int>(place));
    }
    file.write(block.data(), static_cast<std::streamsize>(block.size()));
  }
}

void writeHoles(const std::string& name) {
  constexpr std::streamoff size = std::streamoff{1} << 30U;
  std::ofstream file(name, std::ios::binary);
  for (const std::streamoff place : {std::streamoff{0}, size / 2, size - 4}) {
    file.seekp(place).write("word", 4);
  }
}

double timeLibrary(const std::string& source, const std::string& target) {
  const auto start = std::chrono::steady_clock::now();
  Drelvan::FileUtilities::copyFile(source, target);
  return secondsOf(start);
}

double timeCp(const std::string& source, const std::string& target) {
  const std::string command = "cp '" + source + "' '" + target + "' && sync '" + target + "'";
  const auto start = std::chrono::steady_clock::now();
  if (std::system(command.c_str()) != 0) {
    std::exit(EXIT_FAILURE);
  }
  return secondsOf(start);
}

long blocksOf(const std::string& name) {
  struct stat status {};
  return ::stat(name.c_str(), &status) == 0 ? static_cast<long>(status.st_blocks) : -1;
}

void timeCopies(const std::string& file, const std::string& source, const std::string& target, int rounds) {
  for (int round = 0; round < rounds; ++round) {
    const double library = timeLibrary(source, target);
    const long blocks = blocksOf(target);
    std::remove(target.c_str());
    const double cp = timeCp(source, target);
    std::remove(target.c_str());
    std::printf("{\"file\": \"%s\", \"library_s\": %.4f, \"cp_s\": %.4f, \"source_blocks\": %ld, \"blocks\": %ld}\n",
                file.c_str(), library, cp, blocksOf(source), blocks);
    std::fflush(stdout);
  }
  std::remove(source.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: copy_timing FOLDER MEGABYTES ROUNDS\n");
    return EXIT_FAILURE;
  }
  const std::string source = std::string(argv[1]) + "/source";
  const std::string target = std::string(argv[1]) + "/target";
  const int rounds = std::atoi(argv[3]);
  writeData(source, std::atoi(argv[2]));
  timeCopies(std::string(argv[2]) + " MB of data", source, target, rounds);
  writeHoles(source);
  timeCopies("1 GiB with three words", source, target, rounds);
  return EXIT_SUCCESS;
}
