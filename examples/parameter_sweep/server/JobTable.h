#pragma once

#include <examples/parameter_sweep/server/ActiveJob.h>
#include <examples/parameter_sweep/server/PartPreparer.h>
#include <examples/parameter_sweep/server/RetryState.h>
#include <examples/parameter_sweep/store/StoreWriter.h>
#include <service/Signals.h>

#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <system_error>
#include <tuple>
#include <vector>

namespace ParameterSweep {

struct JobSettings {
  std::filesystem::path spool = "spool";
  /// Maximum number of tries of a part whose job program ends without a result.
  std::uint32_t tries = 3;
  /// Seconds in which parts of a job run; parts that run at the same time count once. 0 for no limit.
  double timeOutSeconds = 3600;
};

/// The states of all jobs that have not ended, and what takes them from one to the next.
///
/// A change is stored first and shown then. Threads: the server's one thread, and one that writes the inputs of parts.
/// No operation waits.
class JobTable {
 public:
  JobTable(JobSettings settings, JobStore& store, StoreWriter& writer, JobEngine& engine, Clocks clocks = {});
  JobTable(const JobTable&) = delete;
  JobTable& operator=(const JobTable&) = delete;

  /// Goes on with the jobs of the store. Throws `DatabaseError`.
  void load();
  /// Adds a job that has been stored.
  void add(const JobRecord& record, const std::vector<PartRecord>& parts);

  /// The job's status, also of one that has ended; empty when there is no such job. Throws `DatabaseError`.
  std::optional<JobStatus> getStatus(const SweepJobId& jobId) const;
  /// The parts of a job that has not ended; null for any other.
  const ActiveJob* find(const SweepJobId& jobId) const;

  /// Stores that the job was cancelled, then calls `done`: `Refused` when the job has ended or is not known.
  void cancel(const SweepJobId& jobId, const StoreWriter::Done& done);
  /// Brings what the job programs logged so far into the store, then calls `done`.
  void importLogs(const SweepJobId& jobId, const std::function<void()>& done);

  /// Takes every job as far as it gets now.
  void poll();
  /// Becomes readable when `poll` should be called, as those of the store's writer and of the engine do.
  int getDescriptor() const { return m_preparer.getDescriptor(); }
  /// How long nothing happens unless a descriptor tells.
  std::chrono::milliseconds getPause() const;

  /// Whether the input of a part is being written.
  bool isPreparing() const { return !m_preparing.empty(); }

  struct Counts {
    std::size_t queued = 0;   ///< jobs
    std::size_t running = 0;  ///< jobs
    std::size_t partsRunning = 0;
  };
  Counts count() const;
  std::size_t countOf(const std::string& owner) const;
  /// Why nothing can be started now; empty when it can.
  std::string getStartError() const {
    return m_startRetry.getReason().empty() ? m_runRetry.getReason() : m_startRetry.getReason();
  }

  Signals::Signal<void(const JobStatus&)> m_statusChanged;  ///< emitted by `poll`

 private:
  using Key = std::string;                                     ///< a job's unique id
  using Place = std::tuple<std::int32_t, std::uint64_t, Key>;  ///< in the queue
  using PartKey = std::pair<Key, std::uint32_t>;

  JobStatus makeStatus(const ActiveJob& job) const;
  JobState makeState(const ActiveJob& job) const;
  Place makePlace(const ActiveJob& job) const;
  PartFiles files(const ActiveJob& job, const ActivePart& part) const;
  Run makeRun(const ActiveJob& job, const ActivePart& part) const;
  ActiveJob* findJob(const Key& id);
  std::pair<ActiveJob*, ActivePart*> findPart(const PartKey& key);
  std::pair<ActiveJob*, ActivePart*> findRun(const Run& run);

  void setPhase(ActiveJob& job, ActivePart& part, PartPhase phase);
  void setRunning(ActiveJob& job, std::size_t running);
  void changed(const ActiveJob& job);
  void publish();

  void startQueued();
  void prepare(ActiveJob& job, std::size_t room);
  static void beginTry(ActivePart& part);
  void prepared(const Run& run, std::uint64_t preparation, const std::string& error);
  void cannotStart(ActiveJob& job, ActivePart& part, const std::string& reason);
  std::map<Place, std::vector<PartKey>> takePrepared();
  void startPrepared();

  void handle(const RunReport& report);
  void onFound(const RunReport& report);
  void onStarted(ActiveJob& job, ActivePart& part, const RunReport& report);
  void onNotStarted(ActiveJob& job, ActivePart& part, const RunReport& report);
  void onRunning(ActiveJob& job, ActivePart& part, std::chrono::milliseconds age);
  void onExit(ActiveJob& job, ActivePart& part, const RunEnd& end);

  bool isDue(const PartKey& key) const;
  void collect();
  bool collectStep(ActiveJob& job, ActivePart& part);
  void readLater(ActivePart& part, const std::string& reason);
  void onExitWithoutResult(ActiveJob& job, ActivePart& part);
  void finishPart(ActiveJob& job, ActivePart& part);
  void partStored(const PartKey& key, std::int64_t time);
  void tryAgain(ActiveJob& job, ActivePart& part, const SweepFailure& failure);
  void fail(ActiveJob& job, const SweepFailure& failure, std::vector<LogMessage> messages = {});
  void storeOutcome(ActiveJob& job, const SweepFailure& failure, std::vector<LogMessage> messages,
                    StoreWriter::Patience patience, const StoreWriter::Done& done);
  void jobEnded(const Key& id, const JobStatus& status);

  void lookAtRunning();
  void readProgress();
  void readProgress(ActiveJob& job, ActivePart& part);
  void endOverdue();
  void note(const ActiveJob& job, LogMessage::Type type, const std::string& text);
  LogMessage makeMessage(LogMessage::Type type, const std::string& text) const;
  std::vector<LogMessage> readLog(const ActiveJob& job, ActivePart& part) const;
  std::vector<LogMessage> tryReadLog(const ActiveJob& job, ActivePart& part) const;
  std::vector<LogMessage> tryReadLogs(ActiveJob& job) const;
  void removeFiles(const ActiveJob& job, const ActivePart& part) const;
  void removeRemains(const SweepJobId& jobId);
  void retryRemains();
  void endRuns(const ActiveJob& job);
  void forgetStrays();
  void beginCleaning();
  void cleanNext();
  void cleaningFailed(const std::error_code& error);

  const JobSettings m_settings;
  JobStore& m_store;
  StoreWriter& m_writer;
  JobEngine& m_engine;
  const Clocks m_clocks;

  std::map<Key, ActiveJob> m_jobs;
  std::uint64_t m_lastPlace = 0;
  std::set<Place> m_queue;  ///< jobs with queued parts, in the order in which they start
  std::set<std::pair<Place, std::uint32_t>> m_preparing;
  std::vector<PartKey> m_prepared;  ///< also those for which there is no room yet
  std::set<PartKey> m_collecting;
  std::set<PartKey> m_running;
  PartKey m_progressPlace;  ///< whose progress was read last
  TimePoint m_nextLook{};
  std::map<Key, JobStatus> m_changed;  ///< to be published
  std::set<Run> m_strays;              ///< runs that were told to end
  std::string m_engineError;           ///< as last shown
  RetryState m_startRetry{"start parts of jobs"};
  RetryState m_runRetry{"run parts of jobs"};
  RetryState m_readRetry{"read what job programs left"};
  RetryState m_removeRetry{"remove files of jobs that have ended"};
  std::map<Key, SweepJobId> m_unremoved;           ///< jobs that have ended and whose files could not be removed
  std::filesystem::directory_iterator m_cleaning;  ///< folders of which remains of an earlier server are removed
  bool m_isCleaningDue = false;                    ///< it could not be done to its end
  PartPreparer m_preparer;
};

/// The group of the server's own messages in the log of a job.
inline constexpr const char* c_serverGroup = "sweep-server";

}  // namespace ParameterSweep
