#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <examples/parameter_sweep/common/Keys.h>
#include <examples/parameter_sweep/server/SweepServer.h>

#include <csignal>
#include <cstddef>
#include <optional>
#include <string>
#include <zmq.hpp>

namespace ParameterSweep {

struct TransportSettings {
  std::string bind = "127.0.0.1";  ///< any other address needs keys
  int requestPort = 5701;          ///< 0 for a free one
  int publisherPort = 5702;        ///< 0 for a free one
  std::size_t maxPackage = std::size_t{4} << 20U;
  std::optional<ServerKeys> keys;
};

/// Carries packages between the sockets and the process's request server: one package per message, nothing else.
///
/// Threads: one.
class ServerTransport {
 public:
  /// Binds both sockets. Throws `SweepFailure` (`LocalTrouble`) when they cannot be, or must not without keys.
  explicit ServerTransport(const TransportSettings& settings);

  /// Where the sockets are reached.
  Drelvan::HostInfo getHostInfo() const { return m_host; }

  /// Sends a package to those who subscribed to its beginning.
  void publish(const std::string& package);

  /// Answers, publishes and has `server` attend to its jobs until a signal handler sets `stop`.
  void run(SweepServer& server, const volatile std::sig_atomic_t& stop);

 private:
  void secure(zmq::socket_t& socket);
  int bind(zmq::socket_t& socket, int port);
  void answerRequests();
  void greetSubscribers(const SweepServer& server);
  void answerAuthentication();

  const TransportSettings m_settings;
  zmq::context_t m_context;
  zmq::socket_t m_authentication{m_context, zmq::socket_type::rep};
  zmq::socket_t m_requests{m_context, zmq::socket_type::router};
  zmq::socket_t m_publisher{m_context, zmq::socket_type::xpub};
  Drelvan::HostInfo m_host;
};

}  // namespace ParameterSweep
