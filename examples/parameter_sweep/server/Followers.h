#pragma once

#include <examples/parameter_sweep/server/ServerSocket.h>
#include <examples/parameter_sweep/server/SweepServer.h>

#include <cstddef>
#include <map>
#include <set>
#include <string>

namespace ParameterSweep {

/// How many jobs may be followed.
struct FollowLimits {
  std::size_t ofConnection = 1000;
  std::size_t ofClient = 10000;  ///< over all of a client's connections; those without keys are one client
};

/// Tells those who follow a job what changes.
///
/// A connection, and a client, may follow a bounded number of jobs. A connection that does not read loses progress and
/// keeps nobody waiting; one whose key is not known any more gets nothing. Threads: one.
class Followers {
 public:
  Followers(ServerSocket& socket, const SweepServer& server, const FollowLimits& limits = {})
      : m_socket(socket), m_server(server), m_limits(limits) {}

  /// Answers requests to follow a job for a slice of time; false when there are no more.
  bool answer();
  /// Sends the status to all who follow the job, and forgets them with its end.
  void publish(const JobStatus& status);

  /// The connections that are known to follow a job.
  std::size_t countConnections() const { return m_byConnection.size(); }

 private:
  using Connection = std::string;
  struct Follower {
    std::string client;
    std::string key;
    std::set<std::string> jobs;  ///< by unique id
  };

  std::string follow(const ServerSocket::Message& message);
  void add(const Connection& connection, const Client& client, const std::string& job);
  void makeRoom();
  void count(const std::string& client, int change);
  void forget(const Connection& connection);
  void forgetJob(const std::string& job);

  ServerSocket& m_socket;
  const SweepServer& m_server;
  const FollowLimits m_limits;
  std::map<std::string, std::set<Connection>> m_byJob;  ///< by unique id
  std::map<Connection, Follower> m_byConnection;
  std::map<std::string, std::size_t> m_followed;  ///< jobs, by the client's name
  Connection m_lastTried;                         ///< of `makeRoom`
};

}  // namespace ParameterSweep
