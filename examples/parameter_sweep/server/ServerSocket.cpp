#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/server/ServerSocket.h>

#include <cerrno>
#include <chrono>
#include <iterator>
#include <vector>
#include <zmq_addon.hpp>

namespace ParameterSweep {

namespace {

// Packages that are held for a connection before the network holds its other side back.
constexpr int c_mostReceived = 16;
constexpr int c_mostToSend = 64;
constexpr std::chrono::milliseconds c_longestHandshake{5000};
constexpr int c_backlog = 1024;

}  // namespace

ServerSocket::ServerSocket(zmq::context_t& context, const Authentication& authentication, std::size_t maxPackage)
    : m_authentication(authentication), m_socket(context, zmq::socket_type::router) {
  authentication.secure(m_socket);
  m_socket.set(zmq::sockopt::linger, 0);
  m_socket.set(zmq::sockopt::router_mandatory, true);
  m_socket.set(zmq::sockopt::rcvhwm, c_mostReceived);
  m_socket.set(zmq::sockopt::sndhwm, c_mostToSend);
  m_socket.set(zmq::sockopt::backlog, c_backlog);
  m_socket.set(zmq::sockopt::handshake_ivl, static_cast<int>(c_longestHandshake.count()));
  // Beyond this the connection is closed while the package arrives; below it the request server says why.
  m_socket.set(zmq::sockopt::maxmsgsize, static_cast<std::int64_t>(2 * maxPackage));
}

int ServerSocket::bind(const std::string& address, int port) {
  const bool isVersion6 = address.find(':') != std::string::npos;
  const std::string host = "tcp://" + (isVersion6 ? "[" + address + "]" : address) + ":";
  try {
    m_socket.set(zmq::sockopt::ipv6, isVersion6);
    m_socket.bind(host + (port == 0 ? "*" : std::to_string(port)));
  } catch (const zmq::error_t& error) {
    throw SweepFailure(FailureKind::LocalFailure, "cannot listen at " + host + std::to_string(port) + ": " +
                                                      error.what() +
                                                      "; choose another port, or an address of this machine");
  }
  const std::string endpoint = m_socket.get(zmq::sockopt::last_endpoint);
  return std::stoi(endpoint.substr(endpoint.rfind(':') + 1));
}

std::optional<ServerSocket::Message> ServerSocket::receive() {
  std::vector<zmq::message_t> parts;
  if (!zmq::recv_multipart(m_socket, std::back_inserter(parts), zmq::recv_flags::dontwait)) {
    return std::nullopt;
  }
  // The sender's connection comes first.
  return Message{parts[0].to_string(), parts.size() == 2 ? parts[1].to_string() : std::string(),
                 m_authentication.identify(parts.back())};
}

ServerSocket::Sent ServerSocket::send(const std::string& connection, const std::string& package) {
  try {
    if (!m_socket.send(zmq::buffer(connection), zmq::send_flags::sndmore | zmq::send_flags::dontwait)) {
      return Sent::Full;
    }
    m_socket.send(zmq::buffer(package), zmq::send_flags::dontwait);
    return Sent::Done;
  } catch (const zmq::error_t& error) {
    if (error.num() == EHOSTUNREACH) {
      return Sent::Gone;
    }
    throw;
  }
}

}  // namespace ParameterSweep
