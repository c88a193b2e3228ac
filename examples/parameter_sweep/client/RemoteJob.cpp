#include <examples/parameter_sweep/client/RemoteJob.h>

#include <utility>

namespace ParameterSweep {

namespace {

constexpr std::chrono::milliseconds c_silence{2000};

}  // namespace

RemoteJob::RemoteJob(ServerConnection& connection, const JobStatus& status)
    : m_connection(connection), m_status(status) {}

std::string RemoteJob::getErrorMessage() const { return m_status.failure ? m_status.failure->what() : std::string(); }

void RemoteJob::cancel() { update(m_connection.ask<JobStatus>({RequestKind::Cancel, m_status.jobId})); }

void RemoteJob::follow() {
  m_connection.subscribe(m_status.jobId, m_status.server);
  while (!isEnd(m_status.state)) {
    const auto progress = m_connection.receiveProgress(c_silence);
    update(progress ? *progress : askStatus());
  }
}

JobStatus RemoteJob::askStatus() {
  try {
    return m_connection.ask<JobStatus>({RequestKind::Status, m_status.jobId});
  } catch (const SweepFailure&) {
    m_connectionLost();
    throw;
  }
}

void RemoteJob::update(const JobStatus& status) {
  const JobStatus old = std::exchange(m_status, status);
  if (status.state != old.state) {
    emitState();
  }
  if (status.progress != old.progress) {
    m_progressChanged(status.progress);
  }
}

void RemoteJob::emitState() {
  m_stateChanged(m_status.state);
  switch (m_status.state) {
    case State::Running:
      m_started();
      break;
    case State::Failed:
      m_failed(getErrorMessage());
      break;
    case State::Finished:
      m_finished();
      break;
    case State::Cancelled:
      m_cancelled();
      break;
    case State::Unknown:
    case State::Queued:
      break;
  }
}

}  // namespace ParameterSweep
