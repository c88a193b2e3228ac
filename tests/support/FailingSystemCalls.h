#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace TestSupport {

/// Takes the place of the system calls of file operations in the program that it is linked into: records those of one
/// thread and fails some of them.
///
/// Recorded and failed are: open, stat, lstat, fstat, flock, ftruncate, ioctl, lseek, copy_file_range, pread, pwrite,
/// fchmod, fsync, rename, unlink. Threads: each thread has its own record and its own failures.
class FailingSystemCalls {
 public:
  struct Call {
    std::string name;
    dev_t device = 0;  ///< of the open file that the call was for; 0 where it was for a name
    ino_t file = 0;
  };

  /// From now on records the calls of this thread.
  FailingSystemCalls();
  FailingSystemCalls(const FailingSystemCalls&) = delete;
  FailingSystemCalls& operator=(const FailingSystemCalls&) = delete;
  /// Ends recording and failing.
  ~FailingSystemCalls();

  /// Fails the calls `first` to `last` of this name with this error, counted from 1. Of several failures for one call
  /// the first that was set holds.
  void fail(const std::string& name, int error, int first, int last);
  /// Has copy_file_range and ioctl give `result`, without an effect, instead of failing.
  void answer(const std::string& name, int result);

  /// Whether a call was failed or answered.
  bool hasFailed() const;
  const std::vector<Call>& calls() const;
  int count(const std::string& name) const;
};

}  // namespace TestSupport
