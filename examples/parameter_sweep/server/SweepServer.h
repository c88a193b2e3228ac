#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestServer.h>
#include <examples/parameter_sweep/server/JobTable.h>

#include <cstddef>
#include <string>

namespace ParameterSweep {

/// The request server: answers packages, whatever carries them.
///
/// Between `start` and `stop` it is the one that `AbstractRequestServer::getInstance` returns. Threads: one.
class SweepServer final : public Drelvan::AbstractRequestServer {
 public:
  /// Packages above `maxPackage` bytes are refused unread; `host` is where the server is reached. Throws as `JobTable`.
  SweepServer(const JobSettings& jobs, std::size_t maxPackage, const Drelvan::HostInfo& host)
      : m_maxPackage(maxPackage), m_host(host), m_jobs(jobs) {}
  SweepServer(const SweepServer&) = delete;
  SweepServer& operator=(const SweepServer&) = delete;
  // The lock of the instance does not fail.
  ~SweepServer() override { install(nullptr); }  // NOLINT(bugprone-exception-escape)

  /// Takes up the jobs of the spool.
  void start() override;
  /// Ends the job processes; their jobs go on with the next server.
  void stop() override;
  Drelvan::HostInfo getHostInfo() const override { return m_host; }
  /// Never throws: what goes wrong is refused with a `DVException`.
  std::string handleRequest(const std::string& requestPackage) override;

  JobTable& getJobs() { return m_jobs; }
  /// The package that the publisher sends about a job. Throws `SweepFailure` (`UnknownJob`).
  std::string getStatusPackage(const SweepJobId& jobId) const;

 private:
  static void install(AbstractRequestServer* server);
  ReplyContent answer(const Request& request, const std::string& package);
  JobStatus withServer(JobStatus status) const;

  const std::size_t m_maxPackage;
  const Drelvan::HostInfo m_host;
  JobTable m_jobs;
};

}  // namespace ParameterSweep
