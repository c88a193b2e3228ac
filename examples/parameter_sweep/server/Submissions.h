#pragma once

#include <examples/parameter_sweep/server/Client.h>
#include <examples/parameter_sweep/server/JobTable.h>
#include <examples/parameter_sweep/server/PartCutting.h>

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace ParameterSweep {

struct SubmissionSettings {
  std::uint32_t partSize = 0;      ///< of submissions that name none; 0 to choose it
  std::uint64_t jobsPerOwner = 0;  ///< that have not ended; 0 for any number
  std::int64_t bytesPerOwner = 0;  ///< that are stored; 0 for any number
  std::size_t partsAtOnce = 1;     ///< that the engine runs, as far as is known
};

/// Receives submissions, in one package or several, and stores them before it answers.
///
/// Threads: the server's one thread.
class Submissions {
 public:
  using Reply = std::function<void(ReplyContent)>;

  Submissions(const SubmissionSettings& settings, JobStore& store, StoreWriter& writer, JobTable& jobs, Clocks clocks);

  /// Takes a `Submit` or `Append`; `package` is its text. The same package again changes nothing. Throws `SweepFailure`
  /// for what is refused at once; whatever else becomes of it goes to `reply`.
  void receive(const Request& request, const std::string& package, const Client& client, const Reply& reply);
  /// Takes an `Again`. As `receive`.
  void submitAgain(const Request& request, const Client& client, const Reply& reply);

 private:
  /// A package that is being stored.
  struct Pending {
    std::uint32_t number = 0;
    std::string content;
    std::vector<Reply> replies;
  };
  /// A submission of which packages are being stored, or have been.
  struct Submission {
    JobRecord job;  ///< with all packages that were taken
    std::vector<PackageSize> packages;
    std::deque<Pending> pending;
    TimePoint lastUse{};
    bool isOver = false;     ///< nothing more is taken in memory; what is stored tells how to go on
    bool isGivenUp = false;  ///< it is being removed
  };

  Submission& begin(const Request& request, const Client& client);
  Submission& proceed(const Request& request, const Client& client);
  bool answerKnown(const Request& request, const std::string& package, const Client& client, const Reply& reply);
  void take(Submission& submission, const Request& request, const std::string& package, const Reply& reply);
  void stored(const std::string& id, std::uint32_t number, const AddPackage& change, Stored result);
  void giveUp(const SweepJobId& jobId, const Client& client);
  void forgetIfOver(std::map<std::string, Submission>::iterator submission);
  std::optional<JobStatus> findCopy(const Request& request, const Client& client,
                                    const std::optional<JobRecord>& old) const;
  ReplyContent answerRefused(const JobRecord& old, const Request& request, const Client& client) const;
  void copyJob(const JobRecord& old, const Request& request, const Client& client, const Reply& reply);
  void addCopy(const JobRecord& job, const std::vector<PartRecord>& parts, const std::string& accepted);
  JobRecord makeCopy(const JobRecord& old, const Request& request, const Client& client) const;
  void countNewJob(const JobRecord& job, int change);
  void checkOwner(const Client& client, std::size_t bytes, bool isNewJob) const;
  ReplyContent makeReply(const JobRecord& job, std::uint32_t packages, std::uint64_t realizations) const;
  void forgetOld();

  const SubmissionSettings m_settings;
  JobStore& m_store;
  StoreWriter& m_writer;
  JobTable& m_jobs;
  const Clocks m_clocks;
  std::map<std::string, Submission> m_submissions;  ///< by unique id
  std::size_t m_pendingBytes = 0;
  std::map<std::string, std::size_t> m_newJobs;  ///< that are being stored and will run, by owner
};

}  // namespace ParameterSweep
