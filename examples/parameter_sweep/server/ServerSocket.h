#pragma once

#include <examples/parameter_sweep/server/Authentication.h>

#include <functional>
#include <optional>
#include <string>
#include <zmq.hpp>

namespace ParameterSweep {

/// A socket of the server: packages come in from many connections, and go out to one of them. What it holds for a
/// connection is bounded.
///
/// Threads: one.
class ServerSocket {
 public:
  struct Message {
    std::string connection;  ///< whom to answer
    std::string package;     ///< empty for what is not one package
    std::optional<Client> client;
  };

  ServerSocket(zmq::context_t& context, const Authentication& authentication, std::size_t maxPackage);

  /// Binds to an address of this machine. Returns the port, which is a free one for 0. Throws `SweepFailure`
  /// (`LocalFailure`).
  int bind(const std::string& address, int port);

  /// The next message, if one is there.
  std::optional<Message> receive();

  enum class Sent { Done, Full, Gone };
  /// Never waits: `Full` and nothing sent when the receiver does not read.
  Sent send(const std::string& connection, const std::string& package);

  /// As `Authentication::isKnown`.
  bool isKnown(const std::string& key) const { return m_authentication.isKnown(key); }

  zmq::socket_ref get() { return m_socket; }

 private:
  const Authentication& m_authentication;
  zmq::socket_t m_socket;
};

}  // namespace ParameterSweep
