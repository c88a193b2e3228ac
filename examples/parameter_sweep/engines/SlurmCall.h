#pragma once

#include <examples/parameter_sweep/engines/LocalProcess.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace ParameterSweep {

/// One call of a program, without a shell, that nobody waits for. Threads: one.
class SlurmCall {
 public:
  /// The answer goes to `file` meanwhile. Throws `Shortage` or `SweepFailure` when it cannot be started.
  SlurmCall(const std::vector<std::string>& command, const std::filesystem::path& file);
  SlurmCall(const SlurmCall&) = delete;
  SlurmCall& operator=(const SlurmCall&) = delete;
  ~SlurmCall();  ///< Ends a program that still runs.

  struct Answer {
    std::string text;   ///< standard output and error
    std::string error;  ///< why it is none; empty for a good one
  };
  /// The answer, once the program has ended or has taken too long.
  std::optional<Answer> poll();
  int getDescriptor() const { return m_process.getDescriptor(); }

 private:
  const std::string m_program;
  const std::filesystem::path m_file;
  LocalProcess m_process;
  const std::chrono::steady_clock::time_point m_deadline;
};

}  // namespace ParameterSweep
