#pragma once

#include <tests/support/TemporaryFolder.h>

#include <boost/process/child.hpp>
#include <boost/process/group.hpp>
#include <memory>
#include <string>
#include <vector>

/// Runs the programs of the parameter sweep as a user does.
namespace SweepTest {

using Arguments = std::vector<std::string>;

/// What a program that ended has left.
struct Outcome {
  int exitCode = -1;
  std::string output;
  std::string errors;
};

/// Runs a program to its end; one that takes longer than two minutes is ended and gives exit code -1.
Outcome run(const std::string& program, const Arguments& arguments);

/// Runs a command line with a terminal as its standard output and error.
Outcome runOnTerminal(const std::string& commandLine);

/// Stores a progress from 0 to 1 as a running job does.
void storeProgress(const std::string& spool, const std::string& job, double progress);

/// A sweep-client that runs.
class RunningClient {
 public:
  RunningClient(const std::string& server, const Arguments& arguments);
  ~RunningClient();
  Outcome wait();
  /// What it wrote to standard error so far.
  std::string errors() const;

 private:
  TestSupport::TemporaryFolder m_folder;
  boost::process::child m_child;
};

/// A sweep-server, with free ports unless the arguments name some, as long as the object exists. The test fails when it
/// does not end in order.
class Server {
 public:
  /// Starts it and waits until it is ready. Fails the test when it does not get so far.
  explicit Server(const std::string& spool, const Arguments& arguments = {});
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server();

  /// What gives another server the same ports.
  Arguments portArguments() const { return {"--request-port", m_requestPort, "--publisher-port", m_publisherPort}; }
  /// HOST:PORT of the requests.
  std::string address() const { return "127.0.0.1:" + m_requestPort; }
  std::string publisherAddress() const { return "127.0.0.1:" + m_publisherPort; }

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
  bool isRunning();

 private:
  TestSupport::TemporaryFolder m_folder;
  boost::process::child m_child;
  std::string m_requestPort;
  std::string m_publisherPort;
  bool m_wasEnded = false;
};

/// Whether `condition` becomes true within a minute.
template <typename Condition>
bool eventually(Condition condition);

/// Names of the sweep-server and sweep-client programs.
std::string serverProgram();
std::string clientProgram();

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
