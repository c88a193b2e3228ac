// mean-client request VALUE...   writes a request package
// mean-client reply              reads a reply package and prints the mean

#include <service/ExceptionHandling.h>
#include <service/Identifier.h>

#include <iostream>
#include <iterator>

#include "MeanJobId.h"
#include "Packages.h"

using Drelvan::XmlUtils;

namespace {

int writeRequest(int count, char* values[]) {
  const std::string clientId = Drelvan::UniqueID::generateId();
  std::cout << "<DV_RequestPackage" << envelope(1) << " clientId=\"" << clientId << "\" requestClientId=\"" << clientId
            << "\">\n"
            << "<request xsi:type=\"MeanRequest\" id=\"" << Drelvan::UniqueID::generateId() << "\">\n"
            << MeanJobId().toXml("", "  ") << "\n<values>\n  <realizationId>1</realizationId>\n";
  for (int index = 0; index < count; ++index) {
    std::cout << "  <parameter><id>value" << index + 1 << "</id><value>" << XmlUtils::toXml(values[index])
              << "</value></parameter>\n";
  }
  std::cout << "</values>\n</request>\n</DV_RequestPackage>\n";
  return 0;
}

int readReply(const std::string& package) {
  const ParserSession parser;
  try {
    const Document document(Drelvan::RequestXmlHelper::getInstance().parse(package));
    auto* reply = XmlUtils::getElement("reply", document->getDocumentElement());
    if (reply != nullptr && typeName(*reply) == "MeanReply") {
      std::cout << XmlUtils::getElementContent("mean", reply) << "\n";
      return 0;
    }
    const auto* exception = XmlUtils::getElement("exception", reply);
    std::cerr << "mean-client: refused: " << XmlUtils::getElementContent("message", exception) << "\n";
  } catch (const Drelvan::DvExceptionNested& failure) {
    std::cerr << "mean-client: the reply is no package: " << failure.what() << "\n";
  }
  return 1;
}

}  // namespace

int main(int argc, char* argv[]) {
  const std::string command = argc > 1 ? argv[1] : "";
  if (command == "request" && argc > 2) {
    return writeRequest(argc - 2, argv + 2);
  }
  if (command == "reply") {
    return readReply({std::istreambuf_iterator<char>(std::cin), {}});
  }
  std::cerr << "usage: mean-client request VALUE... | mean-client reply\n";
  return 2;
}
