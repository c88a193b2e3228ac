#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <examples/parameter_sweep/server/ServerSocket.h>
#include <examples/parameter_sweep/server/SweepServer.h>

#include <cstddef>
#include <set>
#include <string>
#include <zmq.hpp>

namespace ParameterSweep {

struct TransportSettings {
  std::string bind = "127.0.0.1";  ///< any address that others reach needs keys
  int requestPort = 5701;          ///< 0 for a free one
  int publisherPort = 5702;        ///< 0 for a free one
  std::size_t maxPackage = std::size_t{1} << 20U;
  std::string keys;              ///< folder; empty for none
  std::set<std::string> admins;  ///< names of keys
};

/// Carries packages between the sockets and the process's request server: one package per message, nothing else.
///
/// Threads: one.
class ServerTransport {
 public:
  /// Binds both sockets. Throws `SweepFailure` (`LocalFailure`) when they cannot be, or must not without keys.
  explicit ServerTransport(const TransportSettings& settings);

  /// Where the sockets are reached.
  Drelvan::HostInfo getHostInfo() const { return m_host; }

  Authentication& getAuthentication() { return m_authentication; }
  ServerSocket& getRequests() { return m_requests; }
  ServerSocket& getProgress() { return m_progress; }

  /// Has the process's request server answer requests for a slice of time; false when there are no more.
  bool answerRequests(SweepServer& server);

 private:
  void reply(const std::string& connection, const std::string& package);

  const TransportSettings m_settings;
  zmq::context_t m_context;
  Authentication m_authentication;
  ServerSocket m_requests;
  ServerSocket m_progress;
  Drelvan::HostInfo m_host;
};

}  // namespace ParameterSweep
