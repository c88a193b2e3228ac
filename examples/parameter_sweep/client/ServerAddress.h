#pragma once

#include <string>
#include <vector>

namespace ParameterSweep {

/// Where a server is reached: a host and a port.
struct ServerAddress {
  std::string host;  ///< name, IPv4 address, or IPv6 address without brackets
  std::string port;

  /// Reads HOST:PORT; an IPv6 address is in brackets, [::1]:5701. Throws `SweepFailure` (`LocalFailure`).
  static ServerAddress fromText(const std::string& text);

  /// HOST:PORT.
  std::string toText() const;
};

/// The endpoints of all addresses of a server, as ZeroMQ takes them. Throws `SweepFailure` (`Unreachable`) when
/// the host's name is not known.
std::vector<std::string> resolve(const ServerAddress& address);

}  // namespace ParameterSweep
