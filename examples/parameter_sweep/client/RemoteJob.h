#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/RemoteJobStatusInterface.h>
#include <examples/parameter_sweep/client/ServerConnection.h>

#include <string>
#include <vector>

namespace ParameterSweep {

/// The client's view of its job, kept up to date by `follow`. Threads: one.
class RemoteJob final : public Drelvan::RemoteJobStatusInterface {
 public:
  /// The job as a reply described it.
  RemoteJob(ServerConnection& connection, const JobStatus& status);

  Drelvan::GenericJobId getJobId() const override { return m_status.jobId; }
  State getState() const override { return m_status.state; }
  double getProgress() const override { return m_status.progress; }
  Drelvan::HostInfo getHost() const override { return m_status.host; }
  std::string getErrorMessage() const override;
  void cancel() override;

  /// Everything that is known of the job.
  const JobStatus& getStatus() const { return m_status; }

  /// Receives the job's progress until it ends, emitting the signals. Asks for the state when none comes for long;
  /// throws `SweepFailure` after `m_connectionLost` when that fails too.
  void follow() { followAll(m_connection, {this}); }
  /// The same for several jobs of one connection, until all have ended.
  static void followAll(ServerConnection& connection, const std::vector<RemoteJob*>& jobs);

 private:
  void update(const JobStatus& status);
  void updateIfIts(const JobStatus& status);
  void emitState();
  JobStatus askStatus();

  ServerConnection& m_connection;
  JobStatus m_status;
};

}  // namespace ParameterSweep
