#include <Platform/RemoteComputation/Service/RequestHandlingBase/WaitingFileUtilities.h>
#include <examples/parameter_sweep/common/Spool.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <sstream>
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
  if (descriptor < 0) {
    if (errno == EACCES) {
      return;  // a folder that may be written to but not listed
    }
    fail(name);
  }
  const int result = ::fsync(descriptor);
  ::close(descriptor);
  if (result != 0) {
    fail(name);
  }
}

/// Gives the sibling the permissions of the file that it replaces.
void keepPermissions(const fs::path& file, const fs::path& sibling) {
  std::error_code ignored;
  if (const fs::file_status old = fs::status(file, ignored); fs::exists(old)) {
    fs::permissions(sibling, old.permissions(), ignored);
  }
}

}  // namespace

bool isStored(const fs::path& file) {
  std::error_code ignored;
  return fs::is_regular_file(file, ignored);
}

std::string readStoredFile(const fs::path& file) {
  std::ostringstream content;
  if (isStored(file)) {
    content << std::ifstream(file, std::ios::binary).rdbuf();
  }
  return content.str();
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
    keepPermissions(file, sibling);
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
  if (isStored(file)) {
    WaitingFileUtilities::waitingRemove(file.string(), c_waitMilliseconds, c_tries);
  }
}

}  // namespace ParameterSweep
