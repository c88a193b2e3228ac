#pragma once

#include <tests/support/Program.h>
#include <tests/support/TemporaryFolder.h>

#include <string>
#include <vector>

/// Runs the programs of the parameter sweep as a user does.
namespace SweepTest {

using Arguments = TestSupport::Command;
using Outcome = TestSupport::ProgramRun;

/// Runs a program to its end.
Outcome run(const std::string& program, const Arguments& arguments, const std::string& input = {});

/// Runs a command line with a terminal as its standard output and error.
Outcome runOnTerminal(const std::string& commandLine);

/// Stores a progress from 0 to 1 as the program of the job's only part does.
void storeProgress(const std::string& spool, const std::string& job, double progress);

/// A sweep-client that runs.
class RunningClient {
 public:
  RunningClient(const std::string& server, const Arguments& arguments);
  Outcome wait() { return m_program.wait(); }
  std::string output() const { return m_program.output(); }
  /// What it wrote to standard error so far.
  std::string errors() const { return m_program.errors(); }

 private:
  TestSupport::Program m_program;
};

/// What becomes of the processes of jobs when the server ends in order.
enum class AtStop { EndJobs, LeaveJobs };

/// A sweep-server, with free ports unless the arguments name some, as long as the object exists. The test fails when it
/// does not end in order.
class Server {
 public:
  /// Starts it and waits until it is ready. Fails the test when it does not get so far.
  explicit Server(const std::string& spool, const Arguments& arguments = {}, AtStop atStop = AtStop::EndJobs);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server();

  /// What gives another server the same ports.
  Arguments portArguments() const { return {"--request-port", m_requestPort, "--publisher-port", m_publisherPort}; }
  /// HOST:PORT of the requests.
  std::string address() const { return "127.0.0.1:" + m_requestPort; }
  std::string publisherAddress() const { return "127.0.0.1:" + m_publisherPort; }
  const std::string& requestPort() const { return m_requestPort; }

  /// Runs sweep-client against this server.
  Outcome client(Arguments arguments) const;
  /// Submits and returns the job id.
  std::string submit(const std::string& expression, const std::string& parameters) const;
  /// The state that the server reports.
  std::string state(const std::string& job) const;
  /// Waits until the job is in the state; gives up after a minute. Returns the last state.
  std::string waitForState(const std::string& job, const std::string& state) const;

  /// Ends the server at once, as `kill -9` does.
  void kill();
  /// Has it end in order; returns its exit code.
  int stop();
  void signal(int number) { m_program.signal(number); }
  bool isRunning() { return m_program.isRunning(); }
  /// What it wrote to standard error so far.
  std::string errors() const { return m_program.errors(); }

 private:
  TestSupport::Program m_program;
  std::string m_requestPort;
  std::string m_publisherPort;
  bool m_wasEnded = false;
};

/// Whether `condition` becomes true within a minute.
template <typename Condition>
bool eventually(Condition condition);

/// @{
/// The files of the programs.
std::string serverProgram();
std::string clientProgram();
std::string jobProgram();
/// @}

/// A launcher that waits before it starts the job.
std::string slowLauncher(const std::string& seconds);

/// Waits a little, for loops that look again.
void pause();

template <typename Condition>
bool eventually(Condition condition) {
  constexpr int c_looks = 3000;
  for (int look = 0; look < c_looks; ++look) {
    if (condition()) {
      return true;
    }
    pause();
  }
  return false;
}

}  // namespace SweepTest
