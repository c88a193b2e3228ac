#include <fcntl.h>
#include <linux/fs.h>
#include <service/FileHandling.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/algorithm/string/replace.hpp>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <limits>
#include <utility>
#include <vector>

namespace Drelvan {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t c_copyBlock = std::size_t{1} << 20U;
/// Small enough that a signal ends a copy quickly.
constexpr std::size_t c_kernelBlock = std::size_t{16} << 20U;
constexpr mode_t c_permissions = S_IRWXU | S_IRWXG | S_IRWXO;
constexpr mode_t c_ownersRights = S_IRUSR | S_IWUSR;

constexpr const char* c_copyFile = "Drelvan::FileUtilities::copyFile";
constexpr const char* c_rename = "Drelvan::FileUtilities::rename";
constexpr const char* c_remove = "Drelvan::FileUtilities::remove";

std::error_code lastError() { return {errno, std::generic_category()}; }

/// For the system the name ends at a NUL: it would act on another file.
bool holdsNul(const FileName& file) { return file.toString().find('\0') != std::string::npos; }

void refuseNul(const char* verb, const FileName& source, const FileName& target, const char* function, int line) {
  if (holdsNul(source) || holdsNul(target)) {
    throw FileNameException(verb, source, target, std::make_error_code(std::errc::invalid_argument), function, __FILE__,
                            line);
  }
}

/// The name for messages, which end at a NUL too.
std::string shown(const FileName& file) {
  return "'" + boost::algorithm::replace_all_copy(file.toString(), std::string(1, '\0'), "\\0") + "'";
}

std::string composeMessage(const char* verb, const FileName& source, const FileName& target, std::error_code error) {
  std::string text = std::string("cannot ") + verb + " " + shown(source);
  if (!target.toString().empty()) {
    text += " to " + shown(target);
  }
  return text + ": " + error.message() + " (error " + std::to_string(error.value()) + ")";
}

/// An open file; closed at the end of its scope.
class Descriptor {
 public:
  explicit Descriptor(int number) : m_number(number) {}
  Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor& operator=(Descriptor&&) = delete;
  ~Descriptor() {
    if (m_number >= 0) {
      ::close(m_number);
    }
  }

  int number() const { return m_number; }

 private:
  int m_number;
};

/// Raises the failures of one copy.
class CopyFailure {
 public:
  CopyFailure(const FileName& source, const FileName& target) : m_source(source), m_target(target) {}

  [[noreturn]] void raise(std::error_code error, int line) const {
    throw FileNameException("copy", m_source, m_target, error, c_copyFile, __FILE__, line);
  }

  /// Raises the last system error unless the call succeeded.
  void check(bool succeeded, int line) const {
    if (!succeeded) {
      raise(lastError(), line);
    }
  }

 private:
  const FileName& m_source;
  const FileName& m_target;
};

/// Copies the content of one open file to another: as a clone where the file system has such, else its data without
/// its holes, within the kernel where it can do that.
class ContentCopy {
 public:
  ContentCopy(const CopyFailure& failure, int from, int to) : m_failure(failure), m_from(from), m_to(to) {}

  void run() {
    m_failure.check(::ftruncate(m_to, 0) == 0, __LINE__);
    if (::ioctl(m_to, FICLONE, m_from) != 0) {
      copyData();
    }
  }

 private:
  void copyData() {
    for (off_t place = 0;;) {
      // Read before the data: what is appended meanwhile must not become a hole.
      const off_t size = sourceSize();
      const off_t data = ::lseek(m_from, place, SEEK_DATA);
      // Files generated when they are read, as in /proc, have the size 0.
      const bool onlyHoleLeft = data < 0 && errno == ENXIO && size > 0;
      if (onlyHoleLeft) {
        setSize(std::max(place, size));
        return;
      }
      const off_t hole = data < 0 ? -1 : ::lseek(m_from, data, SEEK_HOLE);
      if (hole < 0) {
        copyRange(place, std::numeric_limits<off_t>::max());
        return;
      }
      place = copyRange(data, hole);
      if (place < hole) {
        setSize(place);
        return;
      }
    }
  }

  off_t sourceSize() const {
    struct stat status {};
    m_failure.check(::fstat(m_from, &status) == 0, __LINE__);
    return status.st_size;
  }

  void setSize(off_t size) const { m_failure.check(::ftruncate(m_to, size) == 0, __LINE__); }

  /// Copies from `place` up to `end`, or to the end of the source; returns how far it came.
  off_t copyRange(off_t place, off_t end) {
    place = m_kernelCopies ? copyInKernel(place, end) : place;
    return copyThroughMemory(place, end);
  }

  /// Stops at the first failure, of which there are many kinds for files that can be copied otherwise.
  off_t copyInKernel(off_t place, off_t end) {
    off_t target = place;
    while (place < end && m_kernelCopies) {
      const ssize_t count = ::copy_file_range(m_from, &place, m_to, &target, blockSize(c_kernelBlock, place, end), 0);
      m_kernelCopies = count > 0 || (count < 0 && errno == EINTR);
    }
    return place;
  }

  off_t copyThroughMemory(off_t place, off_t end) {
    while (place < end) {
      m_block.resize(c_copyBlock);
      const ssize_t count = ::pread(m_from, m_block.data(), blockSize(c_copyBlock, place, end), place);
      if (count == 0) {
        break;
      }
      m_failure.check(count > 0 || errno == EINTR, __LINE__);
      if (count > 0) {
        writeBlock(static_cast<std::size_t>(count), place);
        place += count;
      }
    }
    return place;
  }

  static std::size_t blockSize(std::size_t largest, off_t place, off_t end) {
    return static_cast<std::size_t>(std::min(static_cast<off_t>(largest), end - place));
  }

  void writeBlock(std::size_t size, off_t place) const {
    std::size_t written = 0;
    while (written < size) {
      const off_t target = place + static_cast<off_t>(written);
      const ssize_t count = ::pwrite(m_to, m_block.data() + written, size - written, target);
      m_failure.check(count >= 0 || errno == EINTR, __LINE__);
      written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
  }

  const CopyFailure& m_failure;
  const int m_from;
  const int m_to;
  bool m_kernelCopies = true;
  std::vector<char> m_block;
};

/// One copy; every step throws `FileNameException` on failure.
class Copy {
 public:
  Copy(const FileName& source, const FileName& target)
      : m_source(source),
        m_target(target),
        m_failure(source, target),
        m_temporary(temporaryName(target.toString())),
        m_folder(m_temporary.has_parent_path() ? m_temporary.parent_path() : fs::path(".")) {}

  void run() {
    const Descriptor from = openSource();
    checkTarget();
    const Descriptor to = openTemporary();
    try {
      transfer(from.number(), to.number());
      m_failure.check(::rename(m_temporary.c_str(), m_target.toString().c_str()) == 0, __LINE__);
    } catch (...) {
      ::unlink(m_temporary.c_str());
      unlock(to.number());
      throw;
    }
    takeOwnersRights(to.number());
    unlock(to.number());
    flushFolder();
  }

 private:
  static fs::path temporaryName(const fs::path& target) {
    // The name may be too long to append to: a hash distinguishes shortened names.
    constexpr std::size_t longest = 180;
    const std::string name = target.filename().string();
    const std::string shortened =
        name.size() <= longest ? name : name.substr(0, longest) + '-' + std::to_string(std::hash<std::string>{}(name));
    // One per user: a user cannot open the file that another user's copy left.
    return target.parent_path() / ("." + shortened + ".copying-" + std::to_string(::geteuid()));
  }

  Descriptor openSource() {
    Descriptor from(::open(m_source.toString().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    m_failure.check(from.number() >= 0, __LINE__);
    m_failure.check(::fstat(from.number(), &m_status) == 0, __LINE__);
    requireRegularFile(m_status);
    return from;
  }

  void requireRegularFile(const struct stat& status) const {
    if (!S_ISREG(status.st_mode)) {
      m_failure.raise(
          std::make_error_code(S_ISDIR(status.st_mode) ? std::errc::is_a_directory : std::errc::invalid_argument),
          __LINE__);
    }
  }

  /// Renaming would replace a device or a socket as well.
  void checkTarget() const {
    const std::string name = m_target.toString();
    struct stat target {};
    if (::lstat(name.c_str(), &target) != 0) {
      m_failure.check(errno == ENOENT, __LINE__);
      return;
    }
    const bool isLink = S_ISLNK(target.st_mode);
    if (!isLink) {
      requireRegularFile(target);
    }
    const bool leadsSomewhere = !isLink || ::stat(name.c_str(), &target) == 0;
    if (leadsSomewhere && isSame(target, m_status)) {
      m_failure.raise(std::make_error_code(std::errc::invalid_argument), __LINE__);
    }
  }

  static bool isSame(const struct stat& file, const struct stat& other) {
    return file.st_dev == other.st_dev && file.st_ino == other.st_ino;
  }

  /// Opens the temporary file and locks it, so that copies to one target are serialised.
  Descriptor openTemporary() const {
    for (;;) {
      Descriptor made = open(O_CREAT | O_EXCL);
      const bool isNew = made.number() >= 0;
      m_failure.check(isNew || errno == EEXIST, __LINE__);
      Descriptor to = isNew ? std::move(made) : open(0);
      if (to.number() < 0) {
        m_failure.check(errno == ENOENT, __LINE__);
        continue;
      }
      try {
        lock(to.number());
        if (isStillNamed(to.number())) {
          return to;
        }
      } catch (...) {
        if (isNew) {
          ::unlink(m_temporary.c_str());
        }
        throw;
      }
    }
  }

  Descriptor open(int flags) const {
    // Non-blocking, in case it is a pipe.
    constexpr int always = O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    return Descriptor(::open(m_temporary.c_str(), always | flags, c_ownersRights));
  }

  void lock(int number) const {
    int result = 0;
    do {
      result = ::flock(number, LOCK_EX);
    } while (result != 0 && errno == EINTR);
    // On file systems without locks, callers must not copy to one target at the same time.
    m_failure.check(result == 0 || errno == ENOLCK || errno == EOPNOTSUPP || errno == ENOSYS, __LINE__);
  }

  /// A process forked meanwhile shares the lock: closing the file in this process alone would not release it.
  static void unlock(int number) { ::flock(number, LOCK_UN); }

  /// False when the copy that held the lock before has renamed or removed the file meanwhile.
  bool isStillNamed(int number) const {
    struct stat opened {};
    struct stat named {};
    m_failure.check(::fstat(number, &opened) == 0, __LINE__);
    const bool exists = ::lstat(m_temporary.c_str(), &named) == 0;
    m_failure.check(exists || errno == ENOENT, __LINE__);
    return exists && isSame(opened, named);
  }

  void transfer(int from, int to) const {
    ContentCopy(m_failure, from, to).run();
    // Until the file is renamed, the next copy must be able to open it.
    m_failure.check(::fchmod(to, (m_status.st_mode & c_permissions) | c_ownersRights) == 0, __LINE__);
    m_failure.check(::fsync(to) == 0, __LINE__);
  }

  /// Removes permissions of the owner that the source's owner does not have.
  void takeOwnersRights(int to) const {
    const mode_t mode = m_status.st_mode & c_permissions;
    if ((mode & c_ownersRights) != c_ownersRights) {
      ::fchmod(to, mode);
      ::fsync(to);
    }
  }

  /// Makes the new name durable. Never throws: the target is in place, and some file systems cannot flush a folder.
  void flushFolder() const noexcept {
    const Descriptor opened(::open(m_folder.c_str(), O_RDONLY | O_CLOEXEC | O_DIRECTORY));
    if (opened.number() >= 0) {
      ::fsync(opened.number());
    }
  }

  const FileName& m_source;
  const FileName& m_target;
  const CopyFailure m_failure;
  const fs::path m_temporary;
  const fs::path m_folder;
  struct stat m_status {};
};

}  // namespace

FileName::FileName(const std::string& name) : m_name(name) {}
FileName::FileName(const char* name) : m_name(name == nullptr ? "" : name) {}
FileName::FileName(const FileName& other) = default;
FileName::FileName(FileName&& other) noexcept = default;
FileName& FileName::operator=(const FileName& other) = default;
FileName& FileName::operator=(FileName&& other) noexcept = default;
FileName::~FileName() = default;

std::string FileName::toString() const { return m_name; }

struct FileNameException::Files {
  FileName source;
  FileName target;
  std::error_code error;
};

FileNameException::FileNameException(const char* verb, const FileName& source, const FileName& target,
                                     std::error_code error, const char* function, const char* file, int line)
    : DvException(composeMessage(verb, source, target, error).c_str(), "FileHandling", function, file, line),
      m_files(std::make_shared<const Files>(Files{source, target, error})) {}

FileNameException::FileNameException(const FileNameException& other) noexcept = default;
FileNameException& FileNameException::operator=(const FileNameException& other) noexcept = default;
FileNameException::~FileNameException() = default;

const FileName& FileNameException::getSource() const noexcept { return m_files->source; }
const FileName& FileNameException::getTarget() const noexcept { return m_files->target; }
std::string FileNameException::getReason() const { return m_files->error.message(); }
std::error_code FileNameException::getErrorCode() const noexcept { return m_files->error; }

bool FileUtilities::exists(const FileName& file, bool flag) {
  std::error_code ignored;
  const fs::file_status status = fs::status(file.toString(), ignored);
  return !holdsNul(file) && (flag ? fs::is_regular_file(status) : fs::exists(status));
}

void FileUtilities::copyFile(const FileName& source, const FileName& target) {
  refuseNul("copy", source, target, c_copyFile, __LINE__);
  Copy(source, target).run();
}

void FileUtilities::rename(const FileName& source, const FileName& target) {
  refuseNul("rename", source, target, c_rename, __LINE__);
  if (::rename(source.toString().c_str(), target.toString().c_str()) == 0) {
    return;
  }
  if (errno != EXDEV) {
    throw FileNameException("rename", source, target, lastError(), c_rename, __FILE__, __LINE__);
  }
  copyFile(source, target);
  if (::unlink(source.toString().c_str()) != 0) {
    throw FileNameException("rename", source, target, lastError(), c_rename, __FILE__, __LINE__);
  }
}

void FileUtilities::remove(const FileName& file) {
  refuseNul("remove", file, FileName(""), c_remove, __LINE__);
  if (::unlink(file.toString().c_str()) != 0) {
    throw FileNameException("remove", file, FileName(""), lastError(), c_remove, __FILE__, __LINE__);
  }
}

}  // namespace Drelvan
