#include <examples/parameter_sweep/server/Authentication.h>
#include <service/Logging.h>

#include <array>
#include <exception>
#include <iterator>
#include <utility>
#include <vector>
#include <zmq_addon.hpp>

namespace ParameterSweep {

namespace {

Drelvan::Logging s_logger(__FILE__);

constexpr const char* c_endpoint = "inproc://zeromq.zap.01";
constexpr const char* c_domain = "parameter-sweep";
constexpr std::size_t c_keyBytes = 32;
constexpr std::size_t c_keyText = 41;  // with the end of the text

}  // namespace

Authentication::Authentication(zmq::context_t& context, const std::string& keyFolder, std::set<std::string> admins)
    : m_keyFolder(keyFolder), m_admins(std::move(admins)), m_socket(context, zmq::socket_type::rep) {
  if (!m_keyFolder.empty()) {
    m_keys = readServerKeys(m_keyFolder);
  }
  m_socket.set(zmq::sockopt::linger, 0);
  m_socket.bind(c_endpoint);
}

void Authentication::secure(zmq::socket_t& socket) const {
  if (m_keys) {
    socket.set(zmq::sockopt::curve_server, true);
    socket.set(zmq::sockopt::curve_secretkey, m_keys->own.secretKey);
    socket.set(zmq::sockopt::zap_domain, c_domain);
  }
}

/// The messaging library asks as its protocol for authentication says: version, sequence, domain, address, identity,
/// mechanism and key come in; version, sequence, status, text, user and metadata go back. The user is the key.
void Authentication::answer() {
  std::vector<zmq::message_t> parts;
  while (zmq::recv_multipart(m_socket, std::back_inserter(parts), zmq::recv_flags::dontwait)) {
    std::array<char, c_keyText> key{};
    const bool isKey = parts.size() == 7 && parts[6].size() == c_keyBytes;
    if (isKey) {
      zmq_z85_encode(key.data(), parts[6].data<std::uint8_t>(), c_keyBytes);
    }
    const bool isKnown = isKey && m_keys && m_keys->clients.count(key.data()) != 0;
    if (!isKnown) {
      s_logger.logWARN("refused a client with an unknown key", __FILE__, __func__, __LINE__);
    }
    const std::string user = isKnown ? key.data() : "";
    const std::array<zmq::const_buffer, 6> answer{zmq::str_buffer("1.0"),
                                                  zmq::buffer(parts.at(1).data(), parts.at(1).size()),
                                                  isKnown ? zmq::str_buffer("200") : zmq::str_buffer("400"),
                                                  isKnown ? zmq::str_buffer("OK") : zmq::str_buffer("unknown key"),
                                                  zmq::buffer(user),
                                                  zmq::str_buffer("")};
    zmq::send_multipart(m_socket, answer);
    parts.clear();
  }
}

std::optional<Client> Authentication::identify(zmq::message_t& message) const {
  if (!m_keys) {
    return Client{"", m_admins.count("") != 0};
  }
  const char* const key = zmq_msg_gets(message.handle(), "User-Id");
  const auto known = m_keys->clients.find(key == nullptr ? "" : key);
  if (known == m_keys->clients.end()) {
    return std::nullopt;
  }
  return Client{known->second, m_admins.count(known->second) != 0, known->first};
}

void Authentication::reload() {
  if (!m_keys) {
    return;
  }
  try {
    // The server's own pair is that of its sockets; only who is let in may change.
    m_keys->clients = readServerKeys(m_keyFolder).clients;
    s_logger.logINFO("read the keys of " + std::to_string(m_keys->clients.size()) + " clients", __FILE__, __func__,
                     __LINE__);
  } catch (const std::exception& exception) {
    s_logger.logERROR(std::string("the keys cannot be read again, those known before stay: ") + exception.what(),
                      __FILE__, __func__, __LINE__);
  }
}

}  // namespace ParameterSweep
