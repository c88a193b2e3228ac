#pragma once

#include <examples/parameter_sweep/engines/JobEngine.h>
#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace ParameterSweep {

/// A call of the system failed for a reason that may pass, such as a lack of descriptors.
class Shortage : public std::system_error {
 public:
  using std::system_error::system_error;
};

/// Whether the error may pass without anybody changing what was asked for.
bool isShortage(int error);

/// The process of a run, in a process group of its own. It survives the program that started it: another one finds it
/// by its record.
///
/// Threads: an object is used by one at a time; the static functions by any. Destroying it leaves the process alone.
class LocalProcess {
 public:
  struct Limits {
    std::uint64_t processorSeconds = 0;  ///< 0 for none
    std::uint64_t memoryBytes = 0;       ///< 0 for none
  };

  /// Starts `command` with standard output and error in the file `output`, made anew, and no input. Throws `Shortage`,
  /// or `SweepFailure` (`LaunchFailed`).
  static LocalProcess start(const std::vector<std::string>& command, const std::filesystem::path& output,
                            const Limits& limits);

  /// The process that a record names; empty when it is gone. Throws `Shortage` when that cannot be told now.
  static std::optional<LocalProcess> find(const std::string& record);

  /// The processes of this user that lead a process group, as those of `start` do: the record and the command of each.
  /// Throws `Shortage` when they cannot be told now.
  static std::vector<std::pair<std::string, std::vector<std::string>>> listCommands();

  /// What `find` needs: number, start time, and which start of the machine both belong to.
  std::string getRecord() const;

  /// Becomes readable when the process ends.
  int getDescriptor() const { return m_descriptor; }
  bool hasEnded() const;
  /// Since its start, by the monotonic clock.
  std::chrono::milliseconds getAge() const;

  /// After the end: how the process ended, and nothing of its group is left. Unknown, and the group is not touched,
  /// when another program started it, since only a parent may know.
  RunEnd reap() const;

  /// Asks the process group to end; a later call ends it by force once it had its time. Returns at once.
  void terminate();

 private:
  LocalProcess(pid_t process, std::string startTime, int descriptor);

  pid_t m_process;
  std::string m_startTime;  ///< in the kernel's own measure
  int m_descriptor;
  std::shared_ptr<void> m_closing;  ///< closes the descriptor with its last copy
  std::optional<std::chrono::steady_clock::time_point> m_terminatedAt;
};

}  // namespace ParameterSweep
