#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/engines/LocalProcess.h>
#include <examples/parameter_sweep/server/SpoolTakeover.h>
#include <service/Logging.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <thread>
#include <vector>

namespace ParameterSweep {

namespace {

namespace fs = std::filesystem;

Drelvan::Logging s_logger(__FILE__);

constexpr std::size_t c_jobsAtOnce = 100;

std::int64_t toMilliseconds(fs::file_time_type time) {
  const auto age = std::chrono::duration_cast<std::chrono::milliseconds>(fs::file_time_type::clock::now() - time);
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count() - age.count();
}

/// The folders of jobs, in the order in which these were accepted.
std::multimap<fs::file_time_type, fs::path> findFolders(const fs::path& spool) {
  std::multimap<fs::file_time_type, fs::path> folders;
  for (const auto& entry : fs::directory_iterator(spool / "jobs")) {
    // A folder without a request is a submission that was never accepted.
    std::error_code strange;
    if (entry.is_directory(strange) && isStored(entry.path() / "request.xml")) {
      folders.emplace(fs::last_write_time(entry.path() / "request.xml"), entry.path());
    }
  }
  return folders;
}

/// Ends the process that a record names, if it still runs.
void endProcess(const fs::path& record) {
  std::istringstream stream(readStoredFile(record));
  std::string process;
  std::string startTime;
  std::string bootId = readStoredFile("/proc/sys/kernel/random/boot_id");
  stream >> process >> startTime;
  auto found = LocalProcess::find(process + " " + startTime + " " + bootId);
  while (found && !found->hasEnded()) {
    found->terminate();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

/// Where the job ended: what is there whole. Anything else is computed again.
void readEnd(const fs::path& folder, TakeOverJob& job) {
  JobStatus& status = job.submission.job.status;
  try {
    if (const std::string outcome = readStoredFile(folder / "outcome.xml"); !outcome.empty()) {
      const auto stored = std::get<JobStatus>(readReplyPackage(outcome).content);
      status.state = isEnd(stored.state) && stored.failure ? stored.state : JobState::Queued;
      status.failure = stored.failure;
      status.host = stored.host;
    } else if (const std::string result = readStoredFile(folder / "result.xml"); !result.empty()) {
      const ReplyContent content = readReplyPackage(result).content;
      if (const auto* failure = std::get_if<SweepFailure>(&content)) {
        status.state = JobState::Failed;
        status.failure.emplace(*failure);
      } else if (const auto& results = std::get<SweepResult>(content);
                 results.jobId.getUniqueId() == status.jobId.getUniqueId() &&
                 results.realizations.size() == status.realizations) {
        status.state = JobState::Finished;
        job.results = packResults(results.realizations);
      }
    }
  } catch (const SweepFailure& failure) {
    if (failure.getKind() == FailureKind::LocalFailure) {
      throw;
    }
    s_logger.logWARN(folder.string() + ": stored outcome is unreadable, job will run again: " + failure.what(),
                     __FILE__, __func__, __LINE__);
  } catch (const std::bad_variant_access&) {
    s_logger.logWARN(folder.string() + ": stored outcome is unreadable, job will run again", __FILE__, __func__,
                     __LINE__);
  }
}

void readMessages(const fs::path& folder, TakeOverJob& job) {
  for (const char* log : {"server.log", "job.log"}) {
    const std::vector<LogMessage> messages = readLogLines(readStoredFile(folder / log));
    job.messages.insert(job.messages.end(), messages.begin(), messages.end());
  }
  std::stable_sort(job.messages.begin(), job.messages.end(),
                   [](const auto& left, const auto& right) { return left.timestamp < right.timestamp; });
}

TakeOverJob readJob(const fs::path& folder) {
  TakeOverJob job;
  AddPackage& submission = job.submission;
  submission.content = readStoredFile(folder / "request.xml");
  const Request request = readRequestPackage(submission.content);
  const std::uint64_t count = request.sweep.vectors.size();
  submission.package = {1, 0, count};
  PartRecord part;
  part.number = 1;
  part.count = count;
  submission.parts = {part};
  JobRecord& record = submission.job;
  record.isComplete = true;
  record.packages = 1;
  record.expression = request.sweep.expression;
  for (const Parameter& parameter : request.sweep.vectors.at(0).parameters) {
    record.columns += (record.columns.empty() ? "" : std::string(1, c_columnSeparator)) + parameter.id;
  }
  record.status.jobId = request.jobId;
  record.status.realizations = count;
  record.status.submitted = toMilliseconds(fs::last_write_time(folder / "request.xml"));
  readEnd(folder, job);
  if (isEnd(record.status.state)) {
    const bool hasOutcome = isStored(folder / "outcome.xml");
    record.status.ended = toMilliseconds(fs::last_write_time(folder / (hasOutcome ? "outcome.xml" : "result.xml")));
  }
  readMessages(folder, job);
  return job;
}

void removeFiles(const fs::path& folder) {
  std::error_code error;
  for (const char* name : {"outcome.xml", "result.xml", "progress.xml", "server.log", "job.log", "process"}) {
    fs::remove(folder / name, error);
  }
  if (fs::file_size(folder / "output", error) > 0 && !error) {
    fs::rename(folder / "output", folder / "1.1.output", error);
  } else {
    fs::remove(folder / "output", error);
  }
  // The last one: without it the folder is no job of the earlier form any more.
  fs::remove(folder / "request.xml", error);
  fs::remove(folder, error);
}

void storeJobs(JobStore& store, std::vector<Change>& changes, std::vector<fs::path>& folders) {
  store.apply(changes);
  std::for_each(folders.begin(), folders.end(), removeFiles);
  changes.clear();
  folders.clear();
}

}  // namespace

std::size_t takeOverSpool(const fs::path& spool, JobStore& store) {
  std::vector<Change> changes;
  std::vector<fs::path> stored;
  std::size_t count = 0;
  for (const auto& [time, folder] : findFolders(spool)) {
    try {
      const TakeOverJob job = readJob(folder);
      if (job.submission.job.status.jobId.getUniqueId() != folder.filename().string()) {
        throw SweepFailure(FailureKind::Internal, "the folder has the name of another job");
      }
      endProcess(folder / "process");
      changes.emplace_back(job);
      stored.push_back(folder);
      ++count;
    } catch (const SweepFailure& failure) {
      if (failure.getKind() == FailureKind::LocalFailure) {
        throw;
      }
      s_logger.logWARN("ignoring: " + folder.string() + ": " + failure.what(), __FILE__, __func__, __LINE__);
    }
    if (changes.size() == c_jobsAtOnce) {
      storeJobs(store, changes, stored);
    }
  }
  storeJobs(store, changes, stored);
  if (count > 0) {
    s_logger.logINFO("imported " + std::to_string(count) + " jobs from an earlier version's spool", __FILE__, __func__,
                     __LINE__);
  }
  return count;
}

}  // namespace ParameterSweep
