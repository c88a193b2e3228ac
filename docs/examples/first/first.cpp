// Says what a package asks for, or why it is refused.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <service/ExceptionHandling.h>
#include <service/GeneralServices.h>

#include <iostream>

int main(int, char* argv[]) {
  auto& helper = Drelvan::RequestXmlHelper::getInstance();  // 1
  try {
    auto* document = helper.parseFile(argv[1], true);  // 2
    auto* request = Drelvan::XmlUtils::getElement("request", document->getDocumentElement());
    std::cout << (request != nullptr ? "a request\n" : "a reply\n");
    document->release();  // 3
  } catch (const Drelvan::DvExceptionNested& failure) {
    std::cout << failure.what() << "\n";  // 4
  }
  Drelvan::RequestXmlHelper::reset(true);  // 5
}
