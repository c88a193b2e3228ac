#include <examples/parameter_sweep/client/ServerConnection.h>
#include <examples/parameter_sweep/common/Packages.h>

#include <array>

namespace ParameterSweep {

ServerConnection::ServerConnection(const ConnectionSettings& settings)
    : m_settings(settings), m_requests(ServerAddress::fromText(settings.server), settings.keys) {
  m_progress.set(zmq::sockopt::linger, 0);
  m_progress.set(zmq::sockopt::ipv6, true);
  if (m_settings.keys) {
    m_progress.set(zmq::sockopt::curve_serverkey, m_settings.keys->serverKey);
    m_progress.set(zmq::sockopt::curve_publickey, m_settings.keys->own.publicKey);
    m_progress.set(zmq::sockopt::curve_secretkey, m_settings.keys->own.secretKey);
  }
}

Channel::Clock::time_point ServerConnection::deadline() const {
  const std::chrono::duration<double> wait(m_settings.timeOutSeconds);
  return Channel::Clock::now() + std::chrono::duration_cast<Channel::Clock::duration>(wait);
}

ReplyContent ServerConnection::exchange(const Request& request) {
  const auto end = deadline();
  m_requests.send(writeRequestPackage(request), end);
  for (;;) {
    Reply reply = readReplyPackage(m_requests.receive(end));
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

void ServerConnection::subscribe(const SweepJobId& jobId, const Drelvan::HostInfo& server) {
  m_progress.set(zmq::sockopt::subscribe, replyPackageStart(jobId.toString()));
  m_progress.connect(m_requests.getEndpoint(server.getPublisherPort()));
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
