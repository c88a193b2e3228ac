#include <examples/parameter_sweep/client/Channel.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace ParameterSweep {

namespace {

constexpr int c_events = ZMQ_EVENT_CONNECTED | ZMQ_EVENT_CONNECT_RETRIED | ZMQ_EVENT_HANDSHAKE_SUCCEEDED |
                         ZMQ_EVENT_DISCONNECTED | ZMQ_EVENT_HANDSHAKE_FAILED_AUTH |
                         ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL | ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL;

std::chrono::milliseconds until(Channel::Clock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Channel::Clock::now());
  return std::max(left, std::chrono::milliseconds(0));
}

}  // namespace

Channel::Channel(ServerAddress address, std::optional<ClientKeys> keys)
    : m_address(std::move(address)), m_keys(std::move(keys)) {}

Channel::~Channel() { close(); }

void Channel::open() {
  m_isReached = false;
  m_isConnected = false;
  m_isUsed = false;
  m_isLost = false;
  m_isNextAddressDue = false;
  m_socket = zmq::socket_t(m_context, zmq::socket_type::dealer);
  m_socket.set(zmq::sockopt::linger, 0);
  m_socket.set(zmq::sockopt::ipv6, true);
  if (m_keys) {
    m_socket.set(zmq::sockopt::curve_serverkey, m_keys->serverKey);
    m_socket.set(zmq::sockopt::curve_publickey, m_keys->own.publicKey);
    m_socket.set(zmq::sockopt::curve_secretkey, m_keys->own.secretKey);
  }
  m_monitor = zmq::socket_t(m_context, zmq::socket_type::pair);
  m_monitor.set(zmq::sockopt::linger, 0);
  m_monitor.set(zmq::sockopt::rcvhwm, 0);  // a full one would stop the thread that makes the connection
  // A name cannot be reused until some time after its socket was closed.
  const std::string events = "inproc://connection-events-" + std::to_string(++m_openings);
  if (zmq_socket_monitor(m_socket.handle(), events.c_str(), c_events) != 0) {
    throw zmq::error_t();
  }
  m_monitor.connect(events);
  m_socket.connect(m_endpoints[m_endpoint]);
}

void Channel::close() {
  if (m_socket.handle() != nullptr) {
    // First: an event that cannot be delivered any more would keep the socket from closing, for ever.
    zmq_socket_monitor(m_socket.handle(), nullptr, 0);
  }
  m_socket.close();
  m_monitor.close();
  m_isConnected = false;
}

void Channel::connect(Clock::time_point deadline) {
  if (m_endpoints.empty()) {
    m_endpoints = resolve(m_address);
  }
  if (m_socket.handle() == nullptr) {
    open();
  }
  readEvents();
  if (m_isLost) {
    failLost();
  }
  while (!m_isConnected) {
    if (!wait(0, deadline)) {
      failToConnect();
    }
    if (m_isNextAddressDue && m_endpoints.size() > 1) {
      close();
      m_endpoint = (m_endpoint + 1) % m_endpoints.size();
      open();
    }
  }
}

void Channel::send(const std::string& package, Clock::time_point deadline) {
  connect(deadline);
  while (!m_socket.send(zmq::buffer(package), zmq::send_flags::dontwait)) {
    if (!wait(ZMQ_POLLOUT, deadline)) {
      fail("no answer from " + m_address.toText() + ": the server does not read; try again later");
    }
  }
  m_isUsed = true;
}

std::string Channel::receive(Clock::time_point deadline) {
  while (m_socket.handle() != nullptr) {
    if (auto package = receiveIfAny(Clock::now())) {
      return std::move(*package);
    }
    if (!isConnected()) {
      failLost();
    }
    if (!wait(ZMQ_POLLIN, deadline)) {
      fail("no answer from " + m_address.toText() +
           ": the server is there but busy; try again later, or give more time with --timeout");
    }
  }
  fail("no answer from " + m_address.toText() + ": nothing was sent over this connection");
}

std::optional<std::string> Channel::receiveIfAny(Clock::time_point deadline) {
  zmq::message_t message;
  while (!m_socket.recv(message, zmq::recv_flags::dontwait)) {
    if (!wait(ZMQ_POLLIN, deadline)) {
      return std::nullopt;
    }
  }
  return message.to_string();
}

/// Waits for the given events of the socket, or for news of the connection. False at the deadline.
bool Channel::wait(short events, Clock::time_point deadline) {
  std::array<zmq::pollitem_t, 2> items{{{m_monitor, 0, ZMQ_POLLIN, 0}, {m_socket, 0, events, 0}}};
  try {
    if (zmq::poll(items.data(), events == 0 ? 1 : 2, until(deadline)) == 0) {
      return false;
    }
  } catch (const zmq::error_t& error) {
    if (error.num() != EINTR) {  // as after SIGSTOP and SIGCONT
      throw;
    }
  }
  readEvents();
  return true;
}

void Channel::readEvents() {
  zmq::message_t event;
  zmq::message_t address;
  while (m_monitor.recv(event, zmq::recv_flags::dontwait) && m_monitor.recv(address, zmq::recv_flags::dontwait)) {
    std::uint16_t number = 0;
    std::memcpy(&number, event.data(), sizeof number);
    onEvent(number);
  }
}

void Channel::onEvent(std::uint16_t event) {
  const std::string server = "the server at " + m_address.toText();
  switch (event) {
    case ZMQ_EVENT_CONNECTED:
      m_isReached = true;
      break;
    case ZMQ_EVENT_CONNECT_RETRIED:
      m_isNextAddressDue = true;
      break;
    case ZMQ_EVENT_HANDSHAKE_SUCCEEDED:
      m_isConnected = true;
      break;
    case ZMQ_EVENT_HANDSHAKE_FAILED_AUTH:
      // ZeroMQ does not retry such a connection, and sending over it would block for ever.
      close();
      throw SweepFailure(FailureKind::AccessRefused, server + " refuses these keys; check --keys");
    case ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL:
    case ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL:
      close();
      throw SweepFailure(FailureKind::AccessRefused, server + " rejected the connection; check the port and --keys");
    default:
      m_isLost = m_isUsed;
      m_isConnected = false;
  }
}

void Channel::fail(const std::string& reason) const { throw SweepFailure(FailureKind::Unreachable, reason); }

void Channel::failLost() {
  close();  // or what waits in the socket would go to the next server, unasked
  throw ConnectionLost(
      FailureKind::Unreachable,
      "the server at " + m_address.toText() +
          " closed the connection: the server stopped, the package is too large, or this is not the request port");
}

void Channel::failToConnect() const {
  const std::string server = "no answer from " + m_address.toText() + ": ";
  fail(server + (m_isReached ? "connected, but the handshake did not complete; check the port and --keys. The server "
                               "may also be busy: try again later"
                             : "no connection; check that sweep-server runs there, and the port"));
}

}  // namespace ParameterSweep
