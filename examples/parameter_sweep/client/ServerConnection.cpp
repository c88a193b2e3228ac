#include <examples/parameter_sweep/client/ServerConnection.h>
#include <examples/parameter_sweep/common/Packages.h>

#include <array>
#include <cstring>

namespace ParameterSweep {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr const char* c_eventsEndpoint = "inproc://connection-events";
constexpr int c_events = ZMQ_EVENT_DISCONNECTED | ZMQ_EVENT_HANDSHAKE_FAILED_AUTH |
                         ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL | ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL;

std::chrono::milliseconds until(Clock::time_point deadline) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
}

}  // namespace

ServerConnection::ServerConnection(const ConnectionSettings& settings) : m_settings(settings) {
  secure(m_requests);
  secure(m_progress);
  m_events.set(zmq::sockopt::linger, 0);
  zmq_socket_monitor(m_requests.handle(), c_eventsEndpoint, c_events);
  m_events.connect(c_eventsEndpoint);
  try {
    m_requests.connect("tcp://" + settings.server);
  } catch (const zmq::error_t&) {
    throw SweepFailure(FailureKind::LocalTrouble, "'" + settings.server + "' is no server; give HOST:PORT");
  }
}

void ServerConnection::secure(zmq::socket_t& socket) {
  socket.set(zmq::sockopt::linger, 0);
  if (m_settings.keys) {
    socket.set(zmq::sockopt::curve_serverkey, m_settings.keys->serverKey);
    socket.set(zmq::sockopt::curve_publickey, m_settings.keys->own.publicKey);
    socket.set(zmq::sockopt::curve_secretkey, m_settings.keys->own.secretKey);
  }
}

ReplyContent ServerConnection::exchange(const Request& request) {
  // A connection lost before now has been made anew, or will be.
  while (receiveEvent()) {
  }
  m_requests.send(zmq::buffer(writeRequestPackage(request)), zmq::send_flags::none);
  for (;;) {
    Reply reply = readReplyPackage(receive());
    // An answer to an earlier request that was given up may still arrive.
    if (reply.requestId != request.id && reply.requestId != c_noRequest) {
      continue;
    }
    if (const auto* refusal = std::get_if<SweepFailure>(&reply.content)) {
      throw SweepFailure(*refusal);
    }
    return std::move(reply.content);
  }
}

std::string ServerConnection::receive() {
  const std::string& server = m_settings.server;
  const auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(Seconds(m_settings.timeOutSeconds));
  while (until(deadline).count() > 0) {
    std::array<zmq::pollitem_t, 2> items{{{m_requests, 0, ZMQ_POLLIN, 0}, {m_events, 0, ZMQ_POLLIN, 0}}};
    zmq::poll(items, until(deadline));
    zmq::message_t message;
    if (m_requests.recv(message, zmq::recv_flags::dontwait)) {
      return message.to_string();
    }
    const auto event = receiveEvent();
    if (event == ZMQ_EVENT_DISCONNECTED) {
      throw SweepFailure(FailureKind::Unreachable,
                         "the server at " + server +
                             " closed the connection: it ended, or the package is too large; or check the port");
    }
    if (event == ZMQ_EVENT_HANDSHAKE_FAILED_AUTH) {
      throw SweepFailure(FailureKind::AccessRefused, "the server at " + server + " refuses these keys; check --keys");
    }
    if (event) {
      throw SweepFailure(FailureKind::AccessRefused,
                         "the server at " + server + " does not take this client; check the port and --keys");
    }
  }
  throw SweepFailure(FailureKind::Unreachable,
                     "no answer from " + server + "; check that sweep-server runs there, and the keys");
}

/// What the messaging library reports about the connection, if anything.
std::optional<std::uint16_t> ServerConnection::receiveEvent() {
  zmq::message_t event;
  zmq::message_t address;
  if (!m_events.recv(event, zmq::recv_flags::dontwait) || !m_events.recv(address, zmq::recv_flags::dontwait)) {
    return std::nullopt;
  }
  std::uint16_t number = 0;
  std::memcpy(&number, event.data(), sizeof number);
  return number;
}

void ServerConnection::subscribe(const SweepJobId& jobId, const Drelvan::HostInfo& server) {
  const std::string host = m_settings.server.substr(0, m_settings.server.rfind(':') + 1);
  m_progress.set(zmq::sockopt::subscribe, replyPackageStart(jobId.toString()));
  m_progress.connect("tcp://" + host + std::to_string(server.getPublisherPort()));
}

std::optional<JobStatus> ServerConnection::receiveProgress(std::chrono::milliseconds wait) {
  std::array<zmq::pollitem_t, 1> items{{{m_progress, 0, ZMQ_POLLIN, 0}}};
  zmq::poll(items, wait);
  zmq::message_t message;
  if (!m_progress.recv(message, zmq::recv_flags::dontwait)) {
    return std::nullopt;
  }
  return std::get<JobStatus>(readReplyPackage(message.to_string()).content);
}

}  // namespace ParameterSweep
