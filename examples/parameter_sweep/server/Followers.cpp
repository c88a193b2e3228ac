#include <examples/parameter_sweep/common/JobLogging.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/TimeSlice.h>
#include <examples/parameter_sweep/server/Followers.h>
#include <service/Logging.h>

#include <exception>
#include <optional>

namespace ParameterSweep {

namespace {

Drelvan::Logging s_logger(__FILE__);

constexpr std::size_t c_longestRequest = 4096;
constexpr int c_triedAtOnce = 2;

std::string refuse(const SweepFailure& failure, const std::optional<SweepJobId>& jobId, const std::string& requestId) {
  const std::string text = std::string("refused: ") + failure.what();
  s_logger.logWARN(jobId ? aboutJob(*jobId, text) : text, __FILE__, __func__, __LINE__);
  return writeReplyPackage({failure, requestId}, "");
}

SweepFailure tooMuch(const std::string& who, std::size_t limit) {
  return {FailureKind::TooMuch, who + " follows at most " + std::to_string(limit) + " jobs; ask for the status"};
}

}  // namespace

bool Followers::answer() {
  const TimeSlice slice;
  do {
    const auto message = m_socket.receive();
    if (!message) {
      return false;
    }
    if (m_socket.send(message->connection, follow(*message)) == ServerSocket::Sent::Gone) {
      forget(message->connection);
    }
  } while (!slice.isOver());
  return true;
}

/// The answer to a request to follow a job: its present status, or a refusal.
std::string Followers::follow(const ServerSocket::Message& message) {
  std::string requestId = c_noRequest;
  std::optional<SweepJobId> jobId;
  try {
    if (!message.client) {
      throw SweepFailure(FailureKind::AccessRefused, "this server does not know your key any more; ask for a new one");
    }
    if (message.package.size() > c_longestRequest) {
      throw SweepFailure(FailureKind::PackageTooLarge,
                         "only requests to follow a job are taken at this port; check the port");
    }
    const Request request = readRequestPackage(message.package);
    requestId = request.id;
    jobId = request.jobId;
    if (request.kind != RequestKind::Follow) {
      throw SweepFailure(FailureKind::UnknownRequest,
                         "only requests to follow a job are taken at this port; check the port");
    }
    const JobStatus status = m_server.getStatus(request.jobId, *message.client);
    if (!isEnd(status.state)) {
      add(message.connection, *message.client, status.jobId.getUniqueId());
    }
    return m_server.writeStatus(status, request.id);
  } catch (const SweepFailure& failure) {
    return refuse(failure, jobId, requestId);
  } catch (const std::exception& exception) {
    return refuse(SweepFailure(FailureKind::Internal, exception.what()), jobId, requestId);
  }
}

void Followers::add(const Connection& connection, const Client& client, const std::string& job) {
  const auto known = m_byConnection.find(connection);
  if (known != m_byConnection.end() && known->second.key != client.key) {
    forget(connection);  // another client's, under the name of one that is gone
  }
  if (m_byConnection.count(connection) == 0) {
    makeRoom();
  }
  Follower& follower = m_byConnection[connection];
  follower.client = client.name;
  follower.key = client.key;
  if (follower.jobs.count(job) != 0) {
    return;
  }
  if (follower.jobs.size() >= m_limits.ofConnection) {
    throw tooMuch("one connection", m_limits.ofConnection);
  }
  const auto followed = m_followed.find(client.name);
  if (followed != m_followed.end() && followed->second >= m_limits.ofClient) {
    if (follower.jobs.empty()) {
      m_byConnection.erase(connection);
    }
    throw tooMuch("one client", m_limits.ofClient);
  }
  follower.jobs.insert(job);
  m_byJob[job].insert(connection);
  count(client.name, 1);
}

/// That a connection is gone shows only when something is sent to it. Some are tried for each new one, so that those
/// that are gone stay fewer than the others.
void Followers::makeRoom() {
  for (int tried = 0; tried < c_triedAtOnce && !m_byConnection.empty(); ++tried) {
    auto next = m_byConnection.upper_bound(m_lastTried);
    next = next == m_byConnection.end() ? m_byConnection.begin() : next;
    m_lastTried = next->first;
    try {
      const std::string& job = *next->second.jobs.begin();
      const JobStatus status = m_server.getStatus(SweepJobId::fromText(job), {"", true});
      const bool isKnown = m_socket.isKnown(next->second.key);
      if (!isKnown || m_socket.send(m_lastTried, m_server.writeStatus(status, job)) == ServerSocket::Sent::Gone) {
        forget(m_lastTried);
      }
    } catch (const std::exception& exception) {
      s_logger.logDEBUG(exception.what(), __FILE__, __func__, __LINE__);  // it is tried again
    }
  }
}

void Followers::count(const std::string& client, int change) {
  std::size_t& followed = m_followed[client];
  followed += static_cast<std::size_t>(change);
  if (followed == 0) {
    m_followed.erase(client);
  }
}

void Followers::forget(const Connection& connection) {
  const auto found = m_byConnection.find(connection);
  if (found == m_byConnection.end()) {
    return;
  }
  for (const std::string& job : found->second.jobs) {
    const auto followed = m_byJob.find(job);
    followed->second.erase(connection);
    if (followed->second.empty()) {
      m_byJob.erase(followed);
    }
    count(found->second.client, -1);
  }
  m_byConnection.erase(found);
}

void Followers::publish(const JobStatus& status) {
  const std::string& job = status.jobId.getUniqueId();
  const auto followed = m_byJob.find(job);
  if (followed == m_byJob.end()) {
    return;
  }
  const std::string package = m_server.writeStatus(status, job);
  for (const Connection& connection : std::set<Connection>(followed->second)) {
    const bool isKnown = m_socket.isKnown(m_byConnection.at(connection).key);
    if (!isKnown || m_socket.send(connection, package) == ServerSocket::Sent::Gone) {
      forget(connection);
    }
  }
  if (isEnd(status.state)) {
    forgetJob(job);
  }
}

void Followers::forgetJob(const std::string& job) {
  const auto followed = m_byJob.find(job);
  if (followed == m_byJob.end()) {
    return;
  }
  for (const Connection& connection : followed->second) {
    Follower& follower = m_byConnection.at(connection);
    follower.jobs.erase(job);
    count(follower.client, -1);
    if (follower.jobs.empty()) {
      m_byConnection.erase(connection);
    }
  }
  m_byJob.erase(followed);
}

}  // namespace ParameterSweep
