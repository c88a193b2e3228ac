#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/TimeSlice.h>
#include <examples/parameter_sweep/server/ServerTransport.h>
#include <service/Logging.h>

#include <boost/asio/ip/host_name.hpp>

namespace ParameterSweep {

namespace {

Drelvan::Logging s_logger(__FILE__);

constexpr std::size_t c_longestFollow = 8192;

}  // namespace

ServerTransport::ServerTransport(const TransportSettings& settings)
    : m_settings(settings),
      m_authentication(m_context, settings.keys, settings.admins),
      m_requests(m_context, m_authentication, settings.maxPackage),
      m_progress(m_context, m_authentication, c_longestFollow) {
  const bool isLocal = Drelvan::HostInfo::isLocalIp(settings.bind) || settings.bind == "::1";
  if (!isLocal && !m_authentication.hasKeys()) {
    throw SweepFailure(FailureKind::LocalFailure, "others may reach this server at " + settings.bind +
                                                      "; give --keys, or leave --bind at 127.0.0.1");
  }
  m_host.setName(boost::asio::ip::host_name());
  m_host.setIp(settings.bind);
  m_host.setRequestServerPort(m_requests.bind(settings.bind, settings.requestPort));
  m_host.setPublisherPort(m_progress.bind(settings.bind, settings.publisherPort));
}

bool ServerTransport::answerRequests(SweepServer& server) {
  const TimeSlice slice;
  do {
    const auto message = m_requests.receive();
    if (!message) {
      return false;
    }
    if (!message->client) {
      const SweepFailure refusal(FailureKind::AccessRefused,
                                 "this server does not know your key any more; ask for a new one");
      reply(message->connection, writeReplyPackage({refusal}, m_host.toString()));
      continue;
    }
    server.setAsker({*message->client, [this, connection = message->connection](const std::string& package) {
                       reply(connection, package);
                     }});
    const std::string package = Drelvan::AbstractRequestServer::getInstance()->handleRequest(message->package);
    if (!package.empty()) {
      reply(message->connection, package);
    }
  } while (!slice.isOver());
  return true;
}

void ServerTransport::reply(const std::string& connection, const std::string& package) {
  if (m_requests.send(connection, package) == ServerSocket::Sent::Full) {
    s_logger.logWARN("dropped a reply to a client that does not read", __FILE__, __func__, __LINE__);
  }
}

}  // namespace ParameterSweep
