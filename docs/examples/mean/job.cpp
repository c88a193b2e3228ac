// mean-job SPOOL -jobId ID   computes one job; the server starts it

#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/WaitingFileUtilities.h>

#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "Packages.h"

using Drelvan::XmlUtils;

namespace {

Drelvan::GenericJobId readJobId(int argc, char* argv[]) {
  std::string error;
  const auto jobId = Drelvan::GenericJobId::fromCmd(argc, argv, error);
  if (!jobId.isValid()) {
    throw std::invalid_argument("no valid job id: " + error);
  }
  return jobId;
}

double computeMean(const std::string& requestFile) {
  const Document document(Drelvan::RequestXmlHelper::getInstance().parseFile(requestFile, true));
  auto* request = XmlUtils::getElement("request", document->getDocumentElement());
  auto* parameter = XmlUtils::getElement("realizationId", XmlUtils::getElement("values", request));
  double sum = 0;
  int count = 0;
  while ((parameter = parameter->getNextElementSibling()) != nullptr) {
    sum += std::stod(XmlUtils::getElementContent("value", parameter));
    ++count;
  }
  return sum / count;
}

void writeResult(const std::string& file, double mean) {
  std::ofstream(file + ".part") << mean << "\n";
  Drelvan::WaitingFileUtilities::waitingRename(file + ".part", file, 500, 10);
}

}  // namespace

int main(int argc, char* argv[]) {
  const ParserSession parser;
  try {
    const auto jobId = readJobId(argc, argv);
    const std::string file = std::string(argv[1]) + "/" + jobId.getUniqueId();
    writeResult(file + ".mean", computeMean(file + ".request.xml"));
    return 0;
  } catch (const std::exception& failure) {
    std::cerr << "mean-job: " << failure.what() << "\n";
    return 1;
  }
}
