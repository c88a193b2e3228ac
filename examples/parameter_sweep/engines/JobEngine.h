#pragma once

#include <examples/parameter_sweep/common/SweepJobId.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace ParameterSweep {

/// One try of a part of a job.
struct Run {
  SweepJobId jobId;
  std::uint32_t part = 0;     ///< from 1
  std::uint32_t attempt = 0;  ///< from 1

  bool operator<(const Run& other) const {
    return std::tie(jobId.getUniqueId(), part, attempt) <
           std::tie(other.jobId.getUniqueId(), other.part, other.attempt);
  }
};

/// How the process of a run ended. If both are empty, the outcome is unknown.
struct RunEnd {
  std::optional<int> exitCode;
  std::optional<int> signal;
  std::string reason;  ///< the engine's own words, such as the loss of a node; may be empty
};

/// What an engine says about a run.
struct RunReport {
  enum class Kind {
    Started,     ///< the engine has it; `record` finds it again in another process
    Found,       ///< the same, of one that neither this process started nor `resume` named
    NotStarted,  ///< `reason` says why
    Waiting,     ///< it waits for a free place
    Running,     ///< it runs since `age`
    Ended        ///< `end` says how
  };
  Run run;
  Kind kind = Kind::Started;
  std::string record = {};
  std::string reason = {};
  bool isShortage = false;  ///< of `NotStarted`: nothing is wrong with the part; a later start may succeed
  std::chrono::milliseconds age{0};
  RunEnd end = {};
};

/// Runs parts of jobs, on this machine or elsewhere. A run outlives the engine object; its record finds it again.
///
/// No operation waits, and none throws for what the machine or a cluster refuses: reports say so. Threads: one.
class JobEngine {
 public:
  JobEngine() = default;
  JobEngine(const JobEngine&) = delete;
  JobEngine& operator=(const JobEngine&) = delete;
  virtual ~JobEngine() = default;

  /// What the user calls it.
  virtual std::string getName() const = 0;
  /// How many further runs it takes now.
  virtual std::size_t getRoom() const = 0;
  /// How long a result may be on its way to this machine after the run has ended.
  virtual std::chrono::milliseconds getFileDelay() const = 0;

  /// Takes orders for runs of one job with the same number of the try. For each, `Started` or `NotStarted` is reported.
  virtual void start(const std::vector<Run>& runs) = 0;
  /// Goes on with a run that an earlier process started.
  virtual void resume(const Run& run, const std::string& record) = 0;
  /// Ends a run as soon as possible. Nothing more is reported about it.
  virtual void end(const Run& run) = 0;
  /// Whether something of the run is left, as far as is known; also of one that was told to end.
  virtual bool isLeft(const Run& run) const = 0;

  /// What is new since the last call.
  virtual std::vector<RunReport> poll() = 0;
  /// Becomes readable when `poll` should be called; -1 for an engine that is asked from time to time.
  virtual int getDescriptor() const = 0;
  /// Why the engine cannot say what becomes of its runs now; empty when it can.
  virtual std::string getError() const = 0;

  /// Ends all runs that end with this machine, and waits for that.
  virtual void endAll() = 0;
};

}  // namespace ParameterSweep
