#pragma once

#include <examples/parameter_sweep/client/ServerAddress.h>
#include <examples/parameter_sweep/common/Keys.h>
#include <examples/parameter_sweep/common/SweepFailure.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>
#include <zmq.hpp>

namespace ParameterSweep {

/// The server has closed the connection, and with it may be lost what was sent over it.
class ConnectionLost : public SweepFailure {
  using SweepFailure::SweepFailure;
};

/// A connection to one port of a server, over which packages go both ways. It is made again when it is lost.
///
/// Each wait ends at a deadline with a `SweepFailure` that says how far it got: `Unreachable` for a name that is not
/// known, a machine where nothing listens, and a server that is there but does not answer; `AccessRefused` for keys.
/// Threads: one.
class Channel {
 public:
  using Clock = std::chrono::steady_clock;

  /// Connects nowhere yet.
  Channel(ServerAddress address, std::optional<ClientKeys> keys);
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;
  ~Channel();

  /// Waits until the server has taken the connection. Returns at once when it has. Throws as `send`.
  void connect(Clock::time_point deadline);

  /// Sends a package over the connection, which is made first if need be. Throws
  /// `ConnectionLost` once when it has been lost since the last package; the next package makes a new one.
  void send(const std::string& package, Clock::time_point deadline);

  /// The next package. Throws `ConnectionLost` when the connection is lost meanwhile.
  std::string receive(Clock::time_point deadline);

  /// The next package; empty if none arrives before the deadline, even when the connection is lost.
  std::optional<std::string> receiveIfAny(Clock::time_point deadline);

  /// Whether the server has taken the connection and has not left it since.
  bool isConnected() const { return m_isConnected && !m_isLost; }

 private:
  void open();
  void close();
  bool wait(short events, Clock::time_point deadline);
  void readEvents();
  void onEvent(std::uint16_t event);
  [[noreturn]] void fail(const std::string& reason) const;
  [[noreturn]] void failToConnect() const;
  [[noreturn]] void failLost();

  const ServerAddress m_address;
  const std::optional<ClientKeys> m_keys;
  std::vector<std::string> m_endpoints;  ///< of the server, which may have several addresses
  std::size_t m_endpoint = 0;            ///< the one in use
  int m_openings = 0;
  zmq::context_t m_context;
  zmq::socket_t m_socket;  ///< without a handle until it is opened
  zmq::socket_t m_monitor;
  bool m_isReached = false;  ///< something takes the connection
  bool m_isConnected = false;
  bool m_isUsed = false;  ///< something was sent
  bool m_isLost = false;  ///< and the connection did not stay
  bool m_isNextAddressDue = false;
};

}  // namespace ParameterSweep
