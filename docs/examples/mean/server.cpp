// mean-server SPOOL JOB_PROGRAM   answers the requests on its standard input; the jobs work in the folder SPOOL

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestServer.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/PackageErrors.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageWriter.h>
#include <service/ExceptionHandling.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

#include "MeanSchema.h"

using Drelvan::ElementReader;
using Drelvan::PackageDocument;
using Drelvan::PackageExceptions;
using Drelvan::PackageKind;
using Drelvan::PackageWriter;

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

std::string read(const std::string& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// The errors of an invalid package, each as the inner exception of the one before.
void addErrors(const std::exception_ptr& nested, PackageExceptions& exceptions) {
  try {
    if (nested) {
      std::rethrow_exception(nested);
    }
  } catch (const Drelvan::PackageErrors& errors) {
    for (const auto& report : errors.getReports()) {
      exceptions.push_back({"invalid package", "line " + std::to_string(report.line) + ": " + report.message});
    }
  } catch (...) {
    // Any other cause is for the server's log.
  }
}

/// What the client is told of the exception that is being handled, of whatever type.
PackageExceptions currentException() {
  try {
    throw;
  } catch (const Drelvan::DvExceptionNested& failure) {
    PackageExceptions exceptions{{failure.getGroup(), failure.getMessage()}};
    addErrors(failure.getNested(), exceptions);
    return exceptions;
  } catch (const Drelvan::DvException& failure) {
    return {{failure.getGroup(), failure.getMessage()}};
  } catch (const std::exception& failure) {
    return {{"mean-server", failure.what()}};
  } catch (...) {
    return {{"mean-server", "an unknown failure"}};
  }
}

void writeRefusal(const std::string& requestId, PackageWriter& writer) {
  writer.startReply("MeanRefused", requestId);
  writer.element("exception", currentException());
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

  void startReplies(PackageKind requests, PackageWriter& writer) const;
  void answer(const ElementReader& request, PackageWriter& writer) const;
  std::string runJob(const ElementReader& request) const;

  const std::string m_spool;
  const std::string m_jobProgram;
};

std::string MeanServer::handleRequest(const std::string& requestPackage) {
  PackageWriter writer;
  try {
    const auto document = PackageDocument::fromText(requestPackage);
    const auto requests = document.getRequests();
    startReplies(document.getKind().value(), writer);
    for (const ElementReader& request : requests) {
      answer(request, writer);
    }
  } catch (...) {
    writer.finish();
    startReplies(PackageKind::RequestPackage, writer);
    writeRefusal(c_noRequest, writer);
  }
  return writer.finish();
}

/// A package is answered by a package, and a script by a script.
void MeanServer::startReplies(PackageKind requests, PackageWriter& writer) const {
  if (requests == PackageKind::RequestPackage) {
    Drelvan::ReplyEnvelope envelope;
    envelope.origin = getHostInfo().getNameOrIp();
    writer.startReplyPackage(envelope);
  } else {
    writer.startDocument(requests == PackageKind::Request ? PackageKind::Reply : PackageKind::ReplyScript);
  }
}

void MeanServer::answer(const ElementReader& request, PackageWriter& writer) const {
  const auto id = request.getAttribute<std::string>("id");
  try {
    const std::string result = runJob(request);
    writer.startReply("MeanReply", id);
    writer.piece(result);
  } catch (...) {
    writeRefusal(id, writer);
  }
}

/// The content of the reply.
std::string MeanServer::runJob(const ElementReader& request) const {
  if (request.getTypeName() != "MeanRequest") {
    request.fail("this server takes MeanRequest only");
  }
  const auto jobId = request.get<Drelvan::GenericJobId>("jobId");
  if (!jobId.isValid()) {
    request.fail("the job id is not valid");
  }
  const std::string file = m_spool + "/" + jobId.getUniqueId();
  std::ofstream requestFile(file + ".request.xml");
  PackageWriter forJob(requestFile);
  forJob.startDocument(PackageKind::Request);
  forJob.startRequest("MeanRequest", request.getAttribute<std::string>("id"));
  forJob.element("jobId", jobId);
  forJob.element("values", request.get<Drelvan::ParameterVector>("values"));
  forJob.finish();
  requestFile.close();

  std::vector<std::string> command{m_jobProgram, m_spool};
  jobId.toCmd(command);
  run(command);
  PackageWriter result;
  result.element("jobId", jobId);
  return result.finish() + read(file + ".mean") + read(file + ".log");
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 3) {
    std::cerr << "usage: mean-server SPOOL JOB_PROGRAM\n";
    return 2;
  }
  try {
    const Drelvan::ParserSession parser{MeanSchema()};
    MeanServer server(argv[1], argv[2]);
    server.start();
    const std::string request{std::istreambuf_iterator<char>(std::cin), {}};
    std::cout << Drelvan::AbstractRequestServer::getInstance()->handleRequest(request);
    server.stop();
  } catch (const std::exception& failure) {
    std::cerr << "mean-server: " << failure.what() << "\n";
    return 1;
  }
}
