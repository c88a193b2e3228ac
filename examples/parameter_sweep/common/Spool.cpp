#include <Platform/RemoteComputation/Service/RequestHandlingBase/WaitingFileUtilities.h>
#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/common/SweepFailure.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <limits>
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

[[noreturn]] void failToRead(const fs::path& file) {
  throw SweepFailure(FailureKind::LocalFailure,
                     "cannot read '" + file.string() + "': " + std::generic_category().message(errno));
}

/// Flushes a file or folder to the disk.
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

[[noreturn]] void failWithout(const fs::path& sibling, const fs::path& file) {
  const int error = errno;
  std::error_code ignored;
  fs::remove(sibling, ignored);
  errno = error;
  fail(file);
}

fs::path writeSibling(const fs::path& file, const std::string& content) {
  fs::path sibling = siblingOf(file);
  std::ofstream stream(sibling, std::ios::binary);
  stream << content;
  stream.close();
  if (!stream) {
    failWithout(sibling, file);
  }
  return sibling;
}

}  // namespace

bool isStored(const fs::path& file) {
  struct stat status {};
  if (::stat(file.c_str(), &status) == 0) {
    return S_ISREG(status.st_mode);
  }
  if (errno == ENOENT || errno == ENOTDIR) {
    return false;
  }
  failToRead(file);
}

std::string readStoredFile(const fs::path& file) {
  return readStoredFile(file, 0, std::numeric_limits<std::size_t>::max());
}

std::string readStoredFile(const fs::path& file, std::uint64_t offset, std::size_t limit) {
  if (!isStored(file)) {
    return {};
  }
  const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) {
    if (errno == ENOENT) {
      return {};
    }
    failToRead(file);
  }
  std::string content;
  std::array<char, 65536> buffer{};
  ssize_t size = 0;
  while (content.size() < limit &&
         (size = ::pread(descriptor, buffer.data(), std::min(buffer.size(), limit - content.size()),
                         static_cast<off_t>(offset + content.size()))) > 0) {
    content.append(buffer.data(), static_cast<std::size_t>(size));
  }
  const int error = errno;
  ::close(descriptor);
  if (size < 0) {
    errno = error;
    failToRead(file);
  }
  return content;
}

void writeStoredFile(const fs::path& file, const std::string& content) {
  moveIntoPlace(writeSibling(file, content), file);
}

void replaceFile(const fs::path& file, const std::string& content) {
  renameIntoPlace(writeSibling(file, content), file);
}

fs::path siblingOf(const fs::path& file) { return file.string() + "." + std::to_string(::getpid()) + ".new"; }

void renameIntoPlace(const fs::path& sibling, const fs::path& file) {
  if (::rename(sibling.c_str(), file.c_str()) != 0) {
    failWithout(sibling, file);
  }
}

void moveIntoPlace(const fs::path& sibling, const fs::path& file) {
  try {
    keepPermissions(file, sibling);
    flush(sibling);
    WaitingFileUtilities::waitingRename(sibling.string(), file.string(), c_waitMilliseconds, c_tries);
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
