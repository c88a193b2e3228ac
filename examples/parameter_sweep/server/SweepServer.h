#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestServer.h>
#include <examples/parameter_sweep/server/JobTable.h>

#include <cstddef>
#include <string>
#include <vector>

namespace ParameterSweep {

/// The request server: answers packages, whatever carries them.
///
/// Between `start` and `stop` it is the one that `AbstractRequestServer::getInstance` returns. Threads: one.
class SweepServer final : public Drelvan::AbstractRequestServer {
 public:
  /// Packages above `maxPackage` bytes are refused unread. Throws as `JobTable` does.
  SweepServer(const JobSettings& jobs, std::size_t maxPackage);
  SweepServer(const SweepServer&) = delete;
  SweepServer& operator=(const SweepServer&) = delete;
  // The lock of the instance does not fail.
  ~SweepServer() override;  // NOLINT(bugprone-exception-escape)

  /// Takes up the jobs of the spool.
  void start() override;
  /// Ends the job processes; their jobs go on with the next server.
  void stop() override;
  Drelvan::HostInfo getHostInfo() const override { return m_host; }
  /// Never throws: what goes wrong is refused with a `DVException`.
  std::string handleRequest(const std::string& requestPackage) override;

  void setHostInfo(const Drelvan::HostInfo& host) { m_host = host; }

  /// As the operations of `JobTable`.
  void attend() { m_jobs.attend(); }
  std::vector<int> getDescriptors() const { return m_jobs.getDescriptors(); }

  /// The package that the publisher sends about a job. Throws `SweepFailure` (`UnknownJob`).
  std::string getStatusPackage(const SweepJobId& jobId) const;

  Signals::Signal<void(const std::string&)> m_statusPackage;  ///< such a package, at each change of a job

 private:
  void install(AbstractRequestServer* server);
  ReplyContent answer(const Request& request, const std::string& package);
  JobStatus withServer(JobStatus status) const;
  std::string writeStatusPackage(const JobStatus& status) const;

  const std::size_t m_maxPackage;
  Drelvan::HostInfo m_host;
  JobTable m_jobs;
  Signals::ScopedConnection m_connection;
};

}  // namespace ParameterSweep
