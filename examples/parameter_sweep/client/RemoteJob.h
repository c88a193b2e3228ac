#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/RemoteJobStatusInterface.h>
#include <examples/parameter_sweep/client/ServerConnection.h>

#include <chrono>
#include <string>

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

  /// Listens to the publisher until the job ends, emitting the signals. Asks the server itself when the publisher is
  /// silent for long; throws `SweepFailure` after `m_connectionLost` when that fails too.
  void follow();

 private:
  void update(const JobStatus& status);
  void emitState();
  JobStatus askStatus();

  ServerConnection& m_connection;
  JobStatus m_status;
};

}  // namespace ParameterSweep
