#pragma once

#include <examples/parameter_sweep/common/Messages.h>

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

/// What is stored of jobs, and how it changes. Times are milliseconds since 1970.
namespace ParameterSweep {

/// The state of a part, as stored.
enum class PartState { Queued, Running, Finished };
BOOST_DESCRIBE_ENUM(PartState, Queued, Running, Finished)

/// A run of consecutive realizations that is computed on its own.
struct PartRecord {
  std::uint32_t number = 0;  ///< from 1
  std::uint64_t first = 0;   ///< how many realizations of the sweep come before
  std::uint64_t count = 0;
  PartState state = PartState::Queued;
  std::uint32_t tries = 0;      ///< how often it was started
  std::string run = {};         ///< what the engine needs to find the running part again
  std::uint64_t logOffset = 0;  ///< how much of the present try's log is among the messages
};

struct JobRecord {
  JobStatus status = {};    ///< without server, host and running parts
  bool isComplete = false;  ///< whether the whole submission is there; it is no job before
  std::uint32_t packages = 0;
  std::uint32_t partSize = 0;
  std::string expression = {};
  std::string columns = {};  ///< the parameters' names, joined by `c_columnSeparator`
  std::int64_t bytes = 0;    ///< of its packages and results
};

/// Not allowed in a package.
inline constexpr char c_columnSeparator = '\x1f';

/// A package of a submission as stored.
struct PackageRecord {
  std::uint32_t number = 0;  ///< from 1
  std::uint64_t first = 0;
  std::uint64_t count = 0;
};

// The changes. Each is applied as a whole, or not at all where what it changes is not there any more or has ended.

/// The next package of a submission; the first one begins the job, and the last one brings the parts.
struct AddPackage {
  JobRecord job = {};  ///< the job with this package
  PackageRecord package = {};
  std::string content = {};
  std::vector<PartRecord> parts = {};  ///< empty until the submission is complete
  std::vector<LogMessage> messages = {};
};

/// The same sweep as a new job. Parts that were finished keep their results.
struct CopyJob {
  SweepJobId ofJob = {};
  JobRecord job = {};  ///< id, owner, title, priority and time of the new one
  std::vector<LogMessage> messages = {};
};

struct StartParts {
  SweepJobId jobId = {};
  std::vector<PartRecord> parts = {};  ///< number, run and tries
  std::int64_t time = 0;
};

/// The part waits for another try.
struct QueuePart {
  SweepJobId jobId = {};
  std::uint32_t part = 0;
};

/// The job is finished with the last of its parts.
struct FinishPart {
  SweepJobId jobId = {};
  std::uint32_t part = 0;
  std::string results = {};  ///< as `packResults` gives them
  std::vector<LogMessage> messages = {};
  std::string host = {};
  std::int64_t time = 0;
};

/// The job failed or was cancelled.
struct EndJob {
  SweepJobId jobId = {};
  JobState state = JobState::Failed;
  SweepFailure failure{FailureKind::Internal, ""};
  std::vector<LogMessage> messages = {};
  std::string host = {};
  std::int64_t time = 0;
};

struct AddMessages {
  SweepJobId jobId = {};
  std::vector<LogMessage> messages = {};
  std::uint32_t part = 0;  ///< whose log they were read from; 0 for none
  std::uint64_t logOffset = 0;
};

/// Nothing is left of a part's run.
struct ForgetRun {
  SweepJobId jobId = {};
  std::uint32_t part = 0;
  std::uint32_t tries = 0;
};

/// Everything that is stored of a job that has ended, or was never complete.
struct RemoveJob {
  SweepJobId jobId = {};
};

/// A job of an earlier spool, with whatever end it had.
struct TakeOverJob {
  AddPackage submission = {};
  std::string results = {};  ///< of a finished job
  std::vector<LogMessage> messages = {};
};

using Change = std::variant<AddPackage, CopyJob, StartParts, QueuePart, FinishPart, EndJob, AddMessages, ForgetRun,
                            RemoveJob, TakeOverJob>;

/// Results in 12 bytes each: the realization's id and its value, the lowest byte first.
std::string packResults(const std::vector<Realization>& realizations);
std::vector<Realization> unpackResults(const std::string& bytes);
inline constexpr std::size_t c_resultBytes = 12;

}  // namespace ParameterSweep
