#include <fcntl.h>
#include <service/FileHandling.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/algorithm/string/replace.hpp>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <utility>
#include <vector>

namespace Drelvan {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t c_copyBlock = std::size_t{1} << 20U;
constexpr mode_t c_permissions = S_IRWXU | S_IRWXG | S_IRWXO;
constexpr mode_t c_ownersRights = S_IRUSR | S_IWUSR;

constexpr const char* c_copyFile = "Drelvan::FileUtilities::copyFile";
constexpr const char* c_rename = "Drelvan::FileUtilities::rename";
constexpr const char* c_remove = "Drelvan::FileUtilities::remove";

std::error_code lastError() { return {errno, std::generic_category()}; }

/// The system would act on another file: to it the name ends there.
bool holdsNul(const FileName& file) { return file.toString().find('\0') != std::string::npos; }

void refuseNul(const char* verb, const FileName& source, const FileName& target, const char* function, int line) {
  if (holdsNul(source) || holdsNul(target)) {
    throw FileNameException(verb, source, target, std::make_error_code(std::errc::invalid_argument), function, __FILE__,
                            line);
  }
}

/// The name as messages have it, which end at a NUL too.
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

/// One copy on its way; every step throws `FileNameException` on failure.
class Copy {
 public:
  Copy(const FileName& source, const FileName& target)
      : m_source(source),
        m_target(target),
        m_temporary(temporaryName(target.toString())),
        m_folder(m_temporary.has_parent_path() ? m_temporary.parent_path() : fs::path(".")) {}

  void run() {
    const Descriptor from = openSource();
    const Descriptor to = openTemporary();
    try {
      transfer(from.number(), to.number());
      check(::rename(m_temporary.c_str(), m_target.toString().c_str()) == 0, __LINE__);
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
    // Names may be too long to grow: the hash keeps shortened ones apart.
    constexpr std::size_t longest = 180;
    const std::string name = target.filename().string();
    const std::string shortened =
        name.size() <= longest ? name : name.substr(0, longest) + '-' + std::to_string(std::hash<std::string>{}(name));
    // One for each user: nobody can open what another user's copy has left.
    return target.parent_path() / ("." + shortened + ".copying-" + std::to_string(::geteuid()));
  }

  [[noreturn]] void fail(std::error_code error, int line) const {
    throw FileNameException("copy", m_source, m_target, error, c_copyFile, __FILE__, line);
  }

  void check(bool succeeded, int line) const {
    if (!succeeded) {
      fail(lastError(), line);
    }
  }

  void check(std::error_code error, int line) const {
    if (error) {
      fail(error, line);
    }
  }

  Descriptor openSource() {
    Descriptor from(::open(m_source.toString().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    check(from.number() >= 0, __LINE__);
    check(::fstat(from.number(), &m_status) == 0, __LINE__);
    if (S_ISDIR(m_status.st_mode)) {
      fail(std::make_error_code(std::errc::is_a_directory), __LINE__);
    }
    struct stat old {};
    const bool exists = ::stat(m_target.toString().c_str(), &old) == 0;
    if (!S_ISREG(m_status.st_mode) || (exists && old.st_dev == m_status.st_dev && old.st_ino == m_status.st_ino)) {
      fail(std::make_error_code(std::errc::invalid_argument), __LINE__);
    }
    if (exists && S_ISDIR(old.st_mode)) {
      fail(std::make_error_code(std::errc::is_a_directory), __LINE__);
    }
    return from;
  }

  /// Opens the temporary file and locks it, so that copies to one target follow each other.
  Descriptor openTemporary() const {
    constexpr int flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW;
    for (;;) {
      Descriptor to(::open(m_temporary.c_str(), flags, c_ownersRights));
      check(to.number() >= 0, __LINE__);
      lock(to.number());
      if (isStillNamed(to.number())) {
        return to;
      }
    }
  }

  void lock(int number) const {
    int result = 0;
    do {
      result = ::flock(number, LOCK_EX);
    } while (result != 0 && errno == EINTR);
    // File systems without locks leave it to the callers not to copy to one target at the same time.
    check(result == 0 || errno == ENOLCK || errno == EOPNOTSUPP || errno == ENOSYS, __LINE__);
  }

  /// A process forked meanwhile shares the lock: closing the file here alone would not end it.
  static void unlock(int number) { ::flock(number, LOCK_UN); }

  /// False when the copy that held the lock before has renamed or removed the file meanwhile.
  bool isStillNamed(int number) const {
    struct stat opened {};
    struct stat named {};
    check(::fstat(number, &opened) == 0, __LINE__);
    return ::lstat(m_temporary.c_str(), &named) == 0 && opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
  }

  void transfer(int from, int to) const {
    check(::ftruncate(to, 0) == 0, __LINE__);
    std::vector<char> block(c_copyBlock);
    for (;;) {
      const ssize_t count = ::read(from, block.data(), block.size());
      if (count == 0) {
        break;
      }
      if (count > 0) {
        writeAll(to, block.data(), static_cast<std::size_t>(count));
      } else {
        check(errno == EINTR, __LINE__);
      }
    }
    // Until it has its name, the next copy must be able to open the file.
    check(::fchmod(to, (m_status.st_mode & c_permissions) | c_ownersRights) == 0, __LINE__);
    check(::fsync(to) == 0, __LINE__);
  }

  void writeAll(int to, const char* data, std::size_t size) const {
    while (size > 0) {
      const ssize_t count = ::write(to, data, size);
      if (count >= 0) {
        data += count;
        size -= static_cast<std::size_t>(count);
      } else {
        check(errno == EINTR, __LINE__);
      }
    }
  }

  /// Takes from the owner what the source does not allow its owner either.
  void takeOwnersRights(int to) const {
    const mode_t mode = m_status.st_mode & c_permissions;
    if ((mode & c_ownersRights) != c_ownersRights) {
      ::fchmod(to, mode);
      ::fsync(to);
    }
  }

  /// Makes the new name durable; a file system that cannot flush a folder is no reason to fail. Never throws: the
  /// target is in place.
  void flushFolder() const noexcept {
    const Descriptor opened(::open(m_folder.c_str(), O_RDONLY | O_CLOEXEC | O_DIRECTORY));
    if (opened.number() >= 0) {
      ::fsync(opened.number());
    }
  }

  const FileName& m_source;
  const FileName& m_target;
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
