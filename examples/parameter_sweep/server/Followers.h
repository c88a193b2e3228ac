#pragma once

#include <examples/parameter_sweep/server/ServerSocket.h>
#include <examples/parameter_sweep/server/SweepServer.h>

#include <map>
#include <set>
#include <string>

namespace ParameterSweep {

/// Tells those who follow a job what changes.
///
/// A connection may follow a bounded number of jobs. One that does not read loses progress and keeps nobody waiting.
/// Threads: one.
class Followers {
 public:
  Followers(ServerSocket& socket, const SweepServer& server) : m_socket(socket), m_server(server) {}

  /// Answers requests to follow a job for a slice of time; false when there are no more.
  bool answer();
  /// Sends the status to all who follow the job, and forgets them with its end.
  void publish(const JobStatus& status);

 private:
  using Connection = std::string;

  std::string follow(const ServerSocket::Message& message);
  void add(const Connection& connection, const std::string& job);
  void forget(const Connection& connection);

  ServerSocket& m_socket;
  const SweepServer& m_server;
  std::map<std::string, std::set<Connection>> m_byJob;  ///< by unique id
  std::map<Connection, std::set<std::string>> m_byConnection;
};

}  // namespace ParameterSweep
