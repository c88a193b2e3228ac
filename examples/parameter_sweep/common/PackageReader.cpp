#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <service/GeneralServices.h>
#include <service/Xerces.h>

#include <boost/algorithm/string/erase.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <boost/locale/encoding_utf.hpp>
#include <charconv>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/util/XMLString.hpp>

namespace ParameterSweep {

namespace {

using Drelvan::XmlUtils;
using xercesc_3_1::DOMDocument;
using xercesc_3_1::DOMElement;
using xercesc_3_1::XMLString;

struct ReleaseDocument {
  void operator()(DOMDocument* document) const { document->release(); }
};
using Document = std::unique_ptr<DOMDocument, ReleaseDocument>;

Document parse(const std::string& package) {
  // The parser ends at the first NUL and would never see what follows it.
  if (package.find('\0') != std::string::npos) {
    throw SweepFailure(FailureKind::MalformedPackage, "the package holds a NUL byte; send XML text");
  }
  try {
    return Document(Drelvan::RequestXmlHelper::getInstance().parse(package));
  } catch (const Drelvan::DvExceptionNested& exception) {
    throw SweepFailure(FailureKind::MalformedPackage,
                       exception.getMessage() + "; send a package that follows the schema");
  }
}

std::string getText(const char* tag, const DOMElement& parent) { return XmlUtils::getElementContent(tag, &parent); }

/// The schema has seen to it that the text is a number, whatever its kind.
double getNumber(const char* tag, const DOMElement& parent) {
  return std::strtod(getText(tag, parent).c_str(), nullptr);
}

std::uint32_t getRealizationId(const DOMElement& parent) {
  return static_cast<std::uint32_t>(getNumber("realizationId", parent));
}

std::string getAttribute(const DOMElement& element, const char16_t* name, const char16_t* nameSpace = nullptr) {
  const XMLCh* const value = element.getAttributeNS(nameSpace, name);
  return boost::locale::conv::utf_to_utf<char>(value, value + XMLString::stringLen(value));
}

/// Calls `action` for each child element of `parent` with the local name `name`.
template <typename Action>
void forEachChild(const DOMElement& parent, const char16_t* name, Action action) {
  for (DOMElement* child = parent.getFirstElementChild(); child != nullptr; child = child->getNextElementSibling()) {
    if (XMLString::equals(child->getLocalName(), name)) {
      action(*child);
    }
  }
}

/// The one request or reply of a package.
struct Message {
  const DOMElement& element;
  std::string type;  ///< without a prefix: the schema has only one namespace
};

Message getMessage(const DOMDocument& document, const char16_t* root, const char* tag) {
  const DOMElement* const top = document.getDocumentElement();
  const DOMElement* const element =
      XMLString::equals(top->getLocalName(), root) ? XmlUtils::getElement(tag, top) : nullptr;
  if (element == nullptr) {
    throw SweepFailure(FailureKind::UnknownRequest, std::string("the package holds no ") + tag + " for this program");
  }
  const std::string type = getAttribute(*element, u"type", u"http://www.w3.org/2001/XMLSchema-instance");
  return {*element, boost::algorithm::trim_copy(type.substr(type.find(':') + 1))};
}

SweepJobId readJobId(const DOMElement& parent) {
  return SweepJobId(Drelvan::GenericJobId(XmlUtils::getElement(SweepJobId::c_tag, &parent)));
}

ParameterVector readVector(const DOMElement& element) {
  ParameterVector vector{getRealizationId(element), {}};
  forEachChild(element, u"parameter", [&](const DOMElement& parameter) {
    vector.parameters.push_back({getText("id", parameter), getNumber("value", parameter)});
  });
  forEachChild(element, u"encryptedParameter", [](const DOMElement&) {
    throw SweepFailure(FailureKind::BadParameters, "encrypted parameters are not supported; send plain ones");
  });
  return vector;
}

SweepFailure readException(const DOMElement& parent) {
  const DOMElement& element = *XmlUtils::getElement("exception", &parent);
  return {fromText(getText("type", element), FailureKind::Internal), getText("message", element),
          getText("function", element).c_str(), getText("file", element).c_str(),
          static_cast<int>(getNumber("line", element))};
}

/// Zero where the element is left out.
template <typename Number>
Number getOptionalNumber(const char* tag, const DOMElement& parent) {
  Number number{};
  const std::string text = boost::algorithm::trim_copy(getText(tag, parent));
  const std::size_t begin = text.find_first_not_of('+');
  if (begin != std::string::npos) {
    const char* const end = text.data() + text.size();
    if (std::from_chars(text.data() + begin, end, number).ec != std::errc()) {
      throw SweepFailure(FailureKind::MalformedPackage, "the number '" + text + "' of " + tag + " is out of range");
    }
  }
  return number;
}

bool getFlag(const char* tag, const DOMElement& parent) {
  const std::string text = boost::algorithm::trim_copy(getText(tag, parent));
  return text == "true" || text == "1";
}

Drelvan::HostInfo getHost(const char* tag, const DOMElement& parent) {
  DOMElement* const host = XmlUtils::getElement(tag, &parent);
  return host == nullptr ? Drelvan::HostInfo() : Drelvan::HostInfo(host);
}

JobStatus readStatus(const DOMElement& element) {
  JobStatus status;
  status.jobId = readJobId(element);
  status.title = getText("title", element);
  status.owner = getText("owner", element);
  status.state = fromText(getText("state", element), JobState::Unknown);
  status.progress = getNumber("progress", element);
  status.host = getHost("host", element);
  status.server = getHost("server", element);
  status.priority = getOptionalNumber<std::int32_t>("priority", element);
  status.realizations = getOptionalNumber<std::uint64_t>("realizations", element);
  status.parts = getOptionalNumber<std::uint32_t>("parts", element);
  status.partsDone = getOptionalNumber<std::uint32_t>("partsDone", element);
  status.partsRunning = getOptionalNumber<std::uint32_t>("partsRunning", element);
  status.submitted = getOptionalNumber<std::int64_t>("submitted", element);
  status.started = getOptionalNumber<std::int64_t>("started", element);
  status.ended = getOptionalNumber<std::int64_t>("ended", element);
  if (XmlUtils::getElement("exception", &element) != nullptr) {
    status.failure = readException(element);
  }
  return status;
}

SweepResult readResult(const DOMElement& element) {
  SweepResult result{readJobId(element)};
  result.first = getOptionalNumber<std::uint64_t>("first", element);
  result.total = getOptionalNumber<std::uint64_t>("total", element);
  forEachChild(element, u"realization", [&](const DOMElement& child) {
    result.realizations.push_back({getRealizationId(child), getNumber("value", child)});
  });
  return result;
}

JobMessages readLog(const DOMElement& element) {
  JobMessages log{readJobId(element)};
  log.next = getOptionalNumber<std::uint64_t>("next", element);
  forEachChild(element, u"logMessage", [&](const DOMElement& child) {
    log.messages.push_back({fromText(getAttribute(child, u"type"), LogMessage::Type::Info),
                            getAttribute(child, u"group"), std::stoll(getAttribute(child, u"timestamp")),
                            XmlUtils::getContent(&child)});
  });
  return log;
}

PackageReceived readReceived(const DOMElement& element) {
  return {readJobId(element), getOptionalNumber<std::uint32_t>("packages", element),
          getOptionalNumber<std::uint64_t>("realizations", element)};
}

JobOutput readOutput(const DOMElement& element) {
  return {readJobId(element), getOptionalNumber<std::uint64_t>("next", element), getFlag("more", element),
          getText("text", element)};
}

JobList readList(const DOMElement& element) {
  JobList list;
  list.next = getOptionalNumber<std::uint64_t>("next", element);
  forEachChild(element, u"job", [&](const DOMElement& job) { list.jobs.push_back(readStatus(job)); });
  return list;
}

JobRemoved readRemoved(const DOMElement& element) { return {readJobId(element)}; }

ServerHealth readHealth(const DOMElement& element) {
  return {getHost("server", element),
          getText("version", element),
          getNumber("upSeconds", element),
          getText("engine", element),
          getText("engineError", element),
          getText("storeError", element),
          getOptionalNumber<std::uint64_t>("queued", element),
          getOptionalNumber<std::uint64_t>("running", element),
          getOptionalNumber<std::uint64_t>("partsRunning", element),
          getOptionalNumber<std::uint64_t>("bytesFree", element)};
}

ReplyContent readContent(const Message& message) {
  using Reader = ReplyContent (*)(const DOMElement&);
  static const std::map<std::string, Reader> s_readers{
      {JobStatus::c_type, [](const DOMElement& reply) -> ReplyContent { return readStatus(reply); }},
      {SweepResult::c_type, [](const DOMElement& reply) -> ReplyContent { return readResult(reply); }},
      {JobMessages::c_type, [](const DOMElement& reply) -> ReplyContent { return readLog(reply); }},
      {SweepFailure::c_type, [](const DOMElement& reply) -> ReplyContent { return readException(reply); }},
      {PackageReceived::c_type, [](const DOMElement& reply) -> ReplyContent { return readReceived(reply); }},
      {JobOutput::c_type, [](const DOMElement& reply) -> ReplyContent { return readOutput(reply); }},
      {JobList::c_type, [](const DOMElement& reply) -> ReplyContent { return readList(reply); }},
      {JobRemoved::c_type, [](const DOMElement& reply) -> ReplyContent { return readRemoved(reply); }},
      {ServerHealth::c_type, [](const DOMElement& reply) -> ReplyContent { return readHealth(reply); }}};
  const auto reader = s_readers.find(message.type);
  if (reader == s_readers.end()) {
    throw SweepFailure(FailureKind::MalformedPackage, "'" + message.type + "' is not a reply of this service");
  }
  return reader->second(message.element);
}

void readSubmission(const DOMElement& element, Request& request) {
  request.title = getText("title", element);
  request.priority = getOptionalNumber<std::int32_t>("priority", element);
  request.partSize = getOptionalNumber<std::uint32_t>("partSize", element);
  request.more = getFlag("more", element);
  request.packageNumber =
      request.kind == RequestKind::Append ? getOptionalNumber<std::uint32_t>("packageNumber", element) : 1;
  request.sweep.expression = getText("expression", element);
  forEachChild(element, u"parameterVector",
               [&](const DOMElement& vector) { request.sweep.vectors.push_back(readVector(vector)); });
}

void readQuestion(const DOMElement& element, Request& request) {
  request.after = getOptionalNumber<std::uint64_t>("after", element);
  request.before = getOptionalNumber<std::uint64_t>("before", element);
  request.skip = getOptionalNumber<std::uint64_t>("skip", element);
  request.count = getOptionalNumber<std::uint64_t>("count", element);
  if (XmlUtils::getElement("state", &element) != nullptr) {
    request.state = fromText(getText("state", element), JobState::Unknown);
  }
  if (XmlUtils::getElement("owner", &element) != nullptr) {
    request.owner = getText("owner", element);
  }
  if (DOMElement* const job = XmlUtils::getElement("ofJob", &element)) {
    request.ofJob = SweepJobId(Drelvan::GenericJobId(job));
  }
}

}  // namespace

Request readRequestPackage(const std::string& package) {
  const Document document = parse(package);
  const auto [element, type] = getMessage(*document, u"DV_RequestPackage", "request");
  Request request;
  std::string kind = type;
  boost::algorithm::erase_first(kind, "Sweep");
  boost::algorithm::erase_last(kind, "Request");
  if (!boost::describe::enum_from_string(kind.c_str(), request.kind)) {
    throw SweepFailure(FailureKind::UnknownRequest, "'" + type + "' is not a request of this service");
  }
  request.id = getAttribute(element, u"id");
  if (request.kind != RequestKind::List && request.kind != RequestKind::Ping) {
    request.jobId = readJobId(element);
  }
  readSubmission(element, request);
  readQuestion(element, request);
  return request;
}

Reply readReplyPackage(const std::string& package) {
  const Document document = parse(package);
  const Message message = getMessage(*document, u"DV_ReplyPackage", "reply");
  return {readContent(message), getAttribute(message.element, u"requestId")};
}

std::vector<LogMessage> readLogLines(const std::string& lines) {
  std::string package = writeReplyPackage({JobMessages()}, "");
  std::istringstream stream(lines);
  for (std::string line; std::getline(stream, line);) {
    // An unfinished line is what a job was writing when it ended.
    if (boost::algorithm::starts_with(line, "<logMessage ") && boost::algorithm::ends_with(line, "</logMessage>")) {
      package.insert(package.find("</reply>"), line);
    }
  }
  return std::get<JobMessages>(readReplyPackage(package).content).messages;
}

}  // namespace ParameterSweep
