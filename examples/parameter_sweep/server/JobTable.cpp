#include <examples/parameter_sweep/common/JobLogging.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/server/JobTable.h>
#include <examples/parameter_sweep/server/RunFailure.h>
#include <service/Logging.h>

#include <algorithm>
#include <utility>

namespace ParameterSweep {

namespace {

using std::chrono::milliseconds;

Drelvan::Logging s_logger(__FILE__);

constexpr std::size_t c_preparedAhead = 2;  // parts for which there is no room yet
constexpr milliseconds c_activePause{100};
constexpr milliseconds c_idlePause{1000};

bool isRunning(PartPhase phase) {
  return phase == PartPhase::Running || phase == PartPhase::Collecting || phase == PartPhase::Storing;
}

}  // namespace

JobTable::JobTable(JobSettings settings, JobStore& store, StoreWriter& writer, JobEngine& engine, Clocks clocks)
    : m_settings(std::move(settings)),
      m_store(store),
      m_writer(writer),
      m_engine(engine),
      m_clocks(std::move(clocks)),
      m_preparer(store.getFile()) {}

void JobTable::load() {
  for (const auto& [job, parts] : m_store.loadActive()) {
    add(job, parts);
  }
  for (const auto& [jobId, part] : m_store.loadStrayRuns()) {
    const Run run{jobId, part.number, part.tries};
    m_engine.resume(run, part.run);
    m_engine.end(run);
    m_strays.insert(run);
  }
  // What the engine knows at once is shown at once.
  for (const RunReport& report : m_engine.poll()) {
    handle(report);
  }
  beginCleaning();
  s_logger.logINFO(std::to_string(m_jobs.size()) + " jobs of the spool have not ended", __FILE__, __func__, __LINE__);
}

void JobTable::add(const JobRecord& record, const std::vector<PartRecord>& parts) {
  ActiveJob& job = m_jobs[record.status.jobId.getUniqueId()];
  job.record = record;
  job.place = ++m_lastPlace;
  job.isStartStored = record.status.started != 0;
  for (const PartRecord& part : parts) {
    job.parts.push_back({part});
    job.queued += 1;
  }
  m_queue.insert(makePlace(job));
  for (ActivePart& part : job.parts) {
    if (part.record.state == PartState::Finished) {
      setPhase(job, part, PartPhase::Finished);
    } else if (part.record.state == PartState::Running) {
      setPhase(job, part, PartPhase::Resumed);
      m_engine.resume(makeRun(job, part), part.record.run);
    }
  }
}

JobTable::Place JobTable::makePlace(const ActiveJob& job) const {
  return {-job.record.status.priority, job.place, job.record.status.jobId.getUniqueId()};
}

PartFiles JobTable::files(const ActiveJob& job, const ActivePart& part) const {
  return {m_settings.spool, job.record.status.jobId, part.record.number, part.record.tries};
}

Run JobTable::makeRun(const ActiveJob& job, const ActivePart& part) const {
  return {job.record.status.jobId, part.record.number, part.record.tries};
}

ActiveJob* JobTable::findJob(const Key& id) {
  const auto found = m_jobs.find(id);
  return found == m_jobs.end() ? nullptr : &found->second;
}

const ActiveJob* JobTable::find(const SweepJobId& jobId) const {
  const auto found = m_jobs.find(jobId.getUniqueId());
  return found == m_jobs.end() ? nullptr : &found->second;
}

std::pair<ActiveJob*, ActivePart*> JobTable::findPart(const PartKey& key) {
  ActiveJob* const job = findJob(key.first);
  const bool isPart = job != nullptr && key.second >= 1 && key.second <= job->parts.size();
  return {job, isPart ? &job->parts[key.second - 1] : nullptr};
}

std::pair<ActiveJob*, ActivePart*> JobTable::findRun(const Run& run) {
  const auto [job, part] = findPart({run.jobId.getUniqueId(), run.part});
  // What is said of an earlier try comes too late.
  return part != nullptr && part->record.tries == run.attempt ? std::pair(job, part)
                                                              : std::pair<ActiveJob*, ActivePart*>();
}

JobState JobTable::makeState(const ActiveJob& job) const {
  const auto hasPart = [&](const auto& condition) {
    return std::any_of(job.parts.begin(), job.parts.end(),
                       [&](const ActivePart& part) { return condition(part.phase); });
  };
  if (!m_engine.getError().empty() && hasPart(isGiven)) {
    return JobState::Unknown;
  }
  if (job.running > 0 && job.isStartStored) {
    return JobState::Running;
  }
  return hasPart([](PartPhase phase) { return phase == PartPhase::Resumed; }) ? JobState::Unknown : JobState::Queued;
}

JobStatus JobTable::makeStatus(const ActiveJob& job) const {
  JobStatus status = job.record.status;
  status.state = makeState(job);
  status.partsRunning = static_cast<std::uint32_t>(job.running);
  double done = 0;
  for (const ActivePart& part : job.parts) {
    done += static_cast<double>(part.record.count) * (part.phase == PartPhase::Finished ? 1 : part.progress);
  }
  status.progress = std::min(1.0, done / static_cast<double>(std::max<std::uint64_t>(status.realizations, 1)));
  return status;
}

std::optional<JobStatus> JobTable::getStatus(const SweepJobId& jobId) const {
  if (const ActiveJob* const job = find(jobId)) {
    return makeStatus(*job);
  }
  const std::optional<JobRecord> stored = m_store.find(jobId);
  return stored && stored->isComplete ? std::optional(stored->status) : std::nullopt;
}

JobTable::Counts JobTable::count() const {
  Counts counts;
  for (const auto& [id, job] : m_jobs) {
    counts.partsRunning += job.running;
    ++(job.running > 0 ? counts.running : counts.queued);
  }
  return counts;
}

std::size_t JobTable::countOf(const std::string& owner) const {
  return static_cast<std::size_t>(std::count_if(
      m_jobs.begin(), m_jobs.end(), [&](const auto& entry) { return entry.second.record.status.owner == owner; }));
}

void JobTable::setPhase(ActiveJob& job, ActivePart& part, PartPhase phase) {
  const PartPhase old = std::exchange(part.phase, phase);
  const PartKey key{job.record.status.jobId.getUniqueId(), part.record.number};
  job.queued -= old == PartPhase::Queued ? 1 : 0;
  job.queued += phase == PartPhase::Queued ? 1 : 0;
  if (job.queued > 0) {
    m_queue.insert(makePlace(job));
  } else {
    m_queue.erase(makePlace(job));
  }
  const auto keep = [&](auto& set, const auto& item, PartPhase in) {
    if (phase == in) {
      set.insert(item);
    } else {
      set.erase(item);
    }
  };
  keep(m_preparing, std::pair(makePlace(job), part.record.number), PartPhase::Preparing);
  keep(m_running, key, PartPhase::Running);
  keep(m_collecting, key, PartPhase::Collecting);
  setRunning(job, job.running - (isRunning(old) ? 1 : 0) + (isRunning(phase) ? 1 : 0));
  changed(job);
}

void JobTable::setRunning(ActiveJob& job, std::size_t running) {
  const std::size_t old = std::exchange(job.running, running);
  if (old == 0 && running > 0) {
    job.runningSince = m_clocks.now();
  } else if (old > 0 && running == 0) {
    job.ran += std::chrono::duration_cast<milliseconds>(m_clocks.now() - job.runningSince);
  }
}

void JobTable::changed(const ActiveJob& job) {
  m_changed[job.record.status.jobId.getUniqueId()].jobId = job.record.status.jobId;
}

/// Tells of what has changed since the last time, once for each job.
void JobTable::publish() {
  for (auto& [id, status] : std::exchange(m_changed, {})) {
    const ActiveJob* const job = findJob(id);
    m_statusChanged(job != nullptr ? makeStatus(*job) : status);
  }
}

void JobTable::poll() {
  m_writer.poll();
  for (const RunReport& report : m_engine.poll()) {
    handle(report);
  }
  if (const std::string error = m_engine.getError(); error != m_engineError) {
    m_engineError = error;
    for (const auto& [id, job] : m_jobs) {
      changed(job);
    }
  }
  m_preparer.poll();
  startQueued();
  startPrepared();
  collect();
  lookAtRunning();
  forgetStrays();
  retryRemains();
  cleanNext();
  publish();
}

milliseconds JobTable::getPause() const {
  if (std::any_of(m_collecting.begin(), m_collecting.end(), [this](const PartKey& key) { return isDue(key); })) {
    return milliseconds(0);
  }
  return m_jobs.empty() ? c_idlePause : c_activePause;
}

void JobTable::startQueued() {
  if (m_queue.empty() || !m_startRetry.isDue(m_clocks.now()) || !m_runRetry.isDue(m_clocks.now())) {
    return;
  }
  const std::size_t room = m_engine.getRoom() + c_preparedAhead;
  for (auto next = m_queue.begin(); next != m_queue.end() && m_preparing.size() + m_prepared.size() < room;) {
    const Place place = *next;
    prepare(m_jobs.at(std::get<Key>(place)), room - m_preparing.size() - m_prepared.size());
    next = m_queue.upper_bound(place);
  }
}

/// Begins with the job's next parts.
void JobTable::prepare(ActiveJob& job, std::size_t room) {
  for (ActivePart& part : job.parts) {
    if (room == 0 || job.isEnding || job.queued == 0) {
      return;
    }
    if (part.phase == PartPhase::Queued && m_clocks.now() >= part.notBefore) {
      beginTry(part);
      setPhase(job, part, PartPhase::Preparing);
      part.preparation =
          m_preparer.prepare(job.record, part.record, files(job, part),
                             [this, run = makeRun(job, part)](std::uint64_t number, const std::string& error) {
                               prepared(run, number, error);
                             });
      --room;
    }
  }
}

void JobTable::beginTry(ActivePart& part) {
  ++part.record.tries;
  part.record.logOffset = 0;
  part.progress = 0;
  part.progressRead = {};
}

/// The input of a part is written, or cannot be written now.
void JobTable::prepared(const Run& run, std::uint64_t preparation, const std::string& error) {
  const auto [job, part] = findRun(run);
  const bool isWanted = part != nullptr && part->phase == PartPhase::Preparing && part->preparation == preparation;
  if (isWanted && !error.empty()) {
    cannotStart(*job, *part, error);
  } else if (findJob(run.jobId.getUniqueId()) == nullptr) {
    removeRemains(run.jobId);  // its job ended meanwhile
  } else if (isWanted) {
    setPhase(*job, *part, PartPhase::Starting);
    m_prepared.emplace_back(run.jobId.getUniqueId(), run.part);
  }
}

/// The machine is short of something: this costs the part no try, and all starts wait.
void JobTable::cannotStart(ActiveJob& job, ActivePart& part, const std::string& reason) {
  m_startRetry.failed(m_clocks.now(), reason);
  removeFiles(job, part);
  --part.record.tries;
  setPhase(job, part, PartPhase::Queued);
}

/// The parts that are prepared, by the places of their jobs; without those of jobs that are gone.
std::map<JobTable::Place, std::vector<JobTable::PartKey>> JobTable::takePrepared() {
  std::map<Place, std::vector<PartKey>> result;
  for (const PartKey& key : std::exchange(m_prepared, {})) {
    const auto [job, part] = findPart(key);
    if (part != nullptr && part->phase == PartPhase::Starting) {
      result[makePlace(*job)].push_back(key);
    }
  }
  return result;
}

/// Gives what is prepared to the engine as far as it has room: the parts of one job with the same number of the try
/// together, and none before a part of a job with an earlier place that is being prepared.
void JobTable::startPrepared() {
  std::size_t room = m_engine.getRoom();
  std::map<std::pair<Key, std::uint32_t>, std::vector<Run>> runs;
  for (const auto& [place, keys] : takePrepared()) {
    const bool isBehind = !m_preparing.empty() && m_preparing.begin()->first < place;
    const bool waitsForOthers = !m_preparing.empty() && m_preparing.begin()->first == place && keys.size() < room;
    for (const PartKey& key : keys) {
      const auto [job, part] = findPart(key);
      if (room == 0 || isBehind || waitsForOthers || job->isEnding) {
        m_prepared.push_back(key);
      } else {
        runs[{key.first, part->record.tries}].push_back(makeRun(*job, *part));
        --room;
      }
    }
  }
  for (const auto& [key, group] : runs) {
    m_engine.start(group);
  }
}

void JobTable::cancel(const SweepJobId& jobId, const StoreWriter::Done& done) {
  ActiveJob* const job = findJob(jobId.getUniqueId());
  if (job == nullptr) {
    done(Stored::Refused);
    return;
  }
  std::vector<std::pair<std::uint32_t, std::uint64_t>> logs;
  for (const ActivePart& part : job->parts) {
    logs.emplace_back(part.record.tries, part.record.logOffset);
  }
  // What could not be stored is read again.
  const auto restore = [this, jobId, logs = std::move(logs)] {
    ActiveJob* const known = findJob(jobId.getUniqueId());
    for (std::size_t index = 0; known != nullptr && index < logs.size(); ++index) {
      PartRecord& part = known->parts[index].record;
      part.logOffset = part.tries == logs[index].first ? logs[index].second : part.logOffset;
    }
  };
  storeOutcome(*job, SweepFailure(FailureKind::JobCancelled, "the job was cancelled"), tryReadLogs(*job),
               StoreWriter::Patience::Once, [restore, done](Stored stored) {
                 if (stored != Stored::Done) {
                   restore();
                 }
                 done(stored);
               });
}

void JobTable::note(const ActiveJob& job, LogMessage::Type type, const std::string& text) {
  s_logger.logINFO(aboutJob(job.record.status.jobId, text), __FILE__, __func__, __LINE__);
  m_writer.write(AddMessages{job.record.status.jobId, {makeMessage(type, text)}}, StoreWriter::Patience::Forever,
                 [](Stored) {});
}

LogMessage JobTable::makeMessage(LogMessage::Type type, const std::string& text) const {
  return {type, c_serverGroup, m_clocks.millisecondsSince1970(), text};
}

}  // namespace ParameterSweep
