#pragma once

#include <examples/parameter_sweep/server/Followers.h>
#include <examples/parameter_sweep/server/ServerTransport.h>

#include <csignal>

namespace ParameterSweep {

/// What the signal handlers of the program set.
struct ServerSignals {
  volatile std::sig_atomic_t stop = 0;
  volatile std::sig_atomic_t reloadKeys = 0;
};

/// Waits for sockets, the store and the engine in one place, and gives each its turn. Threads: one.
class ServerLoop {
 public:
  ServerLoop(ServerTransport& transport, SweepServer& server, Followers& followers, StoreWriter& writer,
             JobEngine& engine, JobTable& jobs);

  /// Runs until a signal handler sets `stop`.
  void run(ServerSignals& signals);

 private:
  void wait();
  void turn();

  ServerTransport& m_transport;
  SweepServer& m_server;
  Followers& m_followers;
  StoreWriter& m_writer;
  JobEngine& m_engine;
  JobTable& m_jobs;
  bool m_isBusy = false;  ///< requests are waiting
};

}  // namespace ParameterSweep
