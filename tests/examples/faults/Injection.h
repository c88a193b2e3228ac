#pragma once

#include <sys/types.h>
#include <tests/support/Program.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// System calls of a program that fail, or that kill it, at a chosen moment. strace does it, for one thread of the
/// program: processes that it starts and other threads, as the messaging library has them, are left alone.
namespace SweepTest {

/// One call of the program.
struct Fault {
  std::string call;       ///< the name of a system call
  std::size_t index = 1;  ///< which call of that name, from 1
  std::string effect;     ///< the name of an error, or "SIGKILL"

  /// CALL:INDEX:EFFECT.
  std::string toText() const { return call + ":" + std::to_string(index) + ":" + effect; }
  static Fault fromText(const std::string& text);
};

/// Why strace does not work here; empty when it does.
std::string tracingError();

/// A trace of a thread of a program, with or without a fault.
class Tracing {
 public:
  /// The name of the thread, empty for the program's first one, which is traced from its start. Another one is traced
  /// from the moment it is asked for. The calls go to the file `trace`: all, or with a fault those of its name.
  Tracing(std::string thread, std::string trace, const std::optional<Fault>& fault);

  /// The command that runs `program` as it is to be.
  TestSupport::Command start(const TestSupport::Command& program) const;
  /// Traces another thread of the process than the first one from now on; empty for the first one.
  std::unique_ptr<TestSupport::Program> attach(pid_t process) const;

 private:
  const std::string m_thread;
  TestSupport::Command m_strace;
};

/// Whether the fault took place, by the trace of its run.
bool hasHappened(const Fault& fault, const std::string& trace);

/// All faults of a run, by its trace: each call from the first one on that names `firstFile`, with every error that
/// such a call can have, or with SIGKILL.
std::vector<Fault> errorsOf(const std::string& trace, const std::string& firstFile);
std::vector<Fault> killsOf(const std::string& trace, const std::string& firstFile);

}  // namespace SweepTest
