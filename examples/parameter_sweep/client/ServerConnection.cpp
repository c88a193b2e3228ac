#include <examples/parameter_sweep/client/ServerConnection.h>
#include <examples/parameter_sweep/common/JobLogging.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <service/Logging.h>

#include <algorithm>
#include <cstddef>
#include <deque>
#include <thread>
#include <utility>

namespace ParameterSweep {

namespace {

Drelvan::Logging s_logger(__FILE__);

/// Less than the server keeps unread for a client.
constexpr std::size_t c_mostUnanswered = 8;
constexpr std::chrono::milliseconds c_patienceForProgress{1000};

void logRequest(const Request& request) {
  const bool hasJob = request.kind != RequestKind::List && request.kind != RequestKind::Ping;
  const std::string text = std::string("request ") + toText(request.kind);
  s_logger.logDEBUG(hasJob ? aboutJob(request.jobId, text) : text, __FILE__, __func__, __LINE__);
}

/// The requests that have no answer yet, in the order in which they were sent.
class Unanswered {
 public:
  explicit Unanswered(Channel& channel) : m_channel(channel) {}

  void send(const Request& request, Channel::Clock::time_point deadline) {
    const bool isFirst = m_packages.empty();
    m_packages.emplace_back(request.id, writeRequestPackage(request));
    try {
      m_channel.send(m_packages.back().second, deadline);
    } catch (const ConnectionLost&) {
      if (!isFirst && !mayRepeat()) {
        throw;
      }
      sendAgain(deadline);
    }
  }

  /// The next answer to one of them; an answer to a request that was given up earlier may still arrive before it.
  Reply receive(Channel::Clock::time_point deadline) {
    for (;;) {
      Reply reply = readReplyPackage(receivePackage(deadline));
      const auto isAnswered = [&](const auto& package) { return package.first == reply.requestId; };
      const auto found = std::find_if(m_packages.begin(), m_packages.end(), isAnswered);
      if (found != m_packages.end()) {
        m_packages.erase(found);
        m_hasAnswers = true;
        return reply;
      }
      if (reply.requestId == c_noRequest) {
        return reply;
      }
    }
  }

  std::size_t size() const { return m_packages.size(); }

 private:
  std::string receivePackage(Channel::Clock::time_point deadline) {
    try {
      return m_channel.receive(deadline);
    } catch (const ConnectionLost&) {
      if (!mayRepeat()) {
        throw;
      }
    }
    sendAgain(deadline);
    return m_channel.receive(deadline);
  }

  /// Whether an answer has arrived over the lost connection, so that none of the packages is to blame.
  bool mayRepeat() { return std::exchange(m_hasAnswers, false); }

  /// Sends everything over a new connection, in the same order.
  void sendAgain(Channel::Clock::time_point deadline) {
    for (const auto& [id, package] : m_packages) {
      m_channel.send(package, deadline);
    }
  }

  Channel& m_channel;
  std::deque<std::pair<std::string, std::string>> m_packages;  ///< by request id
  bool m_hasAnswers = false;
};

}  // namespace

ServerConnection::ServerConnection(const ConnectionSettings& settings)
    : m_settings(settings), m_address(ServerAddress::fromText(settings.server)), m_requests(m_address, settings.keys) {}

Channel::Clock::time_point ServerConnection::deadline() const {
  const std::chrono::duration<double> wait(m_settings.timeOutSeconds);
  return Channel::Clock::now() + std::chrono::duration_cast<Channel::Clock::duration>(wait);
}

ReplyContent ServerConnection::exchange(const Requests& next) {
  Unanswered unanswered(m_requests);
  std::optional<Request> request = next();
  std::string lastId;
  ReplyContent last;
  while (request || unanswered.size() > 0) {
    for (; request && unanswered.size() < c_mostUnanswered; request = next()) {
      logRequest(*request);
      unanswered.send(*request, deadline());
      lastId = request->id;
    }
    Reply reply = unanswered.receive(deadline());
    if (const auto* refusal = std::get_if<SweepFailure>(&reply.content)) {
      throw SweepFailure(*refusal);
    }
    if (reply.requestId == lastId) {
      last = std::move(reply.content);
    }
  }
  return last;
}

bool ServerConnection::follow(const std::vector<SweepJobId>& jobs, const Drelvan::HostInfo& server) {
  // A port that could not be reached may never be; do not wait for it again.
  const auto patience = m_progress ? std::chrono::milliseconds(0) : c_patienceForProgress;
  try {
    if (!m_progress) {
      m_progress.emplace(ServerAddress{m_address.host, std::to_string(server.getPublisherPort())}, m_settings.keys);
    }
    try {
      sendFollows(jobs, patience);
    } catch (const ConnectionLost&) {
      sendFollows(jobs, c_patienceForProgress);
    }
    return true;
  } catch (const SweepFailure&) {
    return false;  // the state can still be asked for
  }
}

void ServerConnection::sendFollows(const std::vector<SweepJobId>& jobs, std::chrono::milliseconds patience) {
  m_progress->connect(Channel::Clock::now() + patience);
  for (const SweepJobId& jobId : jobs) {
    m_progress->send(writeRequestPackage({RequestKind::Follow, jobId}), Channel::Clock::now() + c_patienceForProgress);
  }
}

std::optional<JobStatus> ServerConnection::receiveProgress(std::chrono::milliseconds wait) {
  if (!isFollowing()) {
    std::this_thread::sleep_for(wait);
    return std::nullopt;
  }
  try {
    if (const auto package = m_progress->receiveIfAny(Channel::Clock::now() + wait)) {
      const ReplyContent content = readReplyPackage(*package).content;
      return std::holds_alternative<JobStatus>(content) ? std::optional(std::get<JobStatus>(content)) : std::nullopt;
    }
  } catch (const SweepFailure&) {
    // As above.
  }
  return std::nullopt;
}

}  // namespace ParameterSweep
