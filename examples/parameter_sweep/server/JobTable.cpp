#include <examples/parameter_sweep/common/FileJobLog.h>
#include <examples/parameter_sweep/common/PackageReader.h>
#include <examples/parameter_sweep/common/PackageWriter.h>
#include <examples/parameter_sweep/common/StoredFile.h>
#include <examples/parameter_sweep/server/JobTable.h>
#include <fcntl.h>
#include <service/Logging.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <thread>
#include <utility>

namespace ParameterSweep {

namespace {

namespace fs = std::filesystem;

Drelvan::Logging s_logger(__FILE__);

constexpr const char* c_group = "sweep-server";
constexpr std::size_t c_outputInFailure = 500;

std::string lastOutput(const fs::path& file) {
  const std::string output = readStoredFile(file);
  return output.substr(output.size() - std::min(output.size(), c_outputInFailure));
}

SweepFailure withoutResult(const Ending::Status& status, const std::string& output) {
  const std::string tail = output.empty() ? std::string() : ": " + output;
  if (status.how == Ending::How::Signalled) {
    return {FailureKind::JobCrashed, "the job program was ended by signal " + std::to_string(status.number) + tail};
  }
  return {FailureKind::JobFailed,
          "the job program ended with exit code " + std::to_string(status.number) + " and no result" + tail};
}

/// A damaged outcome still says that there is one.
JobStatus readOutcome(const SweepJobId& jobId, const fs::path& file) {
  try {
    return std::get<JobStatus>(readReplyFile(file).content);
  } catch (const std::exception& exception) {
    const SweepFailure failure(FailureKind::Internal, std::string("the stored outcome is bad: ") + exception.what());
    return {jobId, JobState::Failed, 0, {}, {}, failure};
  }
}

}  // namespace

JobTable::JobTable(JobSettings settings) : m_settings(std::move(settings)) {
  fs::create_directories(m_settings.spool / "jobs");
  lockSpool();
}

JobTable::~JobTable() { ::close(m_lock); }

void JobTable::lockSpool() {
  // The system gives the lock back however the server ends; job processes do not inherit it.
  m_lock = ::open((m_settings.spool / "lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (m_lock < 0 || ::flock(m_lock, LOCK_EX | LOCK_NB) != 0) {
    throw SweepFailure(FailureKind::LocalTrouble, "the spool '" + m_settings.spool.string() +
                                                      "' cannot be locked; end the other server that uses it");
  }
}

void JobTable::load() {
  std::vector<std::pair<fs::file_time_type, SweepJobId>> accepted;
  for (const auto& entry : fs::directory_iterator(m_settings.spool / "jobs")) {
    const SweepJobId jobId = SweepJobId::fromUniqueId(entry.path().filename().string());
    // A folder without a request is a submission that was never accepted.
    if (jobId.isSweepJob() && fs::exists(folder(jobId).request())) {
      accepted.emplace_back(fs::last_write_time(folder(jobId).request()), jobId);
    }
  }
  const auto earlier = [](const auto& left, const auto& right) { return left.first < right.first; };
  std::sort(accepted.begin(), accepted.end(), earlier);
  for (const auto& [time, jobId] : accepted) {
    loadJob(jobId);
  }
  s_logger.logINFO("the spool holds " + std::to_string(m_jobs.size()) + " jobs, " + std::to_string(m_queue.size()) +
                       " of them to start, " + std::to_string(m_runs.size()) + " running",
                   __FILE__, __func__, __LINE__);
}

void JobTable::loadJob(const SweepJobId& jobId) {
  const JobFolder files = folder(jobId);
  const std::string& id = jobId.getUniqueId();
  JobStatus& job = m_jobs[id];
  job.jobId = jobId;
  auto process = JobProcess::find(readStoredFile(files.process()));
  if (fs::exists(files.outcome())) {
    job = readOutcome(jobId, files.outcome());
  } else if (process) {
    job.state = JobState::Running;
  } else if (!settle(job)) {
    m_queue.push_back(id);
  }
  if (process) {
    m_runs.emplace(id, Run{std::move(*process), {}});
  }
}

void JobTable::endProcesses() {
  while (!m_runs.empty()) {
    for (auto run = m_runs.begin(); run != m_runs.end();) {
      run->second.process.terminate();
      run = run->second.process.poll() ? m_runs.erase(run) : std::next(run);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

JobStatus JobTable::submit(const Request& request, const std::string& package) {
  const JobFolder files = folder(request.jobId);
  const std::string& id = request.jobId.getUniqueId();
  if (m_jobs.count(id) != 0) {
    if (readStoredFile(files.request()) != package) {
      throw SweepFailure(FailureKind::JobExists, "another job has this id; submit with a new id");
    }
    return getStatus(request.jobId);
  }
  fs::create_directory(files.path());
  writeStoredFile(files.request(), package);
  JobStatus& job = m_jobs[id];
  job.jobId = request.jobId;
  m_queue.push_back(id);
  note(request.jobId, LogMessage::Type::Info, "accepted");
  return job;
}

const JobStatus& JobTable::find(const SweepJobId& jobId) const {
  const auto found = m_jobs.find(jobId.getUniqueId());
  if (found == m_jobs.end()) {
    throw SweepFailure(FailureKind::UnknownJob, "there is no job " + jobId.toString() + " here; check --server");
  }
  return found->second;
}

JobStatus JobTable::getStatus(const SweepJobId& jobId) const { return find(jobId); }

SweepResult JobTable::getResult(const SweepJobId& jobId) const {
  const JobStatus& job = find(jobId);
  if (job.failure) {
    throw SweepFailure(*job.failure);
  }
  if (job.state != JobState::Finished) {
    throw SweepFailure(FailureKind::NotFinished, "the job is not finished; wait for it first");
  }
  return std::get<SweepResult>(readReplyFile(folder(jobId).result()).content);
}

JobMessages JobTable::getMessages(const SweepJobId& jobId) const {
  const JobFolder files = folder(find(jobId).jobId);
  std::vector<LogMessage> messages = FileJobLog(files.serverLog(), jobId).getMessages();
  const std::vector<LogMessage> jobMessages = FileJobLog(files.jobLog(), jobId).getMessages();
  messages.insert(messages.end(), jobMessages.begin(), jobMessages.end());
  const auto earlier = [](const auto& left, const auto& right) { return left.timestamp < right.timestamp; };
  std::stable_sort(messages.begin(), messages.end(), earlier);
  return {jobId, messages};
}

JobStatus JobTable::cancel(const SweepJobId& jobId) {
  JobStatus job = find(jobId);
  if (job.state == JobState::Cancelled) {
    return job;
  }
  if (isEnd(job.state) || fs::exists(folder(jobId).result())) {
    throw SweepFailure(FailureKind::JobEnded, "the job has ended already; ask for its status or result");
  }
  job.state = JobState::Cancelled;
  job.failure = SweepFailure(FailureKind::JobCancelled, "the job was cancelled");
  writeStoredFile(folder(jobId).outcome(), writeReply({c_noRequest, job}));
  JobStatus& stored = m_jobs.at(jobId.getUniqueId()) = job;
  change(stored, JobState::Cancelled);
  return stored;
}

void JobTable::attend() {
  std::vector<std::string> running;
  for (const auto& [id, run] : m_runs) {
    running.push_back(id);
  }
  for (const std::string& id : running) {
    try {
      attendRun(m_jobs.at(id), m_runs.at(id));
    } catch (const std::exception& exception) {
      // One job's trouble, a full disk for instance, must not end the others.
      s_logger.logERROR(id + ": " + exception.what(), __FILE__, __func__, __LINE__);
    }
  }
  startQueued();
}

std::vector<int> JobTable::getDescriptors() const {
  std::vector<int> descriptors;
  for (const auto& [id, run] : m_runs) {
    descriptors.push_back(run.process.getDescriptor());
  }
  return descriptors;
}

void JobTable::startQueued() {
  while (!m_queue.empty() && m_runs.size() < m_settings.jobsAtOnce) {
    JobStatus& job = m_jobs.at(m_queue.front());
    m_queue.pop_front();
    if (job.state == JobState::Queued) {
      start(job);
    }
  }
}

void JobTable::start(JobStatus& job) {
  const JobFolder files = folder(job.jobId);
  std::vector<std::string> command = m_settings.launcher;
  command.push_back(m_settings.jobProgram.string());
  command.push_back(m_settings.spool.string());
  job.jobId.toCmd(command);
  try {
    // A server that is killed before the record is written leaves a run that the next one does not know, and starts
    // another. Both write the same result, each as a whole.
    const auto started = m_runs.emplace(job.jobId.getUniqueId(), Run{JobProcess::start(command, files.output()), {}});
    change(job, JobState::Running);
    writeStoredFile(files.process(), started.first->second.process.getRecord());
  } catch (const SweepFailure& failure) {
    fail(job, failure);
  } catch (const Drelvan::DvException& exception) {
    note(job.jobId, LogMessage::Type::Warning,
         std::string("a new server will not find the process: ") + exception.what());
  }
}

void JobTable::attendRun(JobStatus& job, Run& run) {
  readProgress(job, run);
  if (const auto ending = run.process.poll()) {
    readProgress(job, run);
    conclude(job, *ending);
  } else if (isEnd(job.state)) {
    run.process.terminate();
  } else if (m_settings.timeOutMilliseconds > 0 && run.process.getAge() > m_settings.timeOutMilliseconds) {
    fail(job, SweepFailure(FailureKind::JobTimedOut, "the job ran longer than the " +
                                                         std::to_string(m_settings.timeOutMilliseconds / 1000) +
                                                         " s that this server allows; split the sweep"));
  }
}

void JobTable::readProgress(JobStatus& job, Run& run) {
  const fs::path file = folder(job.jobId).progress();
  std::error_code error;
  const auto written = fs::last_write_time(file, error);
  if (error || written == run.progressRead || isEnd(job.state)) {
    return;
  }
  run.progressRead = written;
  try {
    const JobStatus reported = std::get<JobStatus>(readReplyFile(file).content);
    job.progress = reported.progress;
    job.host = reported.host;
    m_statusChanged(job);
  } catch (const std::exception& exception) {
    note(job.jobId, LogMessage::Type::Warning, std::string("unreadable progress: ") + exception.what());
  }
}

void JobTable::conclude(JobStatus& job, const Ending& ending) {
  const JobFolder files = folder(job.jobId);
  m_runs.erase(job.jobId.getUniqueId());
  removeStoredFile(files.process());
  if (isEnd(job.state) || settle(job)) {
    return;
  }
  if (ending.status) {
    fail(job, withoutResult(*ending.status, lastOutput(files.output())));
    return;
  }
  note(job.jobId, LogMessage::Type::Warning, "the job ended unseen and without a result; it starts again");
  job.progress = 0;
  change(job, JobState::Queued);
  m_queue.push_back(job.jobId.getUniqueId());
}

bool JobTable::settle(JobStatus& job) {
  const JobFolder files = folder(job.jobId);
  try {
    if (fs::exists(files.result())) {
      checkResult(job);
      job.progress = 1;
      change(job, JobState::Finished);
    } else if (fs::exists(files.failure())) {
      fail(job, std::get<SweepFailure>(readReplyFile(files.failure()).content));
    } else {
      return false;
    }
  } catch (const std::exception& exception) {
    fail(job, SweepFailure(FailureKind::Internal, std::string("the job left nothing usable: ") + exception.what()));
  }
  return true;
}

/// Only a result that can be read and that is the job's own makes the job finished.
void JobTable::checkResult(const JobStatus& job) const {
  const auto result = std::get<SweepResult>(readReplyFile(folder(job.jobId).result()).content);
  if (result.jobId.getUniqueId() != job.jobId.getUniqueId()) {
    throw SweepFailure(FailureKind::Internal, "it is the result of another job");
  }
}

/// Should the outcome not reach the disk, the job stays accepted there: the next server runs it again.
void JobTable::fail(JobStatus& job, const SweepFailure& failure) {
  job.failure = failure;
  job.state = JobState::Failed;
  note(job.jobId, LogMessage::Type::Error, failure.what());
  try {
    writeStoredFile(folder(job.jobId).outcome(), writeReply({c_noRequest, job}));
  } catch (const Drelvan::DvException& exception) {
    note(job.jobId, LogMessage::Type::Error, std::string("the outcome is not stored: ") + exception.what());
  }
  change(job, JobState::Failed);
}

void JobTable::change(JobStatus& job, JobState state) {
  job.state = state;
  note(job.jobId, LogMessage::Type::Info, toText(state));
  m_statusChanged(job);
}

void JobTable::note(const SweepJobId& jobId, LogMessage::Type type, const std::string& text) const {
  s_logger.logINFO(jobId.getName() + ": " + text, __FILE__, __func__, __LINE__);
  FileJobLog(folder(jobId).serverLog(), jobId).write(type, c_group, text);
}

}  // namespace ParameterSweep
