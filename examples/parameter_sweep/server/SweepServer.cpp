#include <examples/parameter_sweep/common/JobLogging.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/common/Version.h>
#include <examples/parameter_sweep/server/JobOutputReader.h>
#include <examples/parameter_sweep/server/SweepServer.h>
#include <service/Logging.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <utility>

namespace ParameterSweep {

namespace {

Drelvan::Logging s_logger(__FILE__);

constexpr std::size_t c_resultsAtOnce = 1000;
constexpr std::size_t c_messagesAtOnce = 500;
constexpr std::size_t c_jobsAtOnce = 200;
constexpr std::size_t c_expiredAtOnce = 20;
constexpr std::chrono::seconds c_expiryInterval{10};
constexpr std::int64_t c_dayMilliseconds = std::int64_t{24} * 3600 * 1000;

SweepFailure notStored() {
  return {FailureKind::NotStored,
          "the server cannot store anything now; nothing has changed, send the request again later"};
}

SweepFailure unknownJob(const SweepJobId& jobId) {
  return {FailureKind::UnknownJob, "there is no job " + jobId.toString() + " here; check --server"};
}

}  // namespace

SweepServer::SweepServer(ServerSettings settings, JobStore& store, StoreWriter& writer, JobEngine& engine,
                         JobTable& jobs, const Drelvan::HostInfo& host, Clocks clocks)
    : m_settings(std::move(settings)),
      m_store(store),
      m_writer(writer),
      m_engine(engine),
      m_jobs(jobs),
      m_host(host),
      m_clocks(std::move(clocks)),
      m_submissions(m_settings.submissions, store, writer, jobs, m_clocks),
      m_started(m_clocks.now()) {}

void SweepServer::start() {
  m_jobs.load();
  install(this);
}

void SweepServer::stop() { install(nullptr); }

void SweepServer::install(AbstractRequestServer* server) {
  const boost::mutex::scoped_lock lock(s_instanceMutex);
  s_instance = server;
}

/// A request on its way to its reply.
struct SweepServer::Exchange {
  Asker asker;
  std::string requestId = c_noRequest;
  std::optional<SweepJobId> jobId = {};  ///< that the request names
  std::string reply = {};
  bool isLate = false;  ///< `handleRequest` has returned
};

std::string SweepServer::handleRequest(const std::string& requestPackage) {
  const auto exchange = std::make_shared<Exchange>(Exchange{m_asker});
  const Reply reply = [this, exchange](const ReplyContent& content) { answer(*exchange, content); };
  try {
    if (requestPackage.size() > m_settings.maxPackage) {
      throw SweepFailure(FailureKind::PackageTooLarge, "the package is larger than the " +
                                                           std::to_string(m_settings.maxPackage) +
                                                           " bytes that this server takes; split the sweep");
    }
    const Request request = readRequestPackage(requestPackage);
    exchange->requestId = request.id;
    if (request.kind != RequestKind::List && request.kind != RequestKind::Ping) {
      exchange->jobId = request.jobId;
    }
    dispatch(request, requestPackage, exchange->asker.client, reply);
  } catch (const SweepFailure& failure) {
    reply(failure);
  } catch (const DatabaseError& error) {
    reply(SweepFailure(FailureKind::NotStored, std::string(error.what()) + "; try again later"));
  } catch (const std::exception& exception) {
    reply(SweepFailure(FailureKind::Internal, std::string(exception.what()) + "; see the server's log"));
  }
  if (!exchange->asker.answerLater) {
    while (exchange->reply.empty()) {
      m_writer.pollFor(std::chrono::milliseconds(100));
    }
  }
  exchange->isLate = true;
  return exchange->reply;
}

void SweepServer::answer(Exchange& exchange, const ReplyContent& content) const {
  if (const auto* failure = std::get_if<SweepFailure>(&content)) {
    const std::string text = std::string("refused: ") + failure->what();
    s_logger.logWARN(exchange.jobId ? aboutJob(*exchange.jobId, text) : text, __FILE__, __func__, __LINE__);
  }
  ReplyContent complete = content;
  if (auto* status = std::get_if<JobStatus>(&complete)) {
    status->server = m_host;
  }
  exchange.reply = writeReplyPackage({complete, exchange.requestId}, m_host.toString());
  if (exchange.isLate) {
    exchange.asker.answerLater(exchange.reply);
  }
}

void SweepServer::dispatch(const Request& request, const std::string& package, const Client& client,
                           const Reply& reply) {
  switch (request.kind) {
    case RequestKind::Submit:
    case RequestKind::Append:
      return m_submissions.receive(request, package, client, reply);
    case RequestKind::Again:
      return m_submissions.submitAgain(request, client, reply);
    case RequestKind::Status:
      return reply(getStatus(request.jobId, client));
    case RequestKind::Result:
      return reply(getResult(request, client));
    case RequestKind::Cancel:
      return cancel(request, client, reply);
    case RequestKind::Log:
      return readLog(request, client, reply);
    case RequestKind::Output:
      return reply(getOutput(request, client));
    case RequestKind::Remove:
      return remove(request, client, reply);
    case RequestKind::List:
      return reply(list(request, client));
    case RequestKind::Ping:
      return reply(getHealth());
    case RequestKind::Follow:
    case RequestKind::Compute:
      break;
  }
  throw SweepFailure(FailureKind::UnknownRequest, "unknown request for this port");
}

JobStatus SweepServer::getStatus(const SweepJobId& jobId, const Client& client) const {
  std::optional<JobStatus> status = m_jobs.getStatus(jobId);
  if (!status || !client.maySee(status->owner)) {
    throw unknownJob(jobId);
  }
  status->server = m_host;
  return *status;
}

std::string SweepServer::writeStatus(JobStatus status, const std::string& requestId) const {
  status.server = m_host;
  const std::string origin = status.jobId.toString();
  return writeReplyPackage({std::move(status), requestId}, origin);
}

SweepResult SweepServer::getResult(const Request& request, const Client& client) const {
  const JobStatus status = getStatus(request.jobId, client);
  if (status.failure) {
    throw SweepFailure(*status.failure);
  }
  if (status.state != JobState::Finished) {
    throw SweepFailure(FailureKind::NotFinished, "the job is not finished; wait for it first");
  }
  return {status.jobId, m_store.readResults(request.jobId, request.after, c_resultsAtOnce), request.after,
          status.realizations};
}

void SweepServer::cancel(const Request& request, const Client& client, const Reply& reply) {
  const JobStatus status = getStatus(request.jobId, client);
  if (status.state == JobState::Cancelled) {
    return reply(status);
  }
  const SweepFailure tooLate(FailureKind::JobEnded, "the job has ended already; ask for its status or result");
  if (isEnd(status.state)) {
    throw SweepFailure(tooLate);
  }
  m_jobs.cancel(request.jobId, [this, request, client, reply, tooLate, status](Stored stored) {
    if (stored == Stored::Failed) {
      return reply(notStored());
    }
    if (stored == Stored::Done) {
      // Said without reading it back: that could fail now.
      JobStatus cancelled = status;
      cancelled.state = JobState::Cancelled;
      cancelled.ended = m_clocks.millisecondsSince1970();
      cancelled.failure = SweepFailure(FailureKind::JobCancelled, "the job was cancelled");
      return reply(cancelled);
    }
    try {
      const JobStatus now = getStatus(request.jobId, client);
      reply(now.state == JobState::Cancelled ? ReplyContent(now) : ReplyContent(tooLate));
    } catch (const std::exception&) {
      reply(notStored());
    }
  });
}

void SweepServer::readLog(const Request& request, const Client& client, const Reply& reply) {
  getStatus(request.jobId, client);
  m_jobs.importLogs(request.jobId, [this, request, reply] {
    try {
      auto [messages, next] = m_store.readMessages(request.jobId, request.after, c_messagesAtOnce);
      reply(JobMessages{request.jobId, std::move(messages), next});
    } catch (const DatabaseError& error) {
      reply(SweepFailure(FailureKind::NotStored, std::string(error.what()) + "; try again later"));
    }
  });
}

JobOutput SweepServer::getOutput(const Request& request, const Client& client) const {
  OutputParts parts;
  parts.areSeveral = getStatus(request.jobId, client).parts > 1;
  const ActiveJob* const job = m_jobs.find(request.jobId);
  if (job != nullptr && request.follow) {
    const auto isOpen = [](const ActivePart& part) { return part.phase != PartPhase::Finished; };
    const auto open = std::find_if(job->parts.begin(), job->parts.end(), isOpen);
    parts.last = open == job->parts.end() ? parts.last : open->record.number;
  }
  return readOutput(m_settings.spool, request.jobId, request.after, parts);
}

void SweepServer::remove(const Request& request, const Client& client, const Reply& reply) {
  const std::optional<JobRecord> job = m_store.find(request.jobId);
  if (!job || !client.maySee(job->status.owner)) {
    throw unknownJob(request.jobId);
  }
  if (job->isComplete && !isEnd(job->status.state)) {
    throw SweepFailure(FailureKind::NotFinished, "the job has not ended; cancel it first, or wait for it");
  }
  removeJob(request.jobId, [jobId = request.jobId, reply](Stored stored) {
    const SweepFailure failure(
        FailureKind::NotStored,
        "the server cannot remove the job now; its output has been removed; send the request again later");
    reply(stored == Stored::Failed ? ReplyContent(failure) : ReplyContent(JobRemoved{jobId}));
  });
}

/// The files go first: what the store knows can be removed again. Throws `SweepFailure` (`NotStored`).
void SweepServer::removeJob(const SweepJobId& jobId, const StoreWriter::Done& done) {
  std::error_code error;
  std::filesystem::remove_all(JobFolder(m_settings.spool, jobId).path, error);
  if (error) {
    throw SweepFailure(FailureKind::NotStored, "the files of the job cannot be removed now: " + error.message() +
                                                   "; send the request again later");
  }
  s_logger.logINFO(aboutJob(jobId, "removed"), __FILE__, __func__, __LINE__);
  m_writer.write(RemoveJob{jobId}, StoreWriter::Patience::Once, done);
}

JobList SweepServer::list(const Request& request, const Client& client) const {
  JobStore::Filter filter{request.state, request.owner, request.before, c_jobsAtOnce};
  if (!client.isAdmin) {
    if (filter.owner.value_or(client.name) != client.name) {
      return {};
    }
    filter.owner = client.name;
  }
  // The state of a job that has not ended is known here, not in the store.
  filter.isActive = filter.state && !isEnd(*filter.state);
  if (filter.isActive) {
    filter.state.reset();
  }
  JobList found = m_store.list(filter);
  JobList list{{}, found.next};
  for (JobStatus& job : found.jobs) {
    const JobStatus now = isEnd(job.state) ? std::move(job) : m_jobs.getStatus(job.jobId).value_or(job);
    if (!request.state || now.state == *request.state) {
      list.jobs.push_back(now);
    }
  }
  return list;
}

ServerHealth SweepServer::getHealth() const {
  const JobTable::Counts counts = m_jobs.count();
  const std::string engineError = m_engine.getError();
  std::error_code ignored;
  const auto space = std::filesystem::space(m_settings.spool, ignored);
  return {m_host,
          c_version,
          std::chrono::duration<double>(m_clocks.now() - m_started).count(),
          m_engine.getName(),
          engineError.empty() ? m_jobs.getStartError() : engineError,
          m_writer.getError(),
          counts.queued,
          counts.running,
          counts.partsRunning,
          ignored ? 0 : space.available};
}

void SweepServer::poll() {
  m_jobs.poll();
  removeExpired();
}

void SweepServer::removeExpired() {
  constexpr std::int64_t c_incompleteDays = 1;
  if (m_expiring > 0 || m_clocks.now() < m_nextExpiry || !m_expiryRetry.isDue(m_clocks.now())) {
    return;
  }
  m_nextExpiry = m_clocks.now() + c_expiryInterval;
  const std::int64_t now = m_clocks.millisecondsSince1970();
  const std::int64_t ended =
      m_settings.keepDays <= 0 ? 0 : now - static_cast<std::int64_t>(m_settings.keepDays * c_dayMilliseconds);
  std::string error;
  try {
    const auto expired = m_store.findExpired(ended, now - c_incompleteDays * c_dayMilliseconds, c_expiredAtOnce);
    for (const SweepJobId& jobId : expired) {
      error = removeIfPossible(jobId, error);
    }
    m_nextExpiry = expired.size() < c_expiredAtOnce ? m_nextExpiry : TimePoint();
  } catch (const std::exception& exception) {
    error = exception.what();
  }
  if (error.empty()) {
    m_expiryRetry.succeeded();
  } else {
    m_expiryRetry.failed(m_clocks.now(), error);
  }
}

/// One that cannot be removed now keeps the others from nothing. Returns why, otherwise the error given.
std::string SweepServer::removeIfPossible(const SweepJobId& jobId, const std::string& error) {
  try {
    removeJob(jobId, [this](Stored) { --m_expiring; });
    ++m_expiring;
    return error;
  } catch (const std::exception& exception) {
    return exception.what();
  }
}

}  // namespace ParameterSweep
