#include <examples/parameter_sweep/common/JobLogging.h>
#include <examples/parameter_sweep/common/SweepEvaluator.h>
#include <examples/parameter_sweep/server/Submissions.h>
#include <service/Logging.h>

#include <algorithm>
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <utility>

namespace ParameterSweep {

namespace {

Drelvan::Logging s_logger(__FILE__);

constexpr std::size_t c_mostPendingBytes = std::size_t{64} << 20U;
constexpr std::size_t c_rememberedSubmissions = 1000;

SweepFailure otherJob() { return {FailureKind::JobExists, "another job has this id; submit with a new id"}; }

SweepFailure notStored() {
  return {FailureKind::NotStored,
          "the server cannot store anything now; nothing has changed, send the request again later"};
}

SweepFailure unknownJob(const SweepJobId& jobId) {
  return {FailureKind::UnknownJob, "there is no job " + jobId.toString() + " here; check --server"};
}

SweepFailure missing(std::uint32_t expected, std::uint32_t number) {
  return {FailureKind::MissingPackage, "received package " + std::to_string(number) + ", but package " +
                                           std::to_string(expected) + " is missing; send the packages in order"};
}

std::string joinNames(const ParameterVector& vector) {
  std::string names;
  for (const Parameter& parameter : vector.parameters) {
    names += (names.empty() ? "" : std::string(1, c_columnSeparator)) + parameter.id;
  }
  return names;
}

void checkVectors(const std::vector<ParameterVector>& vectors, const std::string& columns) {
  std::vector<std::string> names;
  boost::algorithm::split(names, columns, [](char character) { return character == c_columnSeparator; });
  for (const ParameterVector& vector : vectors) {
    checkParameters(vector, names);
  }
}

}  // namespace

Submissions::Submissions(const SubmissionSettings& settings, JobStore& store, StoreWriter& writer, JobTable& jobs,
                         Clocks clocks)
    : m_settings(settings), m_store(store), m_writer(writer), m_jobs(jobs), m_clocks(std::move(clocks)) {}

void Submissions::receive(const Request& request, const std::string& package, const Client& client,
                          const Reply& reply) {
  if (answerKnown(request, package, client, reply)) {
    return;
  }
  try {
    checkOwner(client, package.size(), request.kind == RequestKind::Submit || !request.more);
  } catch (const SweepFailure&) {
    giveUp(request.jobId, client);
    throw;
  }
  if (m_pendingBytes + package.size() > c_mostPendingBytes) {
    throw SweepFailure(FailureKind::NotStored,
                       "the server has too many changes waiting to be stored; send the request again later");
  }
  forgetOld();
  if (request.kind == RequestKind::Submit) {
    checkVectors(request.sweep.vectors, joinNames(request.sweep.vectors.at(0)));
  }
  take(request.kind == RequestKind::Submit ? begin(request, client) : proceed(request, client), request, package,
       reply);
}

/// Removes what is stored of a submission that must not go on: its owner cannot see it, but its bytes would count.
void Submissions::giveUp(const SweepJobId& jobId, const Client& client) {
  const auto known = m_submissions.find(jobId.getUniqueId());
  const bool isKnown = known != m_submissions.end();
  const std::optional<JobRecord> job = isKnown ? known->second.job : m_store.find(jobId);
  if (!job || job->isComplete || job->status.owner != client.name) {
    return;
  }
  s_logger.logINFO(aboutJob(jobId, "submission removed: its owner is over a limit"), __FILE__, __func__, __LINE__);
  m_writer.write(RemoveJob{jobId}, StoreWriter::Patience::Once, [](Stored) {});
  if (isKnown) {
    known->second.isGivenUp = true;
    forgetIfOver(known);
  }
}

/// Answers a package that was received before; false when it is a new one.
bool Submissions::answerKnown(const Request& request, const std::string& package, const Client& client,
                              const Reply& reply) {
  const auto known = m_submissions.find(request.jobId.getUniqueId());
  if (known != m_submissions.end()) {
    for (Pending& pending : known->second.pending) {
      if (pending.number == request.packageNumber) {
        if (pending.content != package || known->second.job.status.owner != client.name) {
          throw otherJob();
        }
        pending.replies.push_back(reply);
        return true;
      }
    }
  }
  const std::optional<JobRecord> job = m_store.find(request.jobId);
  if (!job || (job->packages < request.packageNumber && !job->isComplete)) {
    return false;
  }
  if (job->status.owner != client.name || m_store.readPackage(request.jobId, request.packageNumber) != package) {
    throw otherJob();
  }
  const bool isLast = !request.more;
  reply(isLast ? ReplyContent(m_jobs.getStatus(request.jobId).value_or(job->status))
               : ReplyContent(PackageReceived{request.jobId, job->packages, job->status.realizations}));
  return true;
}

Submissions::Submission& Submissions::begin(const Request& request, const Client& client) {
  Submission& submission = m_submissions[request.jobId.getUniqueId()];
  if (submission.job.packages != 0) {
    throw otherJob();
  }
  JobStatus& status = submission.job.status;
  status.jobId = request.jobId;
  status.owner = client.name;
  status.title = request.title;
  status.priority = request.priority;
  status.submitted = m_clocks.millisecondsSince1970();
  submission.job.partSize = request.partSize;
  submission.job.expression = request.sweep.expression;
  submission.job.columns = joinNames(request.sweep.vectors.at(0));
  return submission;
}

/// The submission that the package goes on with, read from the store when another server began it.
Submissions::Submission& Submissions::proceed(const Request& request, const Client& client) {
  const std::string& id = request.jobId.getUniqueId();
  auto known = m_submissions.find(id);
  if (known == m_submissions.end()) {
    const std::optional<JobRecord> job = m_store.find(request.jobId);
    if (!job || job->status.owner != client.name) {
      throw missing(1, request.packageNumber);
    }
    known = m_submissions.emplace(id, Submission{*job, {}, {}, {}, false, false}).first;
    for (const PackageRecord& package : m_store.getPackages(request.jobId)) {
      known->second.packages.push_back({package.count, m_store.readPackage(request.jobId, package.number).size()});
    }
  }
  Submission& submission = known->second;
  if (submission.isGivenUp) {
    throw missing(1, request.packageNumber);
  }
  if (submission.job.status.owner != client.name || request.packageNumber != submission.job.packages + 1) {
    throw missing(submission.job.packages + 1, request.packageNumber);
  }
  checkVectors(request.sweep.vectors, submission.job.columns);
  return submission;
}

void Submissions::take(Submission& submission, const Request& request, const std::string& package, const Reply& reply) {
  JobRecord& job = submission.job;
  const std::uint64_t count = request.sweep.vectors.size();
  AddPackage change;
  change.package = {request.packageNumber, job.status.realizations, count};
  change.content = package;
  job.packages = request.packageNumber;
  job.status.realizations += count;
  job.bytes += static_cast<std::int64_t>(package.size());
  job.isComplete = !request.more;
  submission.packages.push_back({count, package.size()});
  submission.lastUse = m_clocks.now();
  if (job.isComplete) {
    change.parts =
        cutParts(submission.packages, job.partSize != 0 ? job.partSize : m_settings.partSize, m_settings.partsAtOnce);
    change.messages = {{LogMessage::Type::Info, c_serverGroup, m_clocks.millisecondsSince1970(), "accepted"}};
    job.status.parts = static_cast<std::uint32_t>(change.parts.size());
  }
  change.job = job;
  submission.pending.push_back({request.packageNumber, package, {reply}});
  m_pendingBytes += package.size();
  countNewJob(job, 1);
  AddPackage kept = change;  // without the text, which is pending already
  kept.content.clear();
  m_writer.write(std::move(change), StoreWriter::Patience::Once,
                 [this, id = job.status.jobId.getUniqueId(), kept = std::move(kept)](Stored result) {
                   stored(id, kept.package.number, kept, result);
                 });
}

void Submissions::stored(const std::string& id, std::uint32_t number, const AddPackage& change, Stored result) {
  const auto found = m_submissions.find(id);
  Submission& submission = found->second;
  const auto pending = std::find_if(submission.pending.begin(), submission.pending.end(),
                                    [&](const Pending& entry) { return entry.number == number; });
  const Pending done = std::move(*pending);
  submission.pending.erase(pending);
  m_pendingBytes -= done.content.size();
  countNewJob(change.job, -1);
  ReplyContent content = notStored();
  if (result == Stored::Done) {
    if (change.job.isComplete) {
      m_jobs.add(change.job, change.parts);
      s_logger.logINFO(aboutJob(change.job.status.jobId, "accepted"), __FILE__, __func__, __LINE__);
    }
    content = makeReply(change.job, number, change.job.status.realizations);
  }
  // After a failure the packages that follow do not apply either, and what is stored tells how to go on.
  submission.isOver = submission.isOver || result != Stored::Done || change.job.isComplete;
  forgetIfOver(found);
  for (const Reply& reply : done.replies) {
    reply(content);
  }
}

ReplyContent Submissions::makeReply(const JobRecord& job, std::uint32_t packages, std::uint64_t realizations) const {
  if (job.isComplete) {
    return m_jobs.getStatus(job.status.jobId).value_or(job.status);
  }
  return PackageReceived{job.status.jobId, packages, realizations};
}

void Submissions::submitAgain(const Request& request, const Client& client, const Reply& reply) {
  const SweepJobId ofJob = request.ofJob.value_or(SweepJobId());
  const std::optional<JobRecord> old = m_store.find(ofJob);
  if (const auto known = findCopy(request, client, old)) {
    reply(*known);
    return;
  }
  if (!old || !old->isComplete || !client.maySee(old->status.owner)) {
    throw unknownJob(ofJob);
  }
  if (!isEnd(old->status.state)) {
    throw SweepFailure(FailureKind::NotFinished, "the job has not ended; cancel it first, or wait for it");
  }
  checkOwner(client, static_cast<std::size_t>(old->bytes), true);
  copyJob(*old, request, client, reply);
}

/// The job that the same request made before; empty when there is none. Throws `SweepFailure` (`JobExists`) for another
/// job of that id.
std::optional<JobStatus> Submissions::findCopy(const Request& request, const Client& client,
                                               const std::optional<JobRecord>& old) const {
  const std::optional<JobRecord> known = m_store.find(request.jobId);
  if (!known) {
    return std::nullopt;
  }
  if (known->status.owner != client.name || !known->isComplete || (old && known->expression != old->expression)) {
    throw otherJob();
  }
  return m_jobs.getStatus(request.jobId).value_or(known->status);
}

/// Stores the copy, and answers from what is known before that: the store may fail to be read then.
void Submissions::copyJob(const JobRecord& old, const Request& request, const Client& client, const Reply& reply) {
  const SweepJobId& ofJob = old.status.jobId;
  const JobRecord job = makeCopy(old, request, client);
  std::vector<PartRecord> parts = m_store.getParts(ofJob);
  for (PartRecord& part : parts) {
    const bool isFinished = part.state == PartState::Finished;
    part = {part.number, part.first, part.count, isFinished ? PartState::Finished : PartState::Queued, 0, "", 0};
  }
  CopyJob change{ofJob, job};
  const std::string accepted = "accepted: the sweep of " + ofJob.toString() + " again";
  change.messages = {{LogMessage::Type::Info, c_serverGroup, job.status.submitted, accepted}};
  if (isEnd(job.status.state)) {
    change.messages.push_back({LogMessage::Type::Info, c_serverGroup, job.status.ended, toText(job.status.state)});
  }
  countNewJob(job, 1);
  m_writer.write(std::move(change), StoreWriter::Patience::Once,
                 [this, old, request, client, reply, job, parts, accepted](Stored result) {
                   countNewJob(job, -1);
                   if (result == Stored::Done) {
                     addCopy(job, parts, accepted);
                     reply(job.status);
                   } else {
                     reply(result == Stored::Failed ? ReplyContent(notStored()) : answerRefused(old, request, client));
                   }
                 });
}

void Submissions::addCopy(const JobRecord& job, const std::vector<PartRecord>& parts, const std::string& accepted) {
  s_logger.logINFO(aboutJob(job.status.jobId, accepted), __FILE__, __func__, __LINE__);
  if (!isEnd(job.status.state)) {
    m_jobs.add(job, parts);
  }
}

/// The store did not take the copy: the same request came twice, or the job to copy has been removed meanwhile.
ReplyContent Submissions::answerRefused(const JobRecord& old, const Request& request, const Client& client) const {
  try {
    const auto known = findCopy(request, client, old);
    return known ? ReplyContent(*known) : ReplyContent(unknownJob(old.status.jobId));
  } catch (const SweepFailure& failure) {
    return failure;
  } catch (const std::exception&) {
    return notStored();
  }
}

JobRecord Submissions::makeCopy(const JobRecord& old, const Request& request, const Client& client) const {
  JobRecord job = old;
  JobStatus& status = job.status;
  status = JobStatus{request.jobId};
  status.owner = client.name;
  status.title = request.title.empty() ? old.status.title : request.title;
  status.priority = request.priority;
  status.realizations = old.status.realizations;
  status.parts = old.status.parts;
  status.partsDone = old.status.partsDone;
  status.submitted = m_clocks.millisecondsSince1970();
  if (status.partsDone == status.parts) {
    status.state = JobState::Finished;
    status.progress = 1;
    status.started = status.submitted;
    status.ended = status.submitted;
  }
  return job;
}

/// Jobs that are being stored count for their owner like those that are.
void Submissions::countNewJob(const JobRecord& job, int change) {
  if (job.isComplete && !isEnd(job.status.state)) {
    std::size_t& count = m_newJobs[job.status.owner];
    count += static_cast<std::size_t>(change);
    if (count == 0) {
      m_newJobs.erase(job.status.owner);
    }
  }
}

void Submissions::forgetIfOver(std::map<std::string, Submission>::iterator submission) {
  if ((submission->second.isOver || submission->second.isGivenUp) && submission->second.pending.empty()) {
    m_submissions.erase(submission);
  }
}

void Submissions::checkOwner(const Client& client, std::size_t bytes, bool isNewJob) const {
  const auto pending = m_newJobs.find(client.name);
  const std::size_t newJobs = pending == m_newJobs.end() ? 0 : pending->second;
  if (isNewJob && m_settings.jobsPerOwner > 0 && m_jobs.countOf(client.name) + newJobs >= m_settings.jobsPerOwner) {
    throw SweepFailure(FailureKind::TooMuch, "you have " + std::to_string(m_settings.jobsPerOwner) +
                                                 " jobs that have not ended, as many as this server allows; wait for "
                                                 "one, or cancel one");
  }
  if (m_settings.bytesPerOwner > 0 &&
      m_store.getUsage(client.name).bytes + static_cast<std::int64_t>(bytes) > m_settings.bytesPerOwner) {
    throw SweepFailure(FailureKind::TooMuch, "your jobs would take more than the " +
                                                 std::to_string(m_settings.bytesPerOwner) +
                                                 " bytes that this server keeps for you; remove some first");
  }
}

/// What is stored is read again when a submission goes on after a long time.
void Submissions::forgetOld() {
  if (m_submissions.size() < c_rememberedSubmissions) {
    return;
  }
  auto oldest = m_submissions.end();
  for (auto next = m_submissions.begin(); next != m_submissions.end(); ++next) {
    const bool isOlder = oldest == m_submissions.end() || next->second.lastUse < oldest->second.lastUse;
    oldest = next->second.pending.empty() && isOlder ? next : oldest;
  }
  if (oldest != m_submissions.end()) {
    m_submissions.erase(oldest);
  }
}

}  // namespace ParameterSweep
