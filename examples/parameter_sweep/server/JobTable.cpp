#include <examples/parameter_sweep/common/FileJobLog.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/server/JobTable.h>
#include <service/Logging.h>
#include <sys/wait.h>

#include <algorithm>
#include <boost/algorithm/string/replace.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <exception>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>
#include <thread>

namespace ParameterSweep {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

Drelvan::Logging s_logger(__FILE__);

constexpr const char* c_group = "sweep-server";

ReplyContent read(const fs::path& file) { return readReplyPackage(readStoredFile(file)).content; }

void store(const fs::path& file, const JobStatus& status) {
  writeStoredFile(file, writeReplyPackage({status}, c_group));
}

/// What a job and its launcher wrote last, in one line.
std::string lastWords(const fs::path& output) {
  constexpr std::streamoff c_length = 500;
  std::ifstream stream(output, std::ios::binary | std::ios::ate);
  stream.seekg(std::max<std::streamoff>(stream.tellg() - c_length, 0));
  std::ostringstream words;
  words << stream.rdbuf();
  return boost::algorithm::replace_all_copy(boost::algorithm::trim_copy(words.str()), "\n", "; ");
}

SweepFailure withoutResult(int ending, const std::string& words) {
  const std::string said = words.empty() ? words : ": " + words;
  if (WIFSIGNALED(ending)) {
    return {FailureKind::JobCrashed, "the job program was ended by signal " + std::to_string(WTERMSIG(ending)) + said};
  }
  const std::string code = "exit code " + std::to_string(WEXITSTATUS(ending));
  if (WEXITSTATUS(ending) == 126 || WEXITSTATUS(ending) == 127) {  // as shells tell it
    return {FailureKind::LaunchFailed,
            "the job program could not be started (" + code + "); check --launch-with" + said};
  }
  return {FailureKind::JobFailed, "the job program ended with " + code + " and no result" + said};
}

void checkBelongs(const JobStatus& job, const SweepJobId& found) {
  if (found.getUniqueId() != job.jobId.getUniqueId()) {
    throw SweepFailure(FailureKind::Internal, "what is stored belongs to " + found.toString());
  }
}

}  // namespace

JobTable::JobTable(const JobSettings& settings) : m_settings(settings) {
  const fs::path lock = m_settings.spool / "lock";
  try {
    fs::create_directories(m_settings.spool / "jobs");
    std::ofstream(lock, std::ios::app).close();
    m_lock = boost::interprocess::file_lock(lock.c_str());
  } catch (const std::exception& exception) {
    throw SweepFailure(FailureKind::LocalTrouble,
                       "the spool '" + m_settings.spool.string() + "' cannot be used: " + exception.what());
  }
  if (!m_lock.try_lock()) {
    throw SweepFailure(FailureKind::LocalTrouble,
                       "the spool '" + m_settings.spool.string() + "' is in use; end the other server that uses it");
  }
}

void JobTable::load() {
  std::multimap<fs::file_time_type, SweepJobId> accepted;
  for (const auto& entry : fs::directory_iterator(m_settings.spool / "jobs")) {
    // A folder without a request is a submission that was never accepted.
    const fs::path request = entry.path() / "request.xml";
    try {
      if (fs::exists(request)) {
        accepted.emplace(fs::last_write_time(request), SweepJobId::fromText(entry.path().filename().string()));
      }
    } catch (const std::exception& exception) {
      s_logger.logWARN("left alone: " + entry.path().string() + ": " + exception.what(), __FILE__, __func__, __LINE__);
    }
  }
  for (const auto& [time, jobId] : accepted) {
    loadJob(jobId);
  }
  s_logger.logINFO("the spool holds " + std::to_string(m_jobs.size()) + " jobs, " + std::to_string(m_queue.size()) +
                       " of them to start, " + std::to_string(m_runs.size()) + " running",
                   __FILE__, __func__, __LINE__);
}

void JobTable::loadJob(const SweepJobId& jobId) {
  const std::string& id = jobId.getUniqueId();
  JobStatus& job = m_jobs[id] = {jobId};
  if (const auto process = JobProcess::find(readStoredFile(folder(jobId).process))) {
    m_runs.emplace(id, Run{*process, {}});
    job.state = JobState::Running;
  }
  // A process may still be there after the end of its job, but not the other way round.
  if (m_runs.count(id) == 0 || isStored(folder(jobId).outcome)) {
    if (!settle(job)) {
      m_queue.push_back(id);
    }
  }
}

void JobTable::endProcesses() {
  while (!m_runs.empty()) {
    for (auto run = m_runs.begin(); run != m_runs.end();) {
      JobProcess& process = run->second.process;
      process.terminate();
      if (process.hasEnded()) {
        process.reap();
        run = m_runs.erase(run);
      } else {
        ++run;
      }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

const JobStatus& JobTable::submit(const Request& request, const std::string& package) {
  const JobFolder files = folder(request.jobId);
  const std::string& id = request.jobId.getUniqueId();
  if (const auto known = m_jobs.find(id); known != m_jobs.end()) {
    if (readStoredFile(files.request) != package) {
      throw SweepFailure(FailureKind::JobExists, "another job has this id; submit with a new id");
    }
    return known->second;
  }
  fs::create_directory(files.path);
  writeStoredFile(files.request, package);
  m_queue.push_back(id);
  note(request.jobId, LogMessage::Type::Info, "accepted");
  return m_jobs[id] = {request.jobId};
}

const JobStatus& JobTable::getStatus(const SweepJobId& jobId) const {
  const auto found = m_jobs.find(jobId.getUniqueId());
  if (found == m_jobs.end()) {
    throw SweepFailure(FailureKind::UnknownJob, "there is no job " + jobId.toString() + " here; check --server");
  }
  return found->second;
}

SweepResult JobTable::getResult(const SweepJobId& jobId) const {
  const JobStatus& job = getStatus(jobId);
  if (job.failure) {
    throw SweepFailure(*job.failure);
  }
  if (job.state != JobState::Finished) {
    throw SweepFailure(FailureKind::NotFinished, "the job is not finished; wait for it first");
  }
  try {
    return std::get<SweepResult>(read(folder(jobId).result));
  } catch (const std::exception& exception) {
    throw SweepFailure(FailureKind::Internal, std::string("the result cannot be read any more: ") + exception.what());
  }
}

JobMessages JobTable::getMessages(const SweepJobId& jobId) const {
  const JobFolder files = folder(getStatus(jobId).jobId);
  JobMessages log{jobId, FileJobLog(files.serverLog, jobId).getMessages()};
  const std::vector<LogMessage> others = FileJobLog(files.jobLog, jobId).getMessages();
  log.messages.insert(log.messages.end(), others.begin(), others.end());
  const auto earlier = [](const auto& left, const auto& right) { return left.timestamp < right.timestamp; };
  std::stable_sort(log.messages.begin(), log.messages.end(), earlier);
  return log;
}

const JobStatus& JobTable::cancel(const SweepJobId& jobId) {
  JobStatus& job = m_jobs.at(getStatus(jobId).jobId.getUniqueId());
  if (job.state != JobState::Cancelled) {
    if (isEnd(job.state) || isStored(folder(jobId).result)) {
      throw SweepFailure(FailureKind::JobEnded, "the job has ended already; ask for its status or result");
    }
    end(job, SweepFailure(FailureKind::JobCancelled, "the job was cancelled"));
  }
  return job;
}

void JobTable::attend() {
  for (auto next = m_runs.begin(); next != m_runs.end();) {
    const std::string id = next->first;  // the run may be gone when something is thrown
    Run& run = next++->second;
    try {
      attendRun(m_jobs.at(id), run);
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
  constexpr std::chrono::seconds c_pause{1};
  while (!m_queue.empty() && m_runs.size() < m_settings.jobsAtOnce && Clock::now() >= m_nextStart) {
    JobStatus& job = m_jobs.at(m_queue.front());
    try {
      if (job.state == JobState::Queued) {
        start(job);
      }
      m_queue.pop_front();
    } catch (const std::system_error& shortage) {
      s_logger.logWARN(std::string("starts later: ") + shortage.what(), __FILE__, __func__, __LINE__);
      m_nextStart = Clock::now() + c_pause;
    }
  }
}

void JobTable::start(JobStatus& job) {
  const JobFolder files = folder(job.jobId);
  std::vector<std::string> command;
  if (!m_settings.launcher.empty()) {
    command = {"/bin/sh", "-c", "exec " + m_settings.launcher + " \"$@\"", c_group};
  }
  command.insert(command.end(), {m_settings.jobProgram.string(), m_settings.spool.string()});
  job.jobId.toCmd(command);
  try {
    // A server that is killed before the record is written leaves a run that the next one does not know, and starts
    // another. Both write the same result, each as a whole.
    const JobProcess process = JobProcess::start(command, files.output);
    m_runs.emplace(job.jobId.getUniqueId(), Run{process, {}});
    change(job, JobState::Running);
    writeStoredFile(files.process, process.getRecord());
  } catch (const SweepFailure& failure) {
    end(job, failure);
  } catch (const Drelvan::DvException& exception) {
    note(job.jobId, LogMessage::Type::Warning,
         std::string("a new server will not find the process: ") + exception.what());
  }
}

void JobTable::attendRun(JobStatus& job, Run& run) {
  const bool hasEnded = run.process.hasEnded();
  if (!isEnd(job.state)) {
    readProgress(job, run);
  }
  if (hasEnded) {
    conclude(job, run.process.reap());
  } else if (isEnd(job.state)) {
    run.process.terminate();
  } else if (m_settings.timeOutSeconds > 0 && run.process.getAge() > Seconds(m_settings.timeOutSeconds)) {
    const auto seconds = toText(m_settings.timeOutSeconds);
    end(job, SweepFailure(FailureKind::JobTimedOut,
                          "the job ran longer than the " + seconds + " s that this server allows; split the sweep"));
  }
}

void JobTable::readProgress(JobStatus& job, Run& run) {
  const fs::path file = folder(job.jobId).progress;
  std::error_code error;
  const auto written = fs::last_write_time(file, error);
  if (error || written == run.progressRead) {
    return;
  }
  run.progressRead = written;
  const auto reported = std::get<JobStatus>(read(file));
  job.progress = reported.progress;
  job.host = reported.host;
  m_statusChanged(job);
}

/// Says what became of a job whose process is gone.
void JobTable::conclude(JobStatus& job, std::optional<int> ending) {
  const JobFolder files = folder(job.jobId);
  m_runs.erase(job.jobId.getUniqueId());
  std::error_code ignored;
  fs::remove(files.process, ignored);  // what stays names a process that is gone
  if (isEnd(job.state) || settle(job)) {
    return;
  }
  if (ending) {
    end(job, withoutResult(*ending, lastWords(files.output)));
    return;
  }
  note(job.jobId, LogMessage::Type::Warning, "the job ended unseen and without a result; it starts again");
  job.progress = 0;
  change(job, JobState::Queued);
  m_queue.push_back(job.jobId.getUniqueId());
}

/// Whether the spool holds the end of the job, which the job then takes over. Only a result that can be read makes it
/// finished.
bool JobTable::settle(JobStatus& job) {
  const JobFolder files = folder(job.jobId);
  try {
    if (isStored(files.outcome)) {
      const auto outcome = std::get<JobStatus>(read(files.outcome));
      if (!isEnd(outcome.state)) {
        throw SweepFailure(FailureKind::Internal, "the outcome is none");
      }
      checkBelongs(job, outcome.jobId);
      job = outcome;
      return true;
    }
    if (!isStored(files.result)) {
      return false;
    }
    const ReplyContent content = read(files.result);
    if (const auto* failure = std::get_if<SweepFailure>(&content)) {
      end(job, *failure);
    } else {
      checkBelongs(job, std::get<SweepResult>(content).jobId);
      job.progress = 1;
      change(job, JobState::Finished);
    }
  } catch (const std::exception& exception) {
    end(job, SweepFailure(FailureKind::Internal, std::string("the job left nothing usable: ") + exception.what()));
  }
  return true;
}

/// Ends a job that failed or was cancelled. Should the outcome not reach the disk, the next server runs the job again.
void JobTable::end(JobStatus& job, const SweepFailure& failure) {
  job.failure = failure;
  job.state = failure.getKind() == FailureKind::JobCancelled ? JobState::Cancelled : JobState::Failed;
  note(job.jobId, LogMessage::Type::Error, failure.what());
  try {
    store(folder(job.jobId).outcome, job);
  } catch (const Drelvan::DvException& exception) {
    note(job.jobId, LogMessage::Type::Error, std::string("the outcome is not stored: ") + exception.what());
  }
  change(job, job.state);
}

void JobTable::change(JobStatus& job, JobState state) {
  job.state = state;
  note(job.jobId, LogMessage::Type::Info, toText(state));
  m_statusChanged(job);
}

void JobTable::note(const SweepJobId& jobId, LogMessage::Type type, const std::string& text) const {
  s_logger.logINFO(jobId.getName() + ": " + text, __FILE__, __func__, __LINE__);
  FileJobLog(folder(jobId).serverLog, jobId).write(type, c_group, text);
}

}  // namespace ParameterSweep
