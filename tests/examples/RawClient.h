#pragma once

#include <examples/parameter_sweep/common/Messages.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>
#include <zmq.hpp>

namespace SweepTest {

/// Sends whatever a test wants to a server, well-formed or not. The process needs a `Drelvan::ParserSession`.
class RawClient {
 public:
  explicit RawClient(const std::string& server);

  /// The reply to the message; an empty text when none comes within a minute.
  std::string exchange(const std::vector<std::string>& parts);
  /// The same for one package, read and validated.
  ParameterSweep::ReplyContent ask(const std::string& package);
  ParameterSweep::ReplyContent ask(const ParameterSweep::Request& request);

  /// The reply that has arrived; empty when there is none.
  std::string received();
  /// Sends without waiting.
  void send(const std::vector<std::string>& parts);

 private:
  zmq::context_t m_context;
  zmq::socket_t m_socket;
};

/// Starts the parser once for the whole test program.
class RawTest : public testing::Test {
 protected:
  static void SetUpTestSuite();
};

/// A submission of one realization with x = 2.
ParameterSweep::Request makeSubmission(const std::string& expression);
/// The kind of a refusal; the name of the alternative for any other reply.
std::string refusal(const ParameterSweep::ReplyContent& content);

}  // namespace SweepTest
