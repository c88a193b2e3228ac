#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ParameterSweep {

/// The process of a running job, in a process group of its own. It survives the server that started it: the next server
/// finds it again by its record.
///
/// Threads: the server's one thread. Destroying the object leaves the process alone.
class JobProcess {
 public:
  /// Starts `command` with standard output and error in the file `output`, made anew, and no input. Throws
  /// `SweepFailure` (`LaunchFailed`), or `std::system_error` when the machine is short of something and a later start
  /// may succeed.
  static JobProcess start(const std::vector<std::string>& command, const std::filesystem::path& output);

  /// The process that a record names, if it still runs.
  static std::optional<JobProcess> find(const std::string& record);

  /// What `find` needs. A number alone would not do, since the system uses it again.
  std::string getRecord() const;

  /// Becomes readable when the process ends.
  int getDescriptor() const { return m_descriptor; }
  bool hasEnded() const;

  std::chrono::system_clock::duration getAge() const { return std::chrono::system_clock::now() - m_started; }

  /// After the end: how the process ended, as `waitpid` tells it, and nothing of its group is left. Empty, and the
  /// group left alone, when another server started it, since only a parent may know.
  std::optional<int> reap() const;

  /// Asks the process group to end; a later call ends it by force once it had its time. Returns at once.
  void terminate();

 private:
  JobProcess(pid_t process, std::string startTime, std::chrono::system_clock::time_point started);

  pid_t m_process;
  std::string m_startTime;  ///< in the kernel's own measure
  std::chrono::system_clock::time_point m_started;
  int m_descriptor;
  std::shared_ptr<void> m_closing;  ///< closes the descriptor with its last copy
  std::optional<std::chrono::steady_clock::time_point> m_terminatedAt;
};

}  // namespace ParameterSweep
