#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/server/ServerTransport.h>
#include <service/Logging.h>

#include <array>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/asio/ip/host_name.hpp>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <vector>
#include <zmq_addon.hpp>

namespace ParameterSweep {

namespace {

Drelvan::Logging s_logger(__FILE__);

constexpr const char* c_authenticationEndpoint = "inproc://zeromq.zap.01";
constexpr const char* c_authenticationDomain = "parameter-sweep";
constexpr std::size_t c_keyBytes = 32;
constexpr std::size_t c_maxSubscription = 1024;
constexpr int c_requestsAtOnce = 64;
constexpr std::chrono::milliseconds c_attendInterval{100};

}  // namespace

ServerTransport::ServerTransport(const TransportSettings& settings) : m_settings(settings) {
  if (!Drelvan::HostInfo::isLocalIp(settings.bind) && !settings.keys) {
    throw SweepFailure(FailureKind::LocalTrouble, "others may reach this server at " + settings.bind +
                                                      "; give --keys, or leave --bind at 127.0.0.1");
  }
  m_authentication.bind(c_authenticationEndpoint);
  secure(m_requests);
  secure(m_publisher);
  // Beyond this the connection is closed while the package arrives; below it the request server says why.
  m_requests.set(zmq::sockopt::maxmsgsize, static_cast<std::int64_t>(2 * settings.maxPackage));
  m_publisher.set(zmq::sockopt::maxmsgsize, static_cast<std::int64_t>(c_maxSubscription));
  m_publisher.set(zmq::sockopt::xpub_verbose, 1);
  m_host.setName(boost::asio::ip::host_name());
  m_host.setIp(settings.bind);
  m_host.setRequestServerPort(bind(m_requests, settings.requestPort));
  m_host.setPublisherPort(bind(m_publisher, settings.publisherPort));
}

void ServerTransport::secure(zmq::socket_t& socket) {
  socket.set(zmq::sockopt::linger, 0);
  if (m_settings.keys) {
    socket.set(zmq::sockopt::curve_server, true);
    socket.set(zmq::sockopt::curve_secretkey, m_settings.keys->own.secretKey);
    socket.set(zmq::sockopt::zap_domain, c_authenticationDomain);
  }
}

int ServerTransport::bind(zmq::socket_t& socket, int port) {
  const std::string address = "tcp://" + m_settings.bind + ":";
  try {
    socket.bind(address + (port == 0 ? "*" : std::to_string(port)));
  } catch (const zmq::error_t& error) {
    throw SweepFailure(FailureKind::LocalTrouble, "cannot listen at " + address + std::to_string(port) + ": " +
                                                      error.what() +
                                                      "; choose another port, or an IPv4 address of this machine");
  }
  const std::string endpoint = socket.get(zmq::sockopt::last_endpoint);
  return std::stoi(endpoint.substr(endpoint.rfind(':') + 1));
}

void ServerTransport::publish(const std::string& package) {
  m_publisher.send(zmq::buffer(package), zmq::send_flags::dontwait);
}

void ServerTransport::run(SweepServer& server, const volatile std::sig_atomic_t& stop) {
  while (stop == 0) {
    std::vector<zmq::pollitem_t> items{
        {m_requests, 0, ZMQ_POLLIN, 0}, {m_publisher, 0, ZMQ_POLLIN, 0}, {m_authentication, 0, ZMQ_POLLIN, 0}};
    for (const int descriptor : server.getJobs().getDescriptors()) {
      items.push_back({nullptr, descriptor, ZMQ_POLLIN, 0});
    }
    try {
      zmq::poll(items, c_attendInterval);
      answerAuthentication();
      answerRequests();
      greetSubscribers(server);
      server.getJobs().attend();
    } catch (const zmq::error_t& error) {
      // A signal interrupts whatever waits.
      if (error.num() != EINTR) {
        throw;
      }
    }
  }
}

void ServerTransport::answerRequests() {
  for (int count = 0; count < c_requestsAtOnce; ++count) {
    std::vector<zmq::message_t> parts;
    if (!zmq::recv_multipart(m_requests, std::back_inserter(parts), zmq::recv_flags::dontwait)) {
      return;
    }
    // The sender's identity comes first. What is not one package is refused as an empty one.
    const std::string package = parts.size() == 2 ? parts[1].to_string() : std::string();
    const std::string reply = Drelvan::AbstractRequestServer::getInstance()->handleRequest(package);
    m_requests.send(parts[0], zmq::send_flags::sndmore | zmq::send_flags::dontwait);
    m_requests.send(zmq::buffer(reply), zmq::send_flags::dontwait);
  }
}

/// Whoever subscribes to a job gets its present state at once.
void ServerTransport::greetSubscribers(const SweepServer& server) {
  // The first byte is 1; the beginning of the job's packages follows, of which the quote at the end is left out here.
  std::string start = "\1" + replyPackageStart("");
  start.pop_back();
  zmq::message_t message;
  while (m_publisher.recv(message, zmq::recv_flags::dontwait)) {
    const std::string subscription = message.to_string();
    if (!boost::algorithm::starts_with(subscription, start)) {
      continue;
    }
    try {
      const std::string job = subscription.substr(start.size(), subscription.size() - start.size() - 1);
      publish(server.getStatusPackage(SweepJobId::fromText(job)));
    } catch (const SweepFailure& failure) {
      s_logger.logWARN(std::string("subscription: ") + failure.what(), __FILE__, __func__, __LINE__);
    }
  }
}

/// Lets in those whose public key is known. The messaging library asks on a socket of its own, as its protocol for
/// authentication says: version, sequence, domain, address, identity, mechanism and key come in; version, sequence,
/// status, text, user and metadata go back.
void ServerTransport::answerAuthentication() {
  std::vector<zmq::message_t> parts;
  while (zmq::recv_multipart(m_authentication, std::back_inserter(parts), zmq::recv_flags::dontwait)) {
    std::array<char, 41> key{};
    const bool isKey = parts.size() == 7 && parts[6].size() == c_keyBytes;
    if (isKey) {
      zmq_z85_encode(key.data(), parts[6].data<std::uint8_t>(), c_keyBytes);
    }
    const bool isKnown = isKey && m_settings.keys && m_settings.keys->clients.count(key.data()) != 0;
    if (!isKnown) {
      s_logger.logWARN("refused a client with an unknown key", __FILE__, __func__, __LINE__);
    }
    const std::array<zmq::const_buffer, 6> answer{zmq::str_buffer("1.0"),
                                                  zmq::buffer(parts.at(1).data(), parts.at(1).size()),
                                                  isKnown ? zmq::str_buffer("200") : zmq::str_buffer("400"),
                                                  isKnown ? zmq::str_buffer("OK") : zmq::str_buffer("unknown key"),
                                                  zmq::str_buffer(""),
                                                  zmq::str_buffer("")};
    zmq::send_multipart(m_authentication, answer);
    parts.clear();
  }
}

}  // namespace ParameterSweep
