#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <tests/support/FailingSystemCalls.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <limits>
#include <optional>
#include <utility>

namespace TestSupport {

namespace {

struct Fault {
  std::string name;
  int first = 0;
  int last = 0;
  int error = 0;
  int answer = -1;
};

struct Record {
  std::vector<Fault> faults;
  std::vector<FailingSystemCalls::Call> calls;
  bool hasFailed = false;
};

/// Null while nothing is recorded.
thread_local Record* t_record = nullptr;

FailingSystemCalls::Call describe(const char* name, int number) {
  struct stat status {};
  if (number >= 0) {
    ::syscall(SYS_fstat, number, &status);
  }
  return {name, status.st_dev, status.st_ino};
}

/// Records a call; what it is to return instead of being made, or nothing. `number` is -1 without an open file.
std::optional<int> intercept(const char* name, int number) {
  if (t_record == nullptr) {
    return {};
  }
  Record& record = *std::exchange(t_record, nullptr);  // what the recording itself calls is not recorded
  record.calls.push_back(describe(name, number));
  const auto count = std::count_if(record.calls.begin(), record.calls.end(),
                                   [&](const FailingSystemCalls::Call& call) { return call.name == name; });
  t_record = &record;
  for (const Fault& fault : record.faults) {
    if (fault.name == name && count >= fault.first && count <= fault.last) {
      record.hasFailed = true;
      errno = fault.error;
      return fault.answer;
    }
  }
  return {};
}

template <typename Result, typename... Arguments>
Result call(const char* name, int number, long systemCall, Arguments... arguments) {
  const std::optional<int> instead = intercept(name, number);
  return static_cast<Result>(instead ? *instead : ::syscall(systemCall, arguments...));
}

}  // namespace

FailingSystemCalls::FailingSystemCalls() { t_record = new Record; }

FailingSystemCalls::~FailingSystemCalls() { delete std::exchange(t_record, nullptr); }

void FailingSystemCalls::fail(const std::string& name, int error, int first, int last) {
  t_record->faults.push_back({name, first, last, error, -1});
}

void FailingSystemCalls::answer(const std::string& name, int result) {
  t_record->faults.push_back({name, 1, std::numeric_limits<int>::max(), 0, result});
}

bool FailingSystemCalls::hasFailed() const { return t_record->hasFailed; }

const std::vector<FailingSystemCalls::Call>& FailingSystemCalls::calls() const { return t_record->calls; }

int FailingSystemCalls::count(const std::string& name) const {
  return static_cast<int>(
      std::count_if(calls().begin(), calls().end(), [&](const Call& call) { return call.name == name; }));
}

}  // namespace TestSupport

using TestSupport::call;

extern "C" {

int open(const char* file, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    std::va_list arguments;
    va_start(arguments, flags);
    mode = va_arg(arguments, mode_t);
    va_end(arguments);
  }
  return call<int>("open", -1, SYS_openat, AT_FDCWD, file, flags, mode);
}

int stat(const char* file, struct stat* status) noexcept {
  return call<int>("stat", -1, SYS_newfstatat, AT_FDCWD, file, status, 0);
}

int lstat(const char* file, struct stat* status) noexcept {
  return call<int>("lstat", -1, SYS_newfstatat, AT_FDCWD, file, status, AT_SYMLINK_NOFOLLOW);
}

int fstat(int number, struct stat* status) noexcept { return call<int>("fstat", number, SYS_fstat, number, status); }

int flock(int number, int operation) noexcept { return call<int>("flock", number, SYS_flock, number, operation); }

int ftruncate(int number, off_t size) noexcept { return call<int>("ftruncate", number, SYS_ftruncate, number, size); }

int ioctl(int number, unsigned long request, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, request);
  const long argument = va_arg(arguments, long);
  va_end(arguments);
  return call<int>("ioctl", number, SYS_ioctl, number, request, argument);
}

off_t lseek(int number, off_t place, int whence) noexcept {
  return call<off_t>("lseek", number, SYS_lseek, number, place, whence);
}

ssize_t copy_file_range(int from, off64_t* fromPlace, int to, off64_t* toPlace, size_t size, unsigned flags) {
  return call<ssize_t>("copy_file_range", to, SYS_copy_file_range, from, fromPlace, to, toPlace, size, flags);
}

ssize_t pread(int number, void* block, size_t size, off_t place) {
  return call<ssize_t>("pread", number, SYS_pread64, number, block, size, place);
}

ssize_t pwrite(int number, const void* block, size_t size, off_t place) {
  return call<ssize_t>("pwrite", number, SYS_pwrite64, number, block, size, place);
}

int fchmod(int number, mode_t mode) noexcept { return call<int>("fchmod", number, SYS_fchmod, number, mode); }

int fsync(int number) { return call<int>("fsync", number, SYS_fsync, number); }

int rename(const char* source, const char* target) noexcept {
  return call<int>("rename", -1, SYS_renameat, AT_FDCWD, source, AT_FDCWD, target);
}

int unlink(const char* file) noexcept { return call<int>("unlink", -1, SYS_unlinkat, AT_FDCWD, file, 0); }

}  // extern "C"
