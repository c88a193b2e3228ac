#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace ParameterSweep {

/// How a process ended. `status` is empty when only the process's own parent could have learnt it.
struct Ending {
  enum class How { Exited, Signalled };
  struct Status {
    How how;
    int number;  ///< the exit code or the signal
  };
  std::optional<Status> status;
};

/// The process of a running job, in a process group of its own. It survives the server that started it: the next server
/// finds it again by its record.
///
/// Threads: the server's one thread. Destroying the object leaves the process alone.
class JobProcess {
 public:
  /// Starts `command` with standard output and error in the file `output` and no input. Throws `SweepFailure`
  /// (`LaunchFailed`).
  static JobProcess start(const std::vector<std::string>& command, const std::filesystem::path& output);

  /// The process that a record names, if it still runs.
  static std::optional<JobProcess> find(const std::string& record);

  JobProcess(JobProcess&& other) noexcept = default;
  JobProcess& operator=(JobProcess&& other) noexcept = default;

  /// What `find` needs. A number alone would not do, since the system uses it again.
  std::string getRecord() const;

  /// Becomes readable when the process ends.
  int getDescriptor() const;

  /// Milliseconds since the start.
  std::int64_t getAge() const;

  /// How the process ended; empty while it runs. Nothing that a process of this server started outlives it
  /// in its group.
  std::optional<Ending> poll();

  /// Asks the process group to end; a later call ends it by force once it had its time. Returns at once.
  void terminate();

 private:
  class Descriptor {
   public:
    explicit Descriptor(int number) : m_number(number) {}
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor();
    int number() const { return m_number; }

   private:
    int m_number;
  };

  JobProcess(pid_t process, std::string startTime, std::int64_t startedAt);

  bool hasEnded() const;

  pid_t m_process;
  std::string m_startTime;   ///< in the kernel's own measure
  std::int64_t m_startedAt;  ///< milliseconds since 1970-01-01 00:00 UTC
  Descriptor m_descriptor;
  std::optional<std::chrono::steady_clock::time_point> m_terminatedAt;
};

}  // namespace ParameterSweep
