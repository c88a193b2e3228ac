// mean-job SPOOL -jobId ID   computes one job; the server starts it

#include <Platform/RemoteComputation/Service/RequestHandlingBase/WaitingFileUtilities.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageWriter.h>

#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "MeanJobLog.h"
#include "MeanSchema.h"

namespace {

Drelvan::GenericJobId readJobId(int argc, char* argv[]) {
  std::string error;
  const auto jobId = Drelvan::GenericJobId::fromCmd(argc, argv, error);
  if (!jobId.isValid()) {
    throw std::invalid_argument("no valid job id: " + error);
  }
  return jobId;
}

double computeMean(const std::string& requestFile, MeanJobLog& log) {
  const auto document = Drelvan::PackageDocument::fromFile(requestFile);
  const auto vector = document.getRequest().get<Drelvan::ParameterVector>("values");
  log.info("got " + std::to_string(vector.parameters.size()) + " values");
  double sum = 0;
  for (const Drelvan::Parameter& parameter : vector.parameters) {
    sum += parameter.getNumber();
  }
  return sum / static_cast<double>(vector.parameters.size());
}

void writeResult(const std::string& file, double mean) {
  std::ofstream part(file + ".part");
  Drelvan::PackageWriter writer(part);
  writer.element("mean", mean);
  writer.finish();
  part.close();
  if (!part) {
    throw std::runtime_error("cannot write " + file + ".part");
  }
  Drelvan::WaitingFileUtilities::waitingRename(file + ".part", file, 500, 10);
}

void runJob(int argc, char* argv[]) {
  const auto jobId = readJobId(argc, argv);
  const std::string file = std::string(argv[1]) + "/" + jobId.getUniqueId();
  MeanJobLog log(jobId, file + ".log");
  log.m_messageAppended.connect(
      [](const MeanJobLog::Message& message) { std::cerr << message.group << ": " << message.text << "\n"; });
  writeResult(file + ".mean", computeMean(file + ".request.xml", log));
}

}  // namespace

int main(int argc, char* argv[]) {
  try {
    const Drelvan::ParserSession parser{MeanSchema()};
    runJob(argc, argv);
    return 0;
  } catch (const std::exception& failure) {
    std::cerr << "mean-job: " << failure.what() << "\n";
    return 1;
  }
}
