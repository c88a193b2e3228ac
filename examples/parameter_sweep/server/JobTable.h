#pragma once

#include <examples/parameter_sweep/common/Messages.h>
#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/server/JobProcess.h>
#include <service/Signals.h>

#include <boost/interprocess/sync/file_lock.hpp>
#include <chrono>
#include <cstddef>
#include <deque>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace ParameterSweep {

struct JobSettings {
  std::filesystem::path spool = "spool";
  std::string launcher;  ///< stands before the job program, in the shell's words; empty to start it here
  std::filesystem::path jobProgram;
  std::size_t jobsAtOnce = 1;
  double timeOutSeconds = 3600;  ///< 0 for none
};

/// All jobs of the spool: takes them, runs them, and says what became of them.
///
/// What is accepted is on the disk first, so a new table on the same spool goes on where the old one ended, however it
/// ended. All failures are `SweepFailure` or `DvException`. Threads: the server's one thread.
class JobTable {
 public:
  /// Throws when the spool cannot be used, or when another server uses it.
  explicit JobTable(const JobSettings& settings);

  /// Reads the spool: finds running jobs again and queues the others.
  void load();
  /// Ends all job processes; their jobs stay in the spool and start again with the next server.
  void endProcesses();

  /// Stores the job; `package` is the whole submission. The same package again changes nothing.
  const JobStatus& submit(const Request& request, const std::string& package);
  const JobStatus& getStatus(const SweepJobId& jobId) const;
  SweepResult getResult(const SweepJobId& jobId) const;
  JobMessages getMessages(const SweepJobId& jobId) const;
  const JobStatus& cancel(const SweepJobId& jobId);

  /// Looks after the processes, starts what is next and reads the progress. Call it often; it never waits.
  void attend();
  /// Become readable when a process ends.
  std::vector<int> getDescriptors() const;

  Signals::Signal<void(const JobStatus&)> m_statusChanged;  ///< emitted when the state or the progress of a job changed

 private:
  struct Run {
    JobProcess process;
    std::filesystem::file_time_type progressRead;
  };

  JobFolder folder(const SweepJobId& jobId) const { return {m_settings.spool, jobId}; }
  void loadJob(const SweepJobId& jobId);
  void startQueued();
  void start(JobStatus& job);
  void attendRun(JobStatus& job, Run& run);
  void readProgress(JobStatus& job, Run& run);
  void conclude(JobStatus& job, std::optional<int> ending);
  bool settle(JobStatus& job);
  void end(JobStatus& job, const SweepFailure& failure);
  void change(JobStatus& job, JobState state);
  void note(const SweepJobId& jobId, LogMessage::Type type, const std::string& text) const;

  const JobSettings m_settings;
  boost::interprocess::file_lock m_lock;              ///< held as long as this process uses the spool
  std::map<std::string, JobStatus> m_jobs;            ///< by unique id
  std::map<std::string, Run> m_runs;                  ///< by unique id; also of ended jobs whose process must still go
  std::deque<std::string> m_queue;                    ///< unique ids; those that are not queued any more are skipped
  std::chrono::steady_clock::time_point m_nextStart;  ///< later than now while the machine is short of something
};

}  // namespace ParameterSweep
