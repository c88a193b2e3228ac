#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/SweepSchema.h>
#include <tests/examples/RawClient.h>

#include <array>
#include <chrono>

namespace SweepTest {

namespace {

constexpr std::chrono::minutes c_patience{1};

}  // namespace

using namespace ParameterSweep;

void RawTest::SetUpTestSuite() { static const Drelvan::ParserSession parser{SweepSchema()}; }

RawClient::RawClient(const std::string& server) : m_socket(m_context, zmq::socket_type::dealer) {
  m_socket.set(zmq::sockopt::linger, 0);
  m_socket.connect("tcp://" + server);
}

void RawClient::send(const std::vector<std::string>& parts) {
  for (std::size_t index = 0; index < parts.size(); ++index) {
    const auto flags = index + 1 < parts.size() ? zmq::send_flags::sndmore : zmq::send_flags::none;
    m_socket.send(zmq::buffer(parts[index]), flags);
  }
}

std::string RawClient::exchange(const std::vector<std::string>& parts) {
  send(parts);
  std::array<zmq::pollitem_t, 1> items{{{m_socket, 0, ZMQ_POLLIN, 0}}};
  zmq::poll(items, c_patience);
  return received();
}

std::string RawClient::received() {
  zmq::message_t message;
  return m_socket.recv(message, zmq::recv_flags::dontwait) ? message.to_string() : std::string();
}

ReplyContent RawClient::ask(const std::string& package) { return readReplyPackage(exchange({package})).content; }

ReplyContent RawClient::ask(const Request& request) { return ask(writeRequestPackage(request)); }

Request makeSubmission(const std::string& expression) {
  return {RequestKind::Submit, SweepJobId(), {expression, {{1, {{"x", 2.0}}}}}};
}

std::string refusal(const ReplyContent& content) {
  constexpr std::array<const char*, 3> c_others{"status", "result", "log"};
  const auto* failure = std::get_if<SweepFailure>(&content);
  return failure != nullptr ? toText(failure->getKind()) : c_others.at(content.index());
}

}  // namespace SweepTest
