#pragma once

#include <examples/parameter_sweep/common/Messages.h>
#include <tests/examples/RawClient.h>
#include <tests/support/Program.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace SweepTest {

/// A sweep-server that may fail or end at any moment, and what it answers.
class FaultyServer {
 public:
  /// Starts `command`, which is a server at free ports, and waits until it is ready or has ended.
  explicit FaultyServer(const TestSupport::Command& command);

  pid_t id() const { return m_program.id(); }
  bool isReady() const { return m_client != nullptr; }
  /// HOST:PORT of the requests, once it is ready.
  const std::string& address() const { return m_address; }
  /// What it logged so far.
  std::string log() const { return m_program.errors(); }
  bool isRunning() { return m_program.isRunning(); }
  /// The answer; empty when the server ends first, or does not answer in time while it runs (see `isDeaf`).
  std::optional<ParameterSweep::ReplyContent> ask(const ParameterSweep::Request& request);
  /// Whether it left a request without an answer although it runs.
  bool isDeaf() const { return m_isDeaf; }

  /// Ends it at once.
  void kill();
  /// Asks it to end; false when it does not for long and had to be killed.
  bool stop();
  /// How it ended, after `kill` or `stop`, or by itself.
  TestSupport::ProgramRun wait() { return m_program.wait(); }

 private:
  bool waitForEnd(std::chrono::seconds patience);

  TestSupport::Program m_program;
  std::string m_address;
  std::unique_ptr<RawClient> m_client;
  bool m_isDeaf = false;
};

}  // namespace SweepTest
