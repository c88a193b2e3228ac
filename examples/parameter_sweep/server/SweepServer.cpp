#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/server/SweepServer.h>
#include <service/Logging.h>

#include <exception>

namespace ParameterSweep {

namespace {

Drelvan::Logging s_logger(__FILE__);

}  // namespace

void SweepServer::start() {
  m_jobs.load();
  install(this);
}

void SweepServer::stop() {
  install(nullptr);
  m_jobs.endProcesses();
}

void SweepServer::install(AbstractRequestServer* server) {
  const boost::mutex::scoped_lock lock(s_instanceMutex);
  s_instance = server;
}

std::string SweepServer::handleRequest(const std::string& requestPackage) {
  Reply reply{SweepFailure(FailureKind::Internal, "no answer")};
  try {
    if (requestPackage.size() > m_maxPackage) {
      throw SweepFailure(FailureKind::PackageTooLarge, "the package is larger than the " +
                                                           std::to_string(m_maxPackage) +
                                                           " bytes that this server takes; split the sweep");
    }
    const Request request = readRequestPackage(requestPackage);
    reply.requestId = request.id;
    reply.content = answer(request, requestPackage);
  } catch (const SweepFailure& failure) {
    reply.content = failure;
  } catch (const std::exception& exception) {
    reply.content = SweepFailure(FailureKind::Internal, std::string(exception.what()) + "; see the server's log");
  }
  if (const auto* failure = std::get_if<SweepFailure>(&reply.content)) {
    s_logger.logWARN(std::string("refused: ") + failure->what(), __FILE__, __func__, __LINE__);
  }
  return writeReplyPackage(reply, m_host.toString());
}

ReplyContent SweepServer::answer(const Request& request, const std::string& package) {
  switch (request.kind) {
    case RequestKind::Submit:
      return withServer(m_jobs.submit(request, package));
    case RequestKind::Status:
      return withServer(m_jobs.getStatus(request.jobId));
    case RequestKind::Result:
      return m_jobs.getResult(request.jobId);
    case RequestKind::Cancel:
      return withServer(m_jobs.cancel(request.jobId));
    case RequestKind::Log:
      return m_jobs.getMessages(request.jobId);
  }
  throw SweepFailure(FailureKind::UnknownRequest, "not a request of this service");
}

JobStatus SweepServer::withServer(JobStatus status) const {
  status.server = m_host;
  return status;
}

std::string SweepServer::getStatusPackage(const SweepJobId& jobId) const {
  return writeReplyPackage({withServer(m_jobs.getStatus(jobId)), jobId.getUniqueId()}, jobId.toString());
}

}  // namespace ParameterSweep
