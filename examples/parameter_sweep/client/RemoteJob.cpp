#include <examples/parameter_sweep/client/RemoteJob.h>
#include <examples/parameter_sweep/common/JobLogging.h>
#include <service/Logging.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>

namespace ParameterSweep {

namespace {

Drelvan::Logging s_logger(__FILE__);

constexpr std::chrono::milliseconds c_silence{2000};

}  // namespace

RemoteJob::RemoteJob(ServerConnection& connection, const JobStatus& status)
    : m_connection(connection), m_status(status) {}

std::string RemoteJob::getErrorMessage() const { return m_status.failure ? m_status.failure->what() : std::string(); }

void RemoteJob::cancel() { update(m_connection.ask<JobStatus>({RequestKind::Cancel, m_status.jobId})); }

void RemoteJob::followAll(ServerConnection& connection, const std::vector<RemoteJob*>& jobs) {
  std::vector<RemoteJob*> open = jobs;
  const auto removeEnded = [&] {
    open.erase(std::remove_if(open.begin(), open.end(), [](const auto* job) { return isEnd(job->getState()); }),
               open.end());
  };
  bool areFollowed = false;
  for (removeEnded(); !open.empty(); removeEnded()) {
    if (!areFollowed || !connection.isFollowing()) {
      std::vector<SweepJobId> ids;
      std::transform(open.begin(), open.end(), std::back_inserter(ids),
                     [](const RemoteJob* job) { return job->m_status.jobId; });
      areFollowed = connection.follow(ids, open.front()->m_status.server);
    }
    if (const auto progress = connection.receiveProgress(c_silence)) {
      std::for_each(open.begin(), open.end(), [&](RemoteJob* job) { job->updateIfIts(*progress); });
    } else {
      std::for_each(open.begin(), open.end(), [](RemoteJob* job) { job->update(job->askStatus()); });
    }
  }
}

void RemoteJob::updateIfIts(const JobStatus& status) {
  if (status.jobId.getUniqueId() == m_status.jobId.getUniqueId()) {
    update(status);
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
  if (isEnd(m_status.state)) {
    return;  // progress that arrives late
  }
  const JobStatus old = std::exchange(m_status, status);
  if (status.state != old.state) {
    emitState();
  }
  if (status.progress != old.progress) {
    m_progressChanged(status.progress);
  }
}

void RemoteJob::emitState() {
  s_logger.logINFO(aboutJob(m_status.jobId, toText(m_status.state)), __FILE__, __func__, __LINE__);
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
