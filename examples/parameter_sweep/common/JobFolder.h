#pragma once

#include <examples/parameter_sweep/common/SweepJobId.h>

#include <filesystem>

namespace ParameterSweep {

/// The files of one job in the spool. Its name is the job's unique id, which is hexadecimal digits and hyphens only.
///
/// | file          | written by | holds                                                                          |
/// |---------------|------------|--------------------------------------------------------------------------------|
/// | request.xml   | server     | the submission as it was received; with it the job is accepted                 |
/// | process       | server     | the running job process                                                        |
/// | progress.xml  | job        | a `SweepStatusReply`: how far the job is, and on which machine                 |
/// | job.log       | job        | log messages, one a line                                                       |
/// | server.log    | server     | log messages of the server about the job                                       |
/// | output        | job        | what the job or its launcher wrote to standard output and error                |
/// | failure.xml   | job        | a `SweepRefusal`: why there is no result                                       |
/// | result.xml    | job        | a `SweepResultReply`; with it the job is finished                              |
/// | outcome.xml   | server     | a `SweepStatusReply` of a failed or cancelled job; it outweighs a result       |
///
/// Each but the logs and the output is replaced as a whole. Threads: a plain value.
class JobFolder {
 public:
  /// Throws `SweepFailure` (`UnknownJob`) for an id that is not of a sweep job.
  JobFolder(const std::filesystem::path& spool, const SweepJobId& jobId);

  const std::filesystem::path& path() const { return m_path; }
  std::filesystem::path request() const { return m_path / "request.xml"; }
  std::filesystem::path process() const { return m_path / "process"; }
  std::filesystem::path progress() const { return m_path / "progress.xml"; }
  std::filesystem::path jobLog() const { return m_path / "job.log"; }
  std::filesystem::path serverLog() const { return m_path / "server.log"; }
  std::filesystem::path output() const { return m_path / "output"; }
  std::filesystem::path failure() const { return m_path / "failure.xml"; }
  std::filesystem::path result() const { return m_path / "result.xml"; }
  std::filesystem::path outcome() const { return m_path / "outcome.xml"; }

 private:
  std::filesystem::path m_path;
};

}  // namespace ParameterSweep
