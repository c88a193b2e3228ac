// mean-client request VALUE...   writes a request package
// mean-client reply              reads the replies of a package or a script and prints the means

#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageWriter.h>
#include <service/Identifier.h>

#include <exception>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "MeanJobId.h"
#include "MeanJobStatus.h"
#include "MeanSchema.h"

namespace {

double toNumber(const std::string& text) {
  std::istringstream stream(text);
  double number = 0;
  if (!(stream >> number) || !stream.eof()) {
    throw std::invalid_argument("'" + text + "' is not a number");
  }
  return number;
}

void writeRequest(int count, char* values[]) {
  Drelvan::ParameterVector vector{1, {}};
  for (int index = 0; index < count; ++index) {
    vector.parameters.push_back({"value" + std::to_string(index + 1), toNumber(values[index])});
  }
  Drelvan::RequestEnvelope envelope;
  envelope.clientId = envelope.requestClientId = Drelvan::UniqueID::generateId();
  Drelvan::PackageWriter writer(std::cout);
  writer.startRequestPackage(envelope);
  writer.startRequest("MeanRequest", Drelvan::UniqueID::generateId());
  writer.element("jobId", MeanJobId());
  writer.element("values", vector);
  writer.finish();
}

/// Whether the job has ended well.
bool readReply(const Drelvan::ElementReader& reply) {
  MeanJobStatus status;
  status.m_finished.connect([&] { std::cout << status.getMean() << "\n"; });
  status.m_failed.connect([](const std::string& why) { std::cerr << "mean-client: refused: " << why << "\n"; });
  status.takeReply(reply);
  for (const auto& message : reply.getAll<Drelvan::AbstractJobLog::Message>("logMessage")) {
    std::cout << "  " << message.group << ": " << message.text << "\n";
  }
  return status.getState() == MeanJobStatus::State::Finished;
}

bool readReplies(const std::string& package) {
  const Drelvan::ParserSession parser{MeanSchema()};
  const auto document = Drelvan::PackageDocument::fromText(package);
  bool isFinished = true;
  for (const Drelvan::ElementReader& reply : document.getReplies()) {
    isFinished = readReply(reply) && isFinished;
  }
  return isFinished;
}

int run(int argc, char* argv[]) {
  const std::string command = argc > 1 ? argv[1] : "";
  if (command == "request" && argc > 2) {
    writeRequest(argc - 2, argv + 2);
    return 0;
  }
  if (command == "reply") {
    return readReplies({std::istreambuf_iterator<char>(std::cin), {}}) ? 0 : 1;
  }
  std::cerr << "usage: mean-client request VALUE... | mean-client reply\n";
  return 2;
}

}  // namespace

int main(int argc, char* argv[]) {
  try {
    return run(argc, argv);
  } catch (const std::exception& failure) {
    std::cerr << "mean-client: " << failure.what() << "\n";
    return 1;
  }
}
