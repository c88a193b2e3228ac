// A program on a service layer that is not the library's own: the library must call that layer, operation by operation.

#include <Calls.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractJobLog.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/WaitingFileUtilities.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <service/ExceptionHandling.h>

#include <sstream>
#include <string>
#include <vector>
#include <xercesc/dom/DOMDocument.hpp>

#include "Checks.h"

namespace {

using Drelvan::RequestXmlHelper;

class JobId : public Drelvan::GenericJobId {
 public:
  explicit JobId(const std::string& prefix) { setPrefixAndGenerateUniqueId(prefix); }
};

/// Knows nothing but its shape.
class JobLog : public Drelvan::AbstractJobLog {
 public:
  void append(const Message& message) override { m_messageAppended(message); }
  std::vector<Message> getMessages() const override { return {}; }
  Drelvan::GenericJobId getJobId() const override { return {}; }
  void clear() override {}
};

class JobElementSchema : public Drelvan::AbstractRequestSchema {
 public:
  JobElementSchema() { m_schema += "\n<xs:element name='job' type='dvrq:DVJobId'/>\n"; }
};

void validPackageIsRead() {
  const std::string id = std::string(16, 'a') + "-" + std::string(16, 'b') + "-" + std::string(16, 'c');
  require(Drelvan::PackageDocument::fromText(requestPackage(id)).getRequest().getAttribute<std::string>("id") == id,
          "the id returns from a package");
}

void refusalIsTheSitesException() {
  std::string message;
  try {
    RequestXmlHelper::getInstance().parse(requestPackage("no unique id"));
  } catch (const Drelvan::DvExceptionNested& refused) {
    message = refused.what();
  }
  require(message.rfind("site: ", 0) == 0, "the refusal is the site's exception, not '" + message + "'");
}

void missingValueIsTheSitesException() {
  const std::string id = std::string(16, 'a') + "-" + std::string(16, 'b') + "-" + std::string(16, 'c');
  const auto document = Drelvan::PackageDocument::fromText(requestPackage(id));
  std::string message;
  try {
    document.getRequest().get<int>("number");
  } catch (const Drelvan::DvException& missing) {
    message = missing.what();
  }
  require(message == "site: /DV_RequestPackage/request/number: missing; expected xs:int",
          "a missing value is the site's exception, not '" + message + "'");
}

void jobIdHasTheSitesUniqueId() {
  const JobId id("Site");
  require(id.isValid() && id.toString() == "Site_0000000000#00000000000000aa-00000000000000bb-00000000000000cc",
          "the job id carries the site's unique id, not " + id.toString());
  const auto document =
      Drelvan::PackageDocument::fromText("<job xmlns='http://drelvan.example/schemas/DVRequests.xsd'><id>" +
                                         id.getUniqueId() + "</id><name>" + id.getName() + "</name></job>");
  const Drelvan::GenericJobId read(document.getDocument().getDocumentElement());
  require(read.toString() == id.toString(), "the job id returns from a package");
}

void hostNameIsEscapedByTheSite() {
  Drelvan::HostInfo host("name", "");
  require(host.toXmlString("host", "", "").find("<name>site-name</name>") != std::string::npos,
          "the site's layer escapes the host's name");
}

void fileOperationsAreTheSites() {
  const auto failure = [](auto operation) {
    try {
      operation();
    } catch (const Drelvan::FileNameException& exception) {
      return exception.getGroup();
    }
    return std::string();
  };
  using Files = Drelvan::WaitingFileUtilities;
  require(failure([] { Files::waitingCopy("a", "b", 0, 2); }) == "Site", "the site's layer copies");
  require(failure([] { Files::waitingRename("a", "b", 0, 1); }) == "Site", "the site's layer renames");
  require(failure([] { Files::waitingRemove("a", 0, 1); }) == "Site", "the site's layer removes");
}

void missingFileIsReported() {
  bool refused = false;
  try {
    RequestXmlHelper::getInstance().parseFile("no/such/file", true);
  } catch (const Drelvan::DvExceptionNested&) {
    refused = true;
  }
  require(refused, "a missing file is refused");
}

void signalIsTheSites() {
  JobLog log;
  std::string received;
  log.m_messageAppended.connect([&received](const JobLog::Message& message) { received = message.text; });
  log.append({JobLog::Message::Type::Info, "consumer", 0, "hello"});
  require(received == "hello", "a signal of the site reaches its listener");
}

const std::vector<std::string> c_usedOperations = {
    "DvExceptionNested::DvExceptionNested",
    "FileName::toString",
    "FileUtilities::copyFile",
    "FileUtilities::exists",
    "FileUtilities::remove",
    "FileUtilities::rename",
    "Logging::Logging",
    "Logging::logDEBUG",
    "Logging::logERROR",
    "Logging::logINFO",
    "Logging::logTRACE",
    "Logging::logWARN",
    "SignalHandler::SignalHandler",
    "SignalHandler::~SignalHandler",
    "Trackable::Trackable",
    "Trackable::~Trackable",
    "UniqueID::generateId",
    "UniqueID::idCheckOK",
    "XercesInitializationMutex::getMutex",
    "XmlUtils::getElement",
    "XmlUtils::toXml",
};

void everyOperationWasCalled() {
  const auto calls = Site::calls();
  for (const std::string& operation : c_usedOperations) {
    require(calls.count(operation) == 1, "the library calls the site's " + operation);
  }
  std::cout << "external consumer: the library called " << calls.size() << " operations of the site's service layer\n";
}

}  // namespace

int main() {
  RequestXmlHelper::getInstance().addSchema(JobElementSchema());
  validPackageIsRead();
  refusalIsTheSitesException();
  missingValueIsTheSitesException();
  jobIdHasTheSitesUniqueId();
  hostNameIsEscapedByTheSite();
  fileOperationsAreTheSites();
  missingFileIsReported();
  signalIsTheSites();
  RequestXmlHelper::reset(true);
  everyOperationWasCalled();
  return 0;
}
