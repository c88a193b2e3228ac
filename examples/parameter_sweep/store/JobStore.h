#pragma once

#include <examples/parameter_sweep/store/Database.h>
#include <examples/parameter_sweep/store/PackageReader.h>
#include <examples/parameter_sweep/store/Records.h>

#include <filesystem>
#include <utility>
#include <vector>

namespace ParameterSweep {

/// All jobs, in a database. What `apply` has returned from is stored for good, also after a loss of power.
///
/// Every failure is a `DatabaseError`, and says nothing about the jobs. Threads: `apply` and `overwriteFailed` belong
/// to one thread, everything else to one thread, which may be another one; neither waits for the other.
class JobStore {
 public:
  /// Opens the database, making or upgrading it. Throws `SweepFailure` (`LocalFailure`) for one of a newer version.
  explicit JobStore(const std::filesystem::path& file);

  /// Applies all changes as one unit. For each whether it was applied: an end that is stored is never changed.
  std::vector<bool> apply(const std::vector<const Change*>& changes);
  std::vector<bool> apply(const std::vector<Change>& changes);
  /// After a failure of `apply` that is ambiguous: makes sure that it left nothing.
  void overwriteFailed();

  /// The jobs that have not ended, in the order in which they start, with their parts.
  std::vector<std::pair<JobRecord, std::vector<PartRecord>>> loadActive();
  /// Runs of ended jobs of which something may be left: the job, and the part with its try and its run.
  std::vector<std::pair<SweepJobId, PartRecord>> loadStrayRuns();
  /// Empty when there is no such job.
  std::optional<JobRecord> find(const SweepJobId& jobId);
  std::vector<PartRecord> getParts(const SweepJobId& jobId);
  std::vector<PackageRecord> getPackages(const SweepJobId& jobId) { return m_packages.getPackages(jobId); }
  std::string readPackage(const SweepJobId& jobId, std::uint32_t number) {
    return m_packages.readPackage(jobId, number);
  }
  /// At most `limit` results that follow the first `after` ones.
  std::vector<Realization> readResults(const SweepJobId& jobId, std::uint64_t after, std::size_t limit);
  /// At most `limit` messages, the earliest first, and the number to ask for the next ones with.
  std::pair<std::vector<LogMessage>, std::uint64_t> readMessages(const SweepJobId& jobId, std::uint64_t after,
                                                                 std::size_t limit);

  /// Which jobs to list, the newest first.
  struct Filter {
    std::optional<JobState> state;
    std::optional<std::string> owner;
    std::uint64_t before = 0;  ///< 0 for all
    std::size_t limit = 0;
    bool isActive = false;  ///< only those that have not ended
  };
  /// `JobList::next` is 0 when there are no more.
  JobList list(const Filter& filter);

  /// The bytes of all jobs of an owner, and how many of them have not ended.
  struct Usage {
    std::int64_t bytes = 0;
    std::int64_t activeJobs = 0;
  };
  Usage getUsage(const std::string& owner);
  /// At most `limit` jobs that ended before the time, or whose submission was begun before `begun` and never completed.
  std::vector<SweepJobId> findExpired(std::int64_t ended, std::int64_t begun, std::size_t limit);
  std::int64_t countJobs();

  /// The database's, for another thread's connection to it.
  const std::filesystem::path& getFile() const { return m_file; }

 private:
  const std::filesystem::path m_file;
  Database m_writing;
  Database m_reading;
  PackageReader m_packages{m_reading};
};

}  // namespace ParameterSweep
