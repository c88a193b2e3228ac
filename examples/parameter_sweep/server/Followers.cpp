#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/TimeSlice.h>
#include <examples/parameter_sweep/server/Followers.h>
#include <service/Logging.h>

#include <exception>
#include <vector>

namespace ParameterSweep {

namespace {

Drelvan::Logging s_logger(__FILE__);

constexpr std::size_t c_longestRequest = 4096;
constexpr std::size_t c_mostFollowed = 1000;

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
    if (request.kind != RequestKind::Follow) {
      throw SweepFailure(FailureKind::UnknownRequest,
                         "only requests to follow a job are taken at this port; check the port");
    }
    const JobStatus status = m_server.getStatus(request.jobId, *message.client);
    if (!isEnd(status.state)) {
      add(message.connection, status.jobId.getUniqueId());
    }
    return m_server.writeStatus(status, request.id);
  } catch (const SweepFailure& failure) {
    s_logger.logWARN(std::string("refused: ") + failure.what(), __FILE__, __func__, __LINE__);
    return writeReplyPackage({failure, requestId}, "");
  } catch (const std::exception& exception) {
    s_logger.logWARN(std::string("refused: ") + exception.what(), __FILE__, __func__, __LINE__);
    return writeReplyPackage({SweepFailure(FailureKind::Internal, exception.what()), requestId}, "");
  }
}

void Followers::add(const Connection& connection, const std::string& job) {
  std::set<std::string>& jobs = m_byConnection[connection];
  if (jobs.count(job) == 0 && jobs.size() >= c_mostFollowed) {
    throw SweepFailure(FailureKind::TooMuch, "one connection follows at most " + std::to_string(c_mostFollowed) +
                                                 " jobs; ask for the status");
  }
  jobs.insert(job);
  m_byJob[job].insert(connection);
}

void Followers::forget(const Connection& connection) {
  const auto found = m_byConnection.find(connection);
  if (found == m_byConnection.end()) {
    return;
  }
  for (const std::string& job : found->second) {
    const auto followed = m_byJob.find(job);
    followed->second.erase(connection);
    if (followed->second.empty()) {
      m_byJob.erase(followed);
    }
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
    if (m_socket.send(connection, package) == ServerSocket::Sent::Gone) {
      forget(connection);
    }
  }
  if (!isEnd(status.state) || m_byJob.count(job) == 0) {
    return;
  }
  for (const Connection& connection : m_byJob.at(job)) {
    std::set<std::string>& jobs = m_byConnection.at(connection);
    jobs.erase(job);
    if (jobs.empty()) {
      m_byConnection.erase(connection);
    }
  }
  m_byJob.erase(job);
}

}  // namespace ParameterSweep
