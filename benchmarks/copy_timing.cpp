/// Copies one file with the library's service layer and with `cp` followed by a flush, in turns; one line of JSON.
///
/// Usage: copy_timing FOLDER MEGABYTES ROUNDS

#include <service/FileHandling.h>

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

void writeSource(const std::string& name, int megabytes) {
  std::ofstream file(name, std::ios::binary);
  std::vector<char> block(std::size_t{1} << 20U);
  for (int index = 0; index < megabytes; ++index) {
    for (std::size_t place = 0; place < block.size(); place += 64) {
      block[place] = static_cast<char>(index + static_cast<int>(place));
    }
    file.write(block.data(), static_cast<std::streamsize>(block.size()));
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

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: copy_timing FOLDER MEGABYTES ROUNDS\n");
    return EXIT_FAILURE;
  }
  const std::string source = std::string(argv[1]) + "/source";
  const std::string target = std::string(argv[1]) + "/target";
  writeSource(source, std::atoi(argv[2]));
  for (int round = 0; round < std::atoi(argv[3]); ++round) {
    const double library = timeLibrary(source, target);
    std::remove(target.c_str());
    const double cp = timeCp(source, target);
    std::remove(target.c_str());
    std::printf("{\"megabytes\": %s, \"library_s\": %.3f, \"cp_s\": %.3f}\n", argv[2], library, cp);
    std::fflush(stdout);
  }
  std::remove(source.c_str());
  return EXIT_SUCCESS;
}
