#pragma once

#include <examples/parameter_sweep/common/Keys.h>
#include <examples/parameter_sweep/common/Messages.h>

#include <chrono>
#include <optional>
#include <string>
#include <zmq.hpp>

namespace ParameterSweep {

struct ConnectionSettings {
  std::string server = "127.0.0.1:5701";  ///< host name or address, ":", request port
  double timeOutSeconds = 10;
  std::optional<ClientKeys> keys = {};
};

/// A client's way to the server: one request after the other, and the progress of one job.
///
/// Threads: one.
class ServerConnection {
 public:
  /// Does not wait for the server. Throws `SweepFailure` (`LocalTrouble`) for a server text of another form.
  explicit ServerConnection(const ConnectionSettings& settings);

  /// The answer of the given kind. Throws `SweepFailure`: the server's refusal, `Unreachable` when there is no answer
  /// in time, `AccessRefused` when the server does not know the keys.
  template <typename Content>
  Content ask(const Request& request) {
    ReplyContent content = exchange(request);
    if (auto* answer = std::get_if<Content>(&content)) {
      return std::move(*answer);
    }
    throw SweepFailure(FailureKind::Internal, "the server answered with something else than was asked for");
  }

  /// Begins to receive the progress of a job from the publisher that `server` names.
  void subscribe(const SweepJobId& jobId, const Drelvan::HostInfo& server);

  /// The next progress of the subscribed job; empty when there is none for so long.
  std::optional<JobStatus> receiveProgress(std::chrono::milliseconds wait);

 private:
  void secure(zmq::socket_t& socket);
  ReplyContent exchange(const Request& request);
  std::string receive();
  std::optional<std::uint16_t> receiveEvent();

  const ConnectionSettings m_settings;
  zmq::context_t m_context;
  zmq::socket_t m_requests{m_context, zmq::socket_type::dealer};
  zmq::socket_t m_events{m_context, zmq::socket_type::pair};
  zmq::socket_t m_progress{m_context, zmq::socket_type::sub};
};

}  // namespace ParameterSweep
