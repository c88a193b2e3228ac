#pragma once

#include <sys/types.h>
#include <tests/support/TemporaryFolder.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace TestSupport {

/// The program, found by PATH unless it is a path, and its arguments.
using Command = std::vector<std::string>;

/// How a program ended.
struct ProgramRun {
  int exitCode = -1;  ///< -1 when a signal ended it
  int signal = 0;     ///< the signal that ended it
  std::string output;
  std::string errors;
};

struct ProgramOptions {
  std::string input;
  std::map<std::string, std::string> environment;  ///< added to that of the test
  std::chrono::seconds timeout{120};               ///< `wait` kills a program that takes longer
};

/// A program that runs beside the test, its outputs redirected to files. The destructor kills it when it still runs.
///
/// Threads: one thread uses an object.
class Program {
 public:
  /// Throws `std::system_error` when it cannot be started.
  explicit Program(const Command& command, const ProgramOptions& options = {});
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program();

  pid_t id() const { return m_process; }
  bool isRunning();
  /// Sends the signal unless the program has ended.
  void signal(int number);
  /// What it has written so far.
  std::string output() const { return TemporaryFolder::read(m_folder.file("output")); }
  std::string errors() const { return TemporaryFolder::read(m_folder.file("errors")); }
  /// Waits for its end.
  ProgramRun wait();

 private:
  TemporaryFolder m_folder;
  std::chrono::steady_clock::time_point m_deadline;
  pid_t m_process;
  bool m_hasEnded = false;
  int m_status = 0;
};

/// Runs a program to its end.
ProgramRun runProgram(const Command& command, const ProgramOptions& options = {});

std::vector<std::string> linesOf(const std::string& text);

}  // namespace TestSupport
