// What becomes of the runs that the engine was given.

#include <examples/parameter_sweep/common/FileJobLog.h>
#include <examples/parameter_sweep/common/JobLogging.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/TimeSlice.h>
#include <examples/parameter_sweep/server/JobTable.h>
#include <examples/parameter_sweep/server/RunFailure.h>
#include <service/Logging.h>

#include <algorithm>
#include <regex>
#include <system_error>
#include <utility>

namespace ParameterSweep {

namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

Drelvan::Logging s_logger(__FILE__);

constexpr milliseconds c_lookInterval{100};
constexpr std::size_t c_progressAtOnce = 20;
constexpr std::size_t c_longestLog = std::size_t{256} << 10U;  // that is read at once
constexpr int c_shortageExitCode = 75;                         // of the job program
constexpr int c_cleanedAtOnce = 10;

std::string describe(const ActiveJob& job, const ActivePart& part) {
  return job.parts.size() == 1 ? "" : "part " + std::to_string(part.record.number) + ": ";
}

void removeIfEmpty(const fs::path& output) {
  std::error_code error;
  if (fs::file_size(output, error) == 0) {
    fs::remove(output, error);
  }
}

/// What programs wrote to their standard output and error stays.
void remove(const PartFiles& files) {
  std::error_code error;
  for (const fs::path& file : {files.input, files.progress, files.log, files.result}) {
    fs::remove(file, error);
  }
  removeIfEmpty(files.output);
}

/// Removes the files of all parts, including those that a program or a server was killed while it wrote them, and the
/// folder unless something is left in it. Returns why the folder cannot be listed now.
std::error_code removeAll(const fs::path& folder) {
  static const std::regex s_files(R"(\d+\.\d+\.(?:(?:input|progress|log|result)(?:\.\d+\.new)?|(output)))");
  std::error_code error;
  std::vector<fs::path> found;
  for (fs::directory_iterator next(folder, error); !error && next != fs::directory_iterator(); next.increment(error)) {
    found.push_back(next->path());
  }
  if (error && error != std::errc::no_such_file_or_directory && error != std::errc::not_a_directory) {
    return error;
  }
  for (const fs::path& file : found) {
    const std::string name = file.filename().string();
    std::smatch match;
    if (!std::regex_match(name, match, s_files)) {
      continue;
    }
    if (match[1].matched) {
      removeIfEmpty(file);
    } else {
      fs::remove(file, error);
    }
  }
  fs::remove(folder, error);
  return {};
}

}  // namespace

void JobTable::handle(const RunReport& report) {
  const auto [job, part] = findRun(report.run);
  if (part == nullptr && report.kind != RunReport::Kind::Found) {
    return;
  }
  switch (report.kind) {
    case RunReport::Kind::Found:
      onFound(report);
      break;
    case RunReport::Kind::Started:
      onStarted(*job, *part, report);
      break;
    case RunReport::Kind::NotStarted:
      onNotStarted(*job, *part, report);
      break;
    case RunReport::Kind::Waiting:
      // One that ran was put back into the queue of the cluster.
      if (part->phase == PartPhase::Running || part->phase == PartPhase::Resumed) {
        setPhase(*job, *part, PartPhase::Waiting);
      }
      break;
    case RunReport::Kind::Running:
      onRunning(*job, *part, report.age);
      break;
    case RunReport::Kind::Ended:
      onExit(*job, *part, report.end);
      break;
  }
}

/// An earlier server started the run, but ended before it could store that.
void JobTable::onFound(const RunReport& report) {
  const auto [job, part] = findPart({report.run.jobId.getUniqueId(), report.run.part});
  const bool isQueued = part != nullptr && part->phase == PartPhase::Queued;
  const bool isPrepared =
      part != nullptr && (part->phase == PartPhase::Preparing || part->phase == PartPhase::Starting);
  const std::uint32_t nextTry = isQueued ? part->record.tries + 1 : isPrepared ? part->record.tries : 0;
  if (nextTry == report.run.attempt && !job->isEnding) {
    if (isQueued) {
      beginTry(*part);
    }
    onStarted(*job, *part, report);
  } else {
    m_engine.end(report.run);
    m_strays.insert(report.run);
  }
}

void JobTable::onStarted(ActiveJob& job, ActivePart& part, const RunReport& report) {
  m_startRetry.succeeded();
  part.record.run = report.record;
  setPhase(job, part, PartPhase::Waiting);
  const std::int64_t time = m_clocks.millisecondsSince1970();
  const Key id = job.record.status.jobId.getUniqueId();
  m_writer.write(StartParts{job.record.status.jobId, {part.record}, time}, StoreWriter::Patience::Forever,
                 [this, id, time](Stored stored) {
                   ActiveJob* const known = findJob(id);
                   if (known != nullptr && stored == Stored::Done && !known->isStartStored) {
                     known->isStartStored = true;
                     known->record.status.started = time;
                     note(*known, LogMessage::Type::Info, toText(JobState::Running));
                     changed(*known);
                   }
                 });
}

void JobTable::onNotStarted(ActiveJob& job, ActivePart& part, const RunReport& report) {
  if (report.isShortage || job.isEnding) {
    cannotStart(job, part, report.reason);
    return;
  }
  m_runRetry.failed(m_clocks.now(), report.reason);
  tryAgain(job, part, SweepFailure(FailureKind::LaunchFailed, report.reason));
}

void JobTable::onRunning(ActiveJob& job, ActivePart& part, milliseconds age) {
  if (part.phase == PartPhase::Waiting || part.phase == PartPhase::Resumed) {
    setPhase(job, part, PartPhase::Running);
    job.runningSince = std::min(job.runningSince, m_clocks.now() - age);
  }
}

void JobTable::onExit(ActiveJob& job, ActivePart& part, const RunEnd& end) {
  if (isGiven(part.phase)) {
    part.end = end;
    part.endedAt = m_clocks.now();
    part.notBefore = {};
    part.failedReads = 0;
    setPhase(job, part, PartPhase::Collecting);
  }
}

/// Whether there is something to read now of what the part left.
bool JobTable::isDue(const PartKey& key) const {
  const auto job = m_jobs.find(key.first);
  return m_collecting.count(key) != 0 && !job->second.isEnding &&
         m_clocks.now() >= job->second.parts[key.second - 1].notBefore;
}

/// Reads what parts left, for a short time.
void JobTable::collect() {
  const TimeSlice slice;
  for (const PartKey& key : std::set<PartKey>(m_collecting)) {
    for (bool isMoreToDo = true; isMoreToDo && isDue(key);) {
      const auto [job, part] = findPart(key);
      isMoreToDo = collectStep(*job, *part);
      if (slice.isOver()) {
        return;
      }
    }
  }
}

/// Reads the next piece of what the part left; false when there is nothing more to do now.
bool JobTable::collectStep(ActiveJob& job, ActivePart& part) {
  const PartFiles partFiles = files(job, part);
  try {
    if (part.results == nullptr) {
      if (!isStored(partFiles.result)) {
        onExitWithoutResult(job, part);
        return false;
      }
      part.results = std::make_unique<PartResults>(partFiles, job.record.status.jobId, part.record.count);
    }
    if (part.results->step()) {
      return true;
    }
    finishPart(job, part);
    m_readRetry.succeeded();
    m_runRetry.succeeded();
  } catch (const SweepFailure& failure) {
    part.results.reset();
    if (failure.getKind() == FailureKind::LocalFailure) {
      readLater(part, failure.getMessage());
    } else {
      tryAgain(job, part, SweepFailure(FailureKind::Internal, "the result is unreadable: " + failure.getMessage()));
    }
  } catch (const std::exception& exception) {
    part.results.reset();
    readLater(part, exception.what());
  }
  return false;
}

/// What a part left cannot be read now.
void JobTable::readLater(ActivePart& part, const std::string& reason) {
  m_readRetry.failed(m_clocks.now(), reason);
  part.notBefore = m_clocks.now() + pauseAfter(++part.failedReads);
}

/// The process is gone and has put no result into place.
void JobTable::onExitWithoutResult(ActiveJob& job, ActivePart& part) {
  const bool isPerhapsOnItsWay =
      part.end.exitCode.value_or(0) == 0 && m_clocks.now() < part.endedAt + m_engine.getFileDelay();
  if (isPerhapsOnItsWay) {
    part.notBefore = m_clocks.now() + std::chrono::seconds(1);
    return;
  }
  const SweepFailure failure = failureFromEnd(part.end, outputTail(files(job, part).output));
  if (isOutcome(failure)) {
    fail(job, failure);
    return;
  }
  if (part.end.exitCode == c_shortageExitCode || failure.getKind() == FailureKind::LaunchFailed) {
    m_runRetry.failed(m_clocks.now(), failure.getMessage());
  }
  tryAgain(job, part, failure);
}

/// Throws `SweepFailure` (`LocalFailure`), with nothing changed, while the log cannot be read.
void JobTable::finishPart(ActiveJob& job, ActivePart& part) {
  std::vector<LogMessage> messages = readLog(job, part);
  if (const auto& failure = part.results->getFailure()) {
    const SweepFailure copy = *failure;
    part.results.reset();
    fail(job, copy, std::move(messages));
    return;
  }
  readProgress(job, part);  // which may name the machine of a run that was short
  const SweepJobId& jobId = job.record.status.jobId;
  FinishPart change{jobId, part.record.number, part.results->getResults(), std::move(messages)};
  change.host = job.record.status.host.getName();
  change.time = m_clocks.millisecondsSince1970();
  const bool isLast = job.record.status.partsDone + 1 == job.parts.size();
  if (isLast) {
    change.messages.push_back(makeMessage(LogMessage::Type::Info, toText(JobState::Finished)));
  }
  part.results.reset();
  part.progress = 1;
  setPhase(job, part, PartPhase::Storing);
  const PartKey key{jobId.getUniqueId(), part.record.number};
  const std::int64_t time = change.time;
  m_writer.write(std::move(change), StoreWriter::Patience::Forever, [this, key, time](Stored stored) {
    if (stored == Stored::Done) {
      partStored(key, time);
    }
  });
}

void JobTable::partStored(const PartKey& key, std::int64_t time) {
  const auto [job, part] = findPart(key);
  if (part == nullptr) {
    return;
  }
  removeFiles(*job, *part);
  part->record.state = PartState::Finished;
  ++job->record.status.partsDone;
  setPhase(*job, *part, PartPhase::Finished);
  if (job->record.status.partsDone == job->parts.size()) {
    JobStatus status = job->record.status;
    status.state = JobState::Finished;
    status.progress = 1;
    status.ended = time;
    jobEnded(key.first, status);
  }
}

/// The part's try was lost, but not by its own doing.
void JobTable::tryAgain(ActiveJob& job, ActivePart& part, const SweepFailure& failure) {
  const bool isKnown =
      part.end.exitCode || part.end.signal || !part.end.reason.empty() || failure.getKind() != FailureKind::JobFailed;
  if (isKnown && part.record.tries >= m_settings.tries) {
    fail(job, failure);
    return;
  }
  if (std::vector<LogMessage> messages = tryReadLog(job, part); !messages.empty()) {
    m_writer.write(AddMessages{job.record.status.jobId, std::move(messages), part.record.number, part.record.logOffset},
                   StoreWriter::Patience::Forever, [](Stored) {});
  }
  note(job, LogMessage::Type::Warning,
       describe(job, part) + failure.getMessage() + "; will try again (try " + std::to_string(part.record.tries) + ")");
  const bool wasGiven = !part.record.run.empty();
  removeFiles(job, part);
  part.end = {};
  part.progress = 0;
  part.record.run.clear();
  part.notBefore = m_clocks.now() + pauseAfter(part.record.tries);
  setPhase(job, part, PartPhase::Queued);
  if (wasGiven) {
    m_writer.write(QueuePart{job.record.status.jobId, part.record.number}, StoreWriter::Patience::Forever,
                   [](Stored) {});
  }
}

/// `messages` are those of its programs that have been read already.
void JobTable::fail(ActiveJob& job, const SweepFailure& failure, std::vector<LogMessage> messages) {
  const std::vector<LogMessage> more = tryReadLogs(job);
  messages.insert(messages.end(), more.begin(), more.end());
  storeOutcome(job, failure, std::move(messages), StoreWriter::Patience::Forever, [](Stored) {});
}

/// Stores that the job failed or was cancelled, and shows it then.
void JobTable::storeOutcome(ActiveJob& job, const SweepFailure& failure, std::vector<LogMessage> messages,
                            StoreWriter::Patience patience, const StoreWriter::Done& done) {
  JobStatus status = makeStatus(job);
  status.state = failure.getKind() == FailureKind::JobCancelled ? JobState::Cancelled : JobState::Failed;
  status.failure = failure;
  status.ended = m_clocks.millisecondsSince1970();
  status.partsRunning = 0;
  EndJob change{status.jobId, status.state, failure, std::move(messages), status.host.getName(), status.ended};
  change.messages.push_back(makeMessage(LogMessage::Type::Error, failure.getMessage()));
  change.messages.push_back(makeMessage(LogMessage::Type::Info, toText(status.state)));
  s_logger.logINFO(aboutJob(status.jobId, failure.getMessage()), __FILE__, __func__, __LINE__);
  job.isEnding = true;
  m_writer.write(std::move(change), patience, [this, status, done](Stored stored) {
    const Key& id = status.jobId.getUniqueId();
    ActiveJob* const known = findJob(id);
    if (known != nullptr && stored == Stored::Done) {
      jobEnded(id, status);
    } else if (known != nullptr) {
      known->isEnding = false;
    }
    done(stored);
  });
}

void JobTable::jobEnded(const Key& id, const JobStatus& status) {
  const auto found = m_jobs.find(id);
  ActiveJob& job = found->second;
  s_logger.logINFO(aboutJob(status.jobId, toText(status.state)), __FILE__, __func__, __LINE__);
  endRuns(job);
  for (ActivePart& part : job.parts) {
    if (part.phase == PartPhase::Preparing) {
      m_preparer.forget(part.preparation);
    }
    setPhase(job, part, PartPhase::Finished);  // takes it out of all sets
  }
  m_jobs.erase(found);
  m_changed[id] = status;
  removeRemains(status.jobId);
}

void JobTable::endRuns(const ActiveJob& job) {
  for (const ActivePart& part : job.parts) {
    const PartKey key{job.record.status.jobId.getUniqueId(), part.record.number};
    const bool isStarting =
        part.phase == PartPhase::Starting && std::find(m_prepared.begin(), m_prepared.end(), key) == m_prepared.end();
    if (isStarting || isGiven(part.phase)) {
      const Run run = makeRun(job, part);
      m_engine.end(run);
      m_strays.insert(run);
    }
  }
}

/// What the store knows of runs that were told to end goes once nothing is left of them, and what they still wrote.
void JobTable::forgetStrays() {
  std::map<Key, SweepJobId> jobs;
  for (auto next = m_strays.begin(); next != m_strays.end();) {
    if (m_engine.isLeft(*next)) {
      ++next;
      continue;
    }
    remove({m_settings.spool, next->jobId, next->part, next->attempt});
    jobs.emplace(next->jobId.getUniqueId(), next->jobId);
    m_writer.write(ForgetRun{next->jobId, next->part, next->attempt}, StoreWriter::Patience::Forever, [](Stored) {});
    next = m_strays.erase(next);
  }
  for (const auto& [id, jobId] : jobs) {
    removeRemains(jobId);
  }
}

/// From time to time only, since all that run are looked at.
void JobTable::lookAtRunning() {
  if (!m_running.empty() && m_clocks.now() >= m_nextLook) {
    m_nextLook = m_clocks.now() + c_lookInterval;
    readProgress();
    endOverdue();
  }
}

void JobTable::readProgress() {
  std::size_t count = std::min(m_running.size(), c_progressAtOnce);
  for (auto next = m_running.upper_bound(m_progressPlace); count > 0; --count) {
    next = next == m_running.end() ? m_running.begin() : next;
    m_progressPlace = *next++;
    const auto [job, part] = findPart(m_progressPlace);
    readProgress(*job, *part);
  }
}

void JobTable::readProgress(ActiveJob& job, ActivePart& part) {
  const fs::path file = files(job, part).progress;
  std::error_code error;
  const auto written = fs::last_write_time(file, error);
  if (error || written == part.progressRead) {
    return;
  }
  try {
    const auto reported = std::get<JobStatus>(readReplyPackage(readStoredFile(file)).content);
    part.progressRead = written;
    part.progress = reported.progress;
    job.record.status.host = reported.host;
    changed(job);
  } catch (const std::exception& exception) {
    // What cannot be read now is read with the next look; progress is no outcome.
    s_logger.logDEBUG(aboutJob(job.record.status.jobId, exception.what()), __FILE__, __func__, __LINE__);
  }
}

void JobTable::endOverdue() {
  if (m_settings.timeOutSeconds <= 0) {
    return;
  }
  const milliseconds longest(static_cast<std::int64_t>(m_settings.timeOutSeconds * 1000));
  std::set<Key> jobs;
  for (const PartKey& key : m_running) {
    jobs.insert(key.first);
  }
  for (const Key& id : jobs) {
    ActiveJob& job = m_jobs.at(id);
    if (!job.isEnding && job.ran + (m_clocks.now() - job.runningSince) > longest) {
      fail(job,
           SweepFailure(FailureKind::JobTimedOut, "the job ran longer than the " + toText(m_settings.timeOutSeconds) +
                                                      " s that this server allows; split the sweep"));
    }
  }
}

/// What the job program has logged since the last look; whole lines only. Throws as `readStoredFile`.
std::vector<LogMessage> JobTable::readLog(const ActiveJob& job, ActivePart& part) const {
  const std::string text = readStoredFile(files(job, part).log, part.record.logOffset, c_longestLog);
  const std::string lines = text.substr(0, text.rfind('\n') + 1);
  std::vector<LogMessage> messages = readLogLines(lines);
  part.record.logOffset += lines.size();
  return messages;
}

/// The same where nobody waits for it; empty for what cannot be read now.
std::vector<LogMessage> JobTable::tryReadLog(const ActiveJob& job, ActivePart& part) const {
  try {
    return readLog(job, part);
  } catch (const std::exception& exception) {
    s_logger.logWARN(aboutJob(job.record.status.jobId, std::string("the log of the job program: ") + exception.what()),
                     __FILE__, __func__, __LINE__);
    return {};
  }
}

/// The same of all parts whose programs may have logged something.
std::vector<LogMessage> JobTable::tryReadLogs(ActiveJob& job) const {
  std::vector<LogMessage> messages;
  for (ActivePart& part : job.parts) {
    if (isGiven(part.phase) || part.phase == PartPhase::Collecting) {
      const std::vector<LogMessage> more = tryReadLog(job, part);
      messages.insert(messages.end(), more.begin(), more.end());
    }
  }
  return messages;
}

void JobTable::importLogs(const SweepJobId& jobId, const std::function<void()>& done) {
  ActiveJob* const job = findJob(jobId.getUniqueId());
  AddMessages last;
  bool isNews = false;
  if (job != nullptr && !job->isEnding) {
    for (ActivePart& part : job->parts) {
      const std::uint64_t before = part.record.logOffset;
      std::vector<LogMessage> messages;
      if (part.phase == PartPhase::Running) {
        messages = tryReadLog(*job, part);
      }
      if (messages.empty()) {
        continue;
      }
      if (isNews) {
        m_writer.write(std::move(last), StoreWriter::Patience::Forever, [](Stored) {});
      }
      last = {jobId, std::move(messages), part.record.number, part.record.logOffset};
      isNews = part.record.logOffset != before;
    }
  }
  if (isNews) {
    m_writer.write(std::move(last), StoreWriter::Patience::Forever, [done](Stored) { done(); });
  } else {
    done();
  }
}

void JobTable::removeFiles(const ActiveJob& job, const ActivePart& part) const { remove(files(job, part)); }

/// Removes what is left of a job, once it and all its runs have ended. Where that is not possible now, `retryRemains`
/// does it.
void JobTable::removeRemains(const SweepJobId& jobId) {
  const auto stray = m_strays.lower_bound({jobId, 0, 0});
  const bool isRunLeft = stray != m_strays.end() && stray->jobId.getUniqueId() == jobId.getUniqueId();
  if (isRunLeft || find(jobId) != nullptr) {
    return;
  }
  if (const std::error_code error = removeAll(JobFolder(m_settings.spool, jobId).path)) {
    m_unremoved.emplace(jobId.getUniqueId(), jobId);
    m_removeRetry.failed(m_clocks.now(), error.message());
  } else {
    m_unremoved.erase(jobId.getUniqueId());
  }
}

void JobTable::retryRemains() {
  if (m_removeRetry.isDue(m_clocks.now())) {
    for (const auto& [id, jobId] : std::map<Key, SweepJobId>(m_unremoved)) {
      removeRemains(jobId);
    }
    if (m_isCleaningDue) {
      beginCleaning();
    }
  }
  if (m_unremoved.empty() && !m_isCleaningDue) {
    m_removeRetry.succeeded();
  }
}

void JobTable::beginCleaning() {
  std::error_code error;
  m_cleaning = fs::directory_iterator(m_settings.spool / "jobs", error);
  m_isCleaningDue = false;
  if (error && error != std::errc::no_such_file_or_directory) {
    cleaningFailed(error);
  }
}

void JobTable::cleaningFailed(const std::error_code& error) {
  m_cleaning = {};
  m_isCleaningDue = true;
  m_removeRetry.failed(m_clocks.now(), error.message());
}

/// Removes what an earlier server or its job programs left of jobs that have ended, or have been removed since.
void JobTable::cleanNext() {
  for (int count = 0; count < c_cleanedAtOnce && m_cleaning != fs::directory_iterator(); ++count) {
    std::error_code error;
    try {
      const SweepJobId jobId = SweepJobId::fromText(m_cleaning->path().filename().string());
      const std::optional<JobRecord> job = m_store.find(jobId);
      if (!job || isEnd(job->status.state)) {
        removeRemains(jobId);
      }
    } catch (const std::exception& exception) {
      s_logger.logDEBUG(std::string("ignoring: ") + exception.what(), __FILE__, __func__, __LINE__);
    }
    m_cleaning.increment(error);
    if (error) {
      cleaningFailed(error);
    }
  }
}

}  // namespace ParameterSweep
