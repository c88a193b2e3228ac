#include <examples/parameter_sweep/server/ServerLoop.h>

#include <cerrno>
#include <vector>

namespace ParameterSweep {

ServerLoop::ServerLoop(ServerTransport& transport, SweepServer& server, Followers& followers, StoreWriter& writer,
                       JobEngine& engine, JobTable& jobs)
    : m_transport(transport),
      m_server(server),
      m_followers(followers),
      m_writer(writer),
      m_engine(engine),
      m_jobs(jobs) {}

void ServerLoop::run(ServerSignals& signals) {
  while (signals.stop == 0) {
    try {
      wait();
      if (signals.reloadKeys != 0) {
        signals.reloadKeys = 0;
        m_transport.getAuthentication().reload();
      }
      turn();
    } catch (const zmq::error_t& error) {
      // A signal interrupts whatever waits.
      if (error.num() != EINTR) {
        throw;
      }
    }
  }
}

void ServerLoop::wait() {
  std::vector<zmq::pollitem_t> items{{m_transport.getRequests().get().handle(), 0, ZMQ_POLLIN, 0},
                                     {m_transport.getProgress().get().handle(), 0, ZMQ_POLLIN, 0},
                                     {m_transport.getAuthentication().getSocket().handle(), 0, ZMQ_POLLIN, 0},
                                     {nullptr, m_writer.getDescriptor(), ZMQ_POLLIN, 0},
                                     {nullptr, m_jobs.getDescriptor(), ZMQ_POLLIN, 0}};
  if (m_engine.getDescriptor() >= 0) {
    items.push_back({nullptr, m_engine.getDescriptor(), ZMQ_POLLIN, 0});
  }
  zmq::poll(items, m_isBusy ? std::chrono::milliseconds(0) : m_jobs.getPause());
}

void ServerLoop::turn() {
  m_transport.getAuthentication().answer();
  const bool hasRequests = m_transport.answerRequests(m_server);
  const bool hasFollows = m_followers.answer();
  m_isBusy = hasRequests || hasFollows;
  m_server.poll();
}

}  // namespace ParameterSweep
