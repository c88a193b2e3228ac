#pragma once

#include <examples/parameter_sweep/common/SweepJobId.h>

#include <filesystem>

namespace ParameterSweep {

/// The files of one job in the spool. Its name is the job's unique id, which is hexadecimal digits and hyphens only.
///
/// Each but the logs and the output is replaced as a whole. Threads: a plain value.
struct JobFolder {
  JobFolder(const std::filesystem::path& spool, const SweepJobId& jobId) : path(spool / "jobs" / jobId.getUniqueId()) {}

  std::filesystem::path path;

  // Written by the server.
  std::filesystem::path request = path / "request.xml";   ///< the submission as received: the job is accepted
  std::filesystem::path process = path / "process";       ///< the running job process
  std::filesystem::path serverLog = path / "server.log";  ///< log messages, one a line
  std::filesystem::path outcome =
      path / "outcome.xml";  ///< the status of a failed or cancelled job; outweighs a result

  // Written by the job.
  std::filesystem::path progress = path / "progress.xml";  ///< a status: how far the job is, and on which machine
  std::filesystem::path jobLog = path / "job.log";         ///< log messages, one a line
  std::filesystem::path output = path / "output";          ///< standard output and error of the job and its launcher
  std::filesystem::path result = path / "result.xml";      ///< the result or a refusal: the job has ended
};

}  // namespace ParameterSweep
