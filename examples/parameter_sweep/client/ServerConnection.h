#pragma once

#include <examples/parameter_sweep/client/Channel.h>
#include <examples/parameter_sweep/common/Keys.h>
#include <examples/parameter_sweep/common/Messages.h>

#include <chrono>
#include <optional>
#include <string>
#include <zmq.hpp>

namespace ParameterSweep {

struct ConnectionSettings {
  std::string server = "127.0.0.1:5701";  ///< as `ServerAddress::fromText` reads it
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

  /// Waits until the server has taken the connection. Throws `SweepFailure`: `Unreachable`, or `AccessRefused` when the
  /// server does not know the keys.
  void connect() { m_requests.connect(deadline()); }

  /// The answer of the given kind. Throws `SweepFailure`: the server's refusal, and as `connect`.
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
  Channel::Clock::time_point deadline() const;
  ReplyContent exchange(const Request& request);

  const ConnectionSettings m_settings;
  Channel m_requests;
  zmq::context_t m_context;
  zmq::socket_t m_progress{m_context, zmq::socket_type::sub};
};

}  // namespace ParameterSweep
