#pragma once

#include <examples/parameter_sweep/client/Channel.h>
#include <examples/parameter_sweep/common/Keys.h>
#include <examples/parameter_sweep/common/Messages.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ParameterSweep {

struct ConnectionSettings {
  std::string server = "127.0.0.1:5701";  ///< as `ServerAddress::fromText` reads it
  double timeOutSeconds = 10;             ///< for each answer
  std::optional<ClientKeys> keys = {};
};

/// A client's connection to a server: requests and their answers, and the progress of jobs.
///
/// Threads: one.
class ServerConnection {
 public:
  /// Gives one request after the other, at last none.
  using Requests = std::function<std::optional<Request>()>;

  /// Does not wait for the server. Throws `SweepFailure` (`LocalFailure`) for a server text of another form.
  explicit ServerConnection(const ConnectionSettings& settings);

  /// Waits until the server has taken the connection. Throws `SweepFailure`: `Unreachable`, or `AccessRefused` when the
  /// server does not know the keys.
  void connect() { m_requests.connect(deadline()); }

  /// The answer of the given kind. Throws `SweepFailure`: the server's refusal, and as `connect`.
  template <typename Content>
  Content ask(const Request& request) {
    bool isGiven = false;
    return askInTurn<Content>([&]() -> std::optional<Request> {
      return std::exchange(isGiven, true) ? std::nullopt : std::optional(request);
    });
  }

  /// Sends several requests, a few ahead of their answers, and returns the answer to the last one, which must be of the
  /// given kind. When the connection is lost, those without an answer are sent again if an answer had been read over
  /// that connection, or none was waited for; otherwise `ConnectionLost` ends the call, since one of the requests may
  /// be the cause. Throws as `ask`.
  template <typename Content>
  Content askInTurn(const Requests& next) {
    ReplyContent content = exchange(next);
    if (auto* answer = std::get_if<Content>(&content)) {
      return std::move(*answer);
    }
    throw SweepFailure(FailureKind::Internal, "the server sent an unexpected reply");
  }

  /// Asks for the progress of all the jobs over one connection to the port that `server` names. False when that port
  /// cannot be reached now.
  bool follow(const std::vector<SweepJobId>& jobs, const Drelvan::HostInfo& server);
  /// Whether the progress of the followed jobs still comes.
  bool isFollowing() const { return m_progress && m_progress->isConnected(); }

  /// The next progress of a followed job; empty if none arrives within that time.
  std::optional<JobStatus> receiveProgress(std::chrono::milliseconds wait);

 private:
  Channel::Clock::time_point deadline() const;
  ReplyContent exchange(const Requests& next);
  void sendFollows(const std::vector<SweepJobId>& jobs, std::chrono::milliseconds patience);

  const ConnectionSettings m_settings;
  const ServerAddress m_address;
  Channel m_requests;
  std::optional<Channel> m_progress;
};

}  // namespace ParameterSweep
