// mean-server SPOOL JOB_PROGRAM   answers the request package on its standard input; the jobs work in the folder SPOOL

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestServer.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>
#include <service/ExceptionHandling.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

#include "Packages.h"

using Drelvan::XmlUtils;

namespace {

constexpr const char* c_noRequest = "0000000000000000-0000000000000000-0000000000000000";

[[noreturn]] void refuse(const std::string& reason) {
  throw Drelvan::DvException(reason.c_str(), "mean-server", __func__, __FILE__, __LINE__);
}

/// Runs a program and waits for its end. No shell sees the arguments.
void run(std::vector<std::string> command) {
  std::vector<char*> arguments;
  for (std::string& argument : command) {
    arguments.push_back(argument.data());
  }
  arguments.push_back(nullptr);
  pid_t process = 0;
  int status = 1;
  if (posix_spawnp(&process, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0 ||
      waitpid(process, &status, 0) != process || status != 0) {
    refuse("the job failed");
  }
}

class MeanServer : public Drelvan::AbstractRequestServer {
 public:
  MeanServer(const std::string& spool, const std::string& jobProgram) : m_spool(spool), m_jobProgram(jobProgram) {}
  MeanServer(const MeanServer&) = delete;
  MeanServer& operator=(const MeanServer&) = delete;
  ~MeanServer() override { install(nullptr); }

  void start() override { install(this); }
  void stop() override { install(nullptr); }
  Drelvan::HostInfo getHostInfo() const override { return Drelvan::HostInfo("localhost", "127.0.0.1"); }
  std::string handleRequest(const std::string& requestPackage) override;

 private:
  static void install(AbstractRequestServer* server) {
    const boost::mutex::scoped_lock lock(s_instanceMutex);
    s_instance = server;
  }

  std::string computeMean(const Drelvan::GenericJobId& jobId, const std::string& requestPackage);

  const std::string m_spool;
  const std::string m_jobProgram;
};

std::string MeanServer::handleRequest(const std::string& requestPackage) {
  const std::string origin = getHostInfo().getNameOrIp();
  std::string requestId = c_noRequest;
  try {
    const Document document(Drelvan::RequestXmlHelper::getInstance().parse(requestPackage));
    auto* request = XmlUtils::getElement("request", document->getDocumentElement());
    if (request == nullptr || typeName(*request) != "MeanRequest") {
      refuse("this server takes MeanRequest only");
    }
    requestId = attribute(*request, u"id");
    const Drelvan::GenericJobId jobId(XmlUtils::getElement("jobId", request));
    if (!jobId.isValid()) {
      refuse("the job id is not valid");
    }
    const std::string mean = computeMean(jobId, requestPackage);
    return replyPackage(origin, "MeanReply", requestId, "<mean>" + mean + "</mean>\n");
  } catch (const Drelvan::DvException& failure) {
    return replyPackage(origin, "MeanRefused", requestId,
                        "<exception><type>" + XmlUtils::toXml(failure.getGroup()) + "</type><message>" +
                            XmlUtils::toXml(failure.getMessage()) + "</message></exception>\n");
  }
}

std::string MeanServer::computeMean(const Drelvan::GenericJobId& jobId, const std::string& requestPackage) {
  const std::string file = m_spool + "/" + jobId.getUniqueId();
  std::ofstream(file + ".request.xml") << requestPackage;
  std::vector<std::string> command{m_jobProgram, m_spool};
  jobId.toCmd(command);
  run(command);
  std::string mean;
  std::ifstream(file + ".mean") >> mean;
  return mean;
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 3) {
    std::cerr << "usage: mean-server SPOOL JOB_PROGRAM\n";
    return 2;
  }
  const ParserSession parser;
  MeanServer server(argv[1], argv[2]);
  server.start();
  const std::string request{std::istreambuf_iterator<char>(std::cin), {}};
  std::cout << Drelvan::AbstractRequestServer::getInstance()->handleRequest(request);
  server.stop();
}
