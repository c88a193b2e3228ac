#pragma once

#include <examples/parameter_sweep/common/SweepJobId.h>

#include <string>

/// How the programs of the sweep log: in the JSON form an entry about a job has the job's id as its field "job", so
/// that one filter over the logs of server, job and client shows all of a job.
namespace ParameterSweep {

enum class LogDelivery {
  AtOnce,       ///< the thread that logs waits for the output
  InBackground  ///< no thread waits: when the output is too slow, the oldest entries are dropped
};

/// From now on entries are shortened to 2 KiB, and JSON entries name their job. Once, in `main`.
/// Throws `std::system_error` when there can be no thread for `InBackground`; the log is as before then.
void installJobLogging(LogDelivery delivery);

/// Ends the delivery in the background, at the end of `main`. What cannot be written soon is lost. False when the
/// output blocks, so that only `std::_Exit` ends the program.
bool finishJobLogging();

/// The text of an entry about a job.
std::string aboutJob(const SweepJobId& jobId, const std::string& text);

/// As long as it exists, all entries of the program are about the job. Threads: made and destroyed while no
/// other thread logs.
class JobOfLog {
 public:
  explicit JobOfLog(const std::string& job);
  JobOfLog(const JobOfLog&) = delete;
  JobOfLog& operator=(const JobOfLog&) = delete;
  ~JobOfLog();
};

}  // namespace ParameterSweep
