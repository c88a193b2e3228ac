#include <Platform/RemoteComputation/Service/RequestHandlingBase/WaitingFileUtilities.h>
#include <examples/parameter_sweep/common/StoredFile.h>
#include <fcntl.h>
#include <service/FileHandling.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <system_error>

namespace ParameterSweep {

namespace {

using Drelvan::WaitingFileUtilities;

constexpr unsigned long c_waitMilliseconds = 50;
constexpr int c_tries = 10;

[[noreturn]] void fail(const std::filesystem::path& file) {
  throw Drelvan::FileNameException("write", file.string(), "", std::error_code(errno, std::generic_category()),
                                   "ParameterSweep::writeStoredFile", __FILE__, __LINE__);
}

/// Has what the system holds of a file or folder written to the disk.
void flush(const std::filesystem::path& name, int flags) {
  const int descriptor = ::open(name.c_str(), flags | O_CLOEXEC);
  if (descriptor < 0) {
    fail(name);
  }
  const int result = ::fsync(descriptor);
  ::close(descriptor);
  if (result != 0) {
    fail(name);
  }
}

void writeWhole(const std::filesystem::path& file, const std::string& content) {
  std::ofstream stream(file, std::ios::binary);
  stream.write(content.data(), static_cast<std::streamsize>(content.size()));
  stream.close();
  if (!stream) {
    fail(file);
  }
}

}  // namespace

std::string readStoredFile(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void writeStoredFile(const std::filesystem::path& file, const std::string& content) {
  // The process number keeps two runs of one job, as a restart can leave them, from writing into one sibling.
  const std::string sibling = file.string() + "." + std::to_string(::getpid()) + ".new";
  try {
    writeWhole(sibling, content);
    flush(sibling, O_RDONLY);
    WaitingFileUtilities::waitingRename(sibling, file.string(), c_waitMilliseconds, c_tries);
  } catch (...) {
    std::error_code ignored;
    std::filesystem::remove(sibling, ignored);
    throw;
  }
  flush(file.parent_path(), O_RDONLY | O_DIRECTORY);
}

void removeStoredFile(const std::filesystem::path& file) {
  if (Drelvan::FileUtilities::exists(file.string(), false)) {
    WaitingFileUtilities::waitingRemove(file.string(), c_waitMilliseconds, c_tries);
  }
}

}  // namespace ParameterSweep
