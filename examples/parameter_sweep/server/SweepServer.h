#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestServer.h>
#include <examples/parameter_sweep/server/Client.h>
#include <examples/parameter_sweep/server/JobTable.h>
#include <examples/parameter_sweep/server/RetryState.h>
#include <examples/parameter_sweep/server/Submissions.h>

#include <cstddef>
#include <functional>
#include <string>

namespace ParameterSweep {

/// Who sent the request that is being handled, and how a reply reaches them that is not there yet.
struct Asker {
  Client client;
  std::function<void(const std::string& reply)> answerLater;
};

struct ServerSettings {
  std::filesystem::path spool;
  std::size_t maxPackage = std::size_t{1} << 20U;
  double keepDays = 0;  ///< how long ended jobs are kept; 0 for ever
  SubmissionSettings submissions;
};

/// The request server: answers packages, whatever carries them.
///
/// Between `start` and `stop` it is the one that `AbstractRequestServer::getInstance` returns. Threads: one.
class SweepServer final : public Drelvan::AbstractRequestServer {
 public:
  /// Packages above `maxPackage` bytes are refused unread; `host` is where the server is reached.
  SweepServer(ServerSettings settings, JobStore& store, StoreWriter& writer, JobEngine& engine, JobTable& jobs,
              const Drelvan::HostInfo& host, Clocks clocks = {});
  SweepServer(const SweepServer&) = delete;
  SweepServer& operator=(const SweepServer&) = delete;
  // The lock of the instance does not fail.
  ~SweepServer() override { install(nullptr); }  // NOLINT(bugprone-exception-escape)

  /// Takes up the jobs of the store.
  void start() override;
  void stop() override;
  Drelvan::HostInfo getHostInfo() const override { return m_host; }
  /// Never throws: what goes wrong is refused with a `DVException`. Empty when the reply follows, after something was
  /// stored: then the asker set by `setAsker` gets it. Without an asker this waits for the reply.
  std::string handleRequest(const std::string& requestPackage) override;

  /// Who sends the requests that follow.
  void setAsker(Asker asker) { m_asker = std::move(asker); }

  /// The status of a job that the client may see, as everybody gets it. Throws `SweepFailure` (`UnknownJob`).
  JobStatus getStatus(const SweepJobId& jobId, const Client& client) const;
  /// The package that those who follow a job get.
  std::string writeStatus(JobStatus status, const std::string& requestId) const;

  /// Takes the jobs further, and removes those that were kept long enough.
  void poll();

 private:
  using Reply = Submissions::Reply;

  static void install(AbstractRequestServer* server);
  struct Exchange;

  void answer(Exchange& exchange, const ReplyContent& content) const;
  void dispatch(const Request& request, const std::string& package, const Client& client, const Reply& reply);
  SweepResult getResult(const Request& request, const Client& client) const;
  void cancel(const Request& request, const Client& client, const Reply& reply);
  void readLog(const Request& request, const Client& client, const Reply& reply);
  JobOutput getOutput(const Request& request, const Client& client) const;
  void remove(const Request& request, const Client& client, const Reply& reply);
  void removeJob(const SweepJobId& jobId, const StoreWriter::Done& done);
  JobList list(const Request& request, const Client& client) const;
  ServerHealth getHealth() const;
  void removeExpired();
  std::string removeIfPossible(const SweepJobId& jobId, const std::string& error);

  const ServerSettings m_settings;
  JobStore& m_store;
  StoreWriter& m_writer;
  JobEngine& m_engine;
  JobTable& m_jobs;
  const Drelvan::HostInfo m_host;
  const Clocks m_clocks;
  Submissions m_submissions;
  const TimePoint m_started;
  Asker m_asker;
  TimePoint m_nextExpiry{};
  RetryState m_expiryRetry{"remove jobs that were kept long enough"};
  std::size_t m_expiring = 0;  ///< removals that are being stored
};

}  // namespace ParameterSweep
