// What a program of the service does with the library, built from outside its source tree.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractJobLog.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestServer.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/RemoteJobStatusInterface.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/WaitingFileUtilities.h>
#include <service/ExceptionHandling.h>
#include <service/FileHandling.h>
#include <service/GeneralServices.h>
#include <service/Identifier.h>
#include <service/Logging.h>
#include <service/Signals.h>
#include <service/System.h>

#include <boost/thread/thread.hpp>
#include <memory>
#include <sstream>
#include <string>
#include <vector>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>

#include "Checks.h"

namespace {

struct Release {
  void operator()(xercesc_3_1::DOMDocument* document) const { document->release(); }
};
using Document = std::unique_ptr<xercesc_3_1::DOMDocument, Release>;

Document parse(const std::string& text) { return Document(Drelvan::RequestXmlHelper::getInstance().parse(text)); }

class JobId : public Drelvan::GenericJobId {
 public:
  explicit JobId(const std::string& prefix) { setPrefixAndGenerateUniqueId(prefix); }
};

/// Adds an element for a job id and one for a host to what the base schema knows.
class SubmitSchema : public Drelvan::AbstractRequestSchema {
 public:
  SubmitSchema() {
    m_schema +=
        "\n<xs:element name='submit'><xs:complexType><xs:sequence>"
        "<xs:element name='jobId' type='dvrq:DVJobId'/>"
        "<xs:element name='host'><xs:complexType><xs:sequence>"
        "<xs:element name='name' type='xs:string'/><xs:element name='ip' type='xs:string'/>"
        "<xs:element name='requestServerPort' type='xs:int'/>"
        "</xs:sequence></xs:complexType></xs:element>"
        "</xs:sequence></xs:complexType></xs:element>\n";
  }
};

void validPackageIsRead() {
  const std::string id = Drelvan::UniqueID::generateId();
  const Document document = parse(requestPackage(id));
  const xercesc_3_1::DOMElement* request = Drelvan::XmlUtils::getElement("request", document->getDocumentElement());
  require(request != nullptr, "the request of a valid package is found");
}

void invalidPackageIsRefused() {
  std::string message;
  try {
    parse(requestPackage("no unique id"));
  } catch (const Drelvan::DvExceptionNested& refused) {
    require(refused.getGroup() == "RequestHandling", "the refusal's group, not " + refused.getGroup());
    message = refused.what();
  }
  require(!message.empty(), "an invalid package is refused with a message");
}

void jobIdReturnsFromTheCommandLine() {
  const JobId sent("Consumer");
  require(sent.isValid(), "a generated job id is valid");
  std::vector<std::string> arguments = {"job"};
  sent.toCmd(arguments);
  std::string error;
  const auto received = Drelvan::GenericJobId::fromCmd(arguments, error);
  require(error.empty() && received.isValid(), "the job id is read back: " + error);
  require(received.toString() == sent.toString(), "the job id read back is the one sent");
}

void valuesReturnFromAPackage() {
  const JobId id("Consumer");
  Drelvan::HostInfo host("fish & chips", "10.0.0.7");
  host.setRequestServerPort(5555);
  std::stringstream package;
  package << "<submit xmlns='http://drelvan.example/schemas/DVRequests.xsd'>\n";
  id.toXml(package, "  ", "  ");
  package << '\n' << host.toXmlString("host", "  ", "  ") << "\n</submit>";

  const Document document = parse(package.str());
  const xercesc_3_1::DOMElement* root = document->getDocumentElement();
  const Drelvan::GenericJobId readId(Drelvan::XmlUtils::getElement(Drelvan::GenericJobId::c_tag, root));
  const Drelvan::HostInfo readHost(Drelvan::XmlUtils::getElement("host", root));
  require(readId.toString() == id.toString(), "the job id returns from a package");
  require(readHost.toString() == host.toString(), "the host returns from a package");
}

void lastFailureOfAFileOperationArrives() {
  bool arrived = false;
  try {
    Drelvan::WaitingFileUtilities::waitingRemove(Drelvan::FileName("no/such/file"), 1, 2);
  } catch (const Drelvan::FileNameException&) {
    arrived = true;
  }
  require(arrived, "the last failure of a file operation reaches the caller");
}

void signalReachesItsListener() {
  Signals::Signal<void(int)> signal;
  int received = 0;
  const Signals::ScopedConnection connection = signal.connect([&received](int value) { received = value; });
  boost::thread([&signal] { signal(7); }).join();
  require(received == 7, "a signal reaches its listener");
}

}  // namespace

int main() {
  Drelvan::RequestXmlHelper::getInstance().addSchema(SubmitSchema());
  validPackageIsRead();
  invalidPackageIsRefused();
  jobIdReturnsFromTheCommandLine();
  valuesReturnFromAPackage();
  lastFailureOfAFileOperationArrives();
  signalReachesItsListener();
  require(Drelvan::AbstractRequestServer::getInstance() == nullptr, "no server is installed");
  Drelvan::RequestXmlHelper::reset(true);
  std::cout << "consumer: everything works\n";
  return 0;
}
