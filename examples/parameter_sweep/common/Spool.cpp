#include <Platform/RemoteComputation/Service/RequestHandlingBase/WaitingFileUtilities.h>
#include <examples/parameter_sweep/common/Spool.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <system_error>

namespace ParameterSweep {

namespace {

using Drelvan::WaitingFileUtilities;
namespace fs = std::filesystem;

constexpr unsigned long c_waitMilliseconds = 50;
constexpr int c_tries = 10;

[[noreturn]] void fail(const fs::path& file) {
  throw Drelvan::FileNameException("write", file.string(), "", std::error_code(errno, std::generic_category()),
                                   "ParameterSweep::writeStoredFile", __FILE__, __LINE__);
}

/// Has what the system holds of a file or folder written to the disk.
void flush(const fs::path& name) {
  const int descriptor = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
  const int result = ::fsync(descriptor);
  if (descriptor >= 0) {
    ::close(descriptor);
  }
  if (result != 0) {
    fail(name);
  }
}

}  // namespace

std::string readStoredFile(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void writeStoredFile(const fs::path& file, const std::string& content) {
  // The process number keeps two runs of one job, as a restart can leave them, from writing into one sibling.
  const std::string sibling = file.string() + "." + std::to_string(::getpid()) + ".new";
  try {
    std::ofstream stream(sibling, std::ios::binary);
    stream << content;
    stream.close();
    if (!stream) {
      fail(file);
    }
    flush(sibling);
    WaitingFileUtilities::waitingRename(sibling, file.string(), c_waitMilliseconds, c_tries);
  } catch (...) {
    std::error_code ignored;
    fs::remove(sibling, ignored);
    throw;
  }
  flush(file.parent_path());
}

void removeStoredFile(const fs::path& file) {
  if (fs::exists(file)) {
    WaitingFileUtilities::waitingRemove(file.string(), c_waitMilliseconds, c_tries);
  }
}

}  // namespace ParameterSweep
