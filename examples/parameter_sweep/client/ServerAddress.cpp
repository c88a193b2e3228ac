#include <examples/parameter_sweep/client/ServerAddress.h>
#include <examples/parameter_sweep/common/SweepFailure.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/lexical_cast/try_lexical_convert.hpp>
#include <cstdint>
#include <limits>

namespace ParameterSweep {

namespace {

using boost::asio::ip::tcp;

bool isPort(const std::string& text) {
  std::uint32_t number = 0;
  return boost::conversion::try_lexical_convert(text, number) && number > 0 &&
         number <= std::numeric_limits<std::uint16_t>::max();
}

/// An IPv6 address needs brackets before a port.
std::string bracketed(const std::string& host) { return host.find(':') == std::string::npos ? host : "[" + host + "]"; }

}  // namespace

ServerAddress ServerAddress::fromText(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  ServerAddress address{text.substr(0, colon), colon == std::string::npos ? "" : text.substr(colon + 1)};
  std::string& host = address.host;
  const bool isBracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
  if (isBracketed) {
    host = host.substr(1, host.size() - 2);
  }
  if (host.empty() || !isPort(address.port) || (!isBracketed && host.find_first_of("[]:") != std::string::npos)) {
    throw SweepFailure(FailureKind::LocalFailure,
                       "'" + text + "' is not a server address; use HOST:PORT, or [ADDRESS]:PORT for IPv6");
  }
  return address;
}

std::string ServerAddress::toText() const { return bracketed(host) + ":" + port; }

std::vector<std::string> resolve(const ServerAddress& address) {
  boost::asio::io_context context;
  boost::system::error_code error;
  const auto found = tcp::resolver(context).resolve(address.host, address.port, tcp::resolver::flags(), error);
  if (error) {
    throw SweepFailure(FailureKind::Unreachable, "no answer from " + address.toText() + ": the name '" + address.host +
                                                     "' is not known (" + error.message() + "); check --server");
  }
  std::vector<std::string> endpoints;
  for (const auto& entry : found) {
    endpoints.push_back("tcp://" + bracketed(entry.endpoint().address().to_string()) + ":" + address.port);
  }
  return endpoints;
}

}  // namespace ParameterSweep
