#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <examples/parameter_sweep/common/PackageReader.h>
#include <examples/parameter_sweep/common/SweepNames.h>
#include <service/GeneralServices.h>
#include <service/Xerces.h>

#include <algorithm>
#include <boost/algorithm/string/trim.hpp>
#include <boost/lexical_cast/try_lexical_convert.hpp>
#include <boost/locale/encoding_utf.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/util/XMLString.hpp>

namespace ParameterSweep {

namespace {

using Drelvan::RequestXmlHelper;
using Drelvan::XmlUtils;
using xercesc_3_1::DOMDocument;
using xercesc_3_1::DOMElement;

struct ReleaseDocument {
  void operator()(DOMDocument* document) const { document->release(); }
};
using Document = std::unique_ptr<DOMDocument, ReleaseDocument>;

Document parsed(const std::function<DOMDocument*(RequestXmlHelper&)>& parse) {
  try {
    return Document(parse(RequestXmlHelper::getInstance()));
  } catch (const Drelvan::DvExceptionNested& exception) {
    throw SweepFailure(FailureKind::MalformedPackage,
                       std::string(exception.what()) + "; send a package that follows the schema");
  }
}

Document parseText(const std::string& text) {
  // The parser ends at the first NUL and would never see what follows it.
  if (text.find('\0') != std::string::npos) {
    throw SweepFailure(FailureKind::MalformedPackage, "the package holds a NUL byte; send XML text");
  }
  return parsed([&](RequestXmlHelper& helper) { return helper.parse(text); });
}

Document parseFile(const std::filesystem::path& file) {
  return parsed([&](RequestXmlHelper& helper) { return helper.parseFile(file.string(), true); });
}

std::string getAttribute(const DOMElement& element, const char16_t* name, const char16_t* nameSpace = nullptr) {
  const XMLCh* const value = element.getAttributeNS(nameSpace, name);
  return boost::locale::conv::utf_to_utf<char>(value, value + xercesc_3_1::XMLString::stringLen(value));
}

/// The type that a request or reply states for itself, without a prefix: the schema has only one namespace.
std::string getTypeName(const DOMElement& element) {
  const std::string type = getAttribute(element, u"type", u"http://www.w3.org/2001/XMLSchema-instance");
  return boost::algorithm::trim_copy(type.substr(type.find(':') + 1));
}

bool isNamed(const DOMElement& element, const char16_t* name) {
  return xercesc_3_1::XMLString::equals(element.getLocalName(), name);
}

/// Calls `action` for each child element of `parent` with the local name `name`.
template <typename Action>
void forEachChild(const DOMElement& parent, const char16_t* name, Action action) {
  for (DOMElement* child = parent.getFirstElementChild(); child != nullptr; child = child->getNextElementSibling()) {
    if (isNamed(*child, name)) {
      action(*child);
    }
  }
}

/// A text that the schema has found to be a number of type `Number`.
template <typename Number>
Number toNumber(const char* name, const std::string& text) {
  Number number{};
  if (!boost::conversion::try_lexical_convert(boost::algorithm::trim_copy(text), number)) {
    throw SweepFailure(FailureKind::MalformedPackage, std::string(name) + " is not a number: '" + text + "'");
  }
  return number;
}

template <typename Number>
Number getNumber(const char* tag, const DOMElement& parent) {
  return toNumber<Number>(tag, XmlUtils::getElementContent(tag, &parent));
}

double getDouble(const char* tag, const DOMElement& parent) {
  const std::string text = XmlUtils::getElementContent(tag, &parent);
  if (const auto number = toDouble(text)) {
    return *number;
  }
  throw SweepFailure(FailureKind::MalformedPackage, std::string(tag) + " is not a number: '" + text + "'");
}

SweepJobId readJobId(const DOMElement& parent) {
  SweepJobId jobId{Drelvan::GenericJobId(XmlUtils::getElement(SweepJobId::c_tag, &parent))};
  if (!jobId.isSweepJob()) {
    throw SweepFailure(FailureKind::UnknownJob, "not the id of a sweep job; give the id that submit printed");
  }
  return jobId;
}

/// The element of the one request or reply, and its type without a prefix.
struct Message {
  DOMElement* element;
  std::string type;
};

Message getMessage(const DOMDocument& document, const char16_t* root, const char* child) {
  DOMElement* const top = document.getDocumentElement();
  DOMElement* const element = isNamed(*top, root) ? XmlUtils::getElement(child, top) : nullptr;
  if (element == nullptr) {
    throw SweepFailure(FailureKind::UnknownRequest, std::string("the package holds no ") + child + " for this program");
  }
  return {element, getTypeName(*element)};
}

ParameterVector readVector(const DOMElement& element) {
  ParameterVector vector;
  vector.realizationId = getNumber<std::uint32_t>("realizationId", element);
  forEachChild(element, u"parameter", [&](const DOMElement& parameter) {
    vector.parameters.push_back({XmlUtils::getElementContent("id", &parameter), getDouble("value", parameter)});
  });
  forEachChild(element, u"encryptedParameter", [](const DOMElement&) {
    throw SweepFailure(FailureKind::BadParameters, "encrypted parameters are not supported; send plain ones");
  });
  return vector;
}

Sweep readSweep(const DOMElement& element) {
  Sweep sweep;
  sweep.expression = XmlUtils::getElementContent("expression", &element);
  forEachChild(element, u"parameterVector",
               [&](const DOMElement& vector) { sweep.vectors.push_back(readVector(vector)); });
  return sweep;
}

Request readRequest(const DOMDocument& document) {
  const Message message = getMessage(document, u"DV_RequestPackage", "request");
  const auto* const found = std::find(c_requestTypeNames.begin(), c_requestTypeNames.end(), message.type);
  if (found == c_requestTypeNames.end()) {
    throw SweepFailure(FailureKind::UnknownRequest, "'" + message.type + "' is not a request of this service");
  }
  Request request;
  request.id = getAttribute(*message.element, u"id");
  request.kind = static_cast<RequestKind>(found - c_requestTypeNames.begin());
  request.jobId = readJobId(*message.element);
  if (request.kind == RequestKind::Submit) {
    request.sweep = readSweep(*message.element);
  }
  return request;
}

SweepFailure readException(const DOMElement& element) {
  const auto text = [&](const char* tag) { return XmlUtils::getElementContent(tag, &element); };
  const int line = XmlUtils::getElement("line", &element) == nullptr ? 0 : getNumber<int>("line", element);
  return {toFailureKind(text("type")), text("message"), text("function").c_str(), text("file").c_str(), line};
}

JobStatus readStatus(const DOMElement& element) {
  JobStatus status;
  status.jobId = readJobId(element);
  status.state = toJobState(XmlUtils::getElementContent("state", &element));
  status.progress = getDouble("progress", element);
  status.host = Drelvan::HostInfo(XmlUtils::getElement("host", &element));
  status.server = Drelvan::HostInfo(XmlUtils::getElement("server", &element));
  if (const DOMElement* exception = XmlUtils::getElement("exception", &element)) {
    status.failure = readException(*exception);
  }
  return status;
}

SweepResult readResult(const DOMElement& element) {
  SweepResult result{readJobId(element), {}};
  forEachChild(element, u"realization", [&](const DOMElement& child) {
    result.realizations.push_back({getNumber<std::uint32_t>("realizationId", child), getDouble("value", child)});
  });
  return result;
}

JobMessages readLog(const DOMElement& element) {
  JobMessages log{readJobId(element), {}};
  forEachChild(element, u"logMessage", [&](const DOMElement& child) {
    log.messages.push_back({toLogType(getAttribute(child, u"type")), getAttribute(child, u"group"),
                            toNumber<std::int64_t>("timestamp", getAttribute(child, u"timestamp")),
                            XmlUtils::getContent(&child)});
  });
  return log;
}

ReplyContent readContent(const Message& message) {
  if (message.type == "SweepStatusReply") {
    return readStatus(*message.element);
  }
  if (message.type == "SweepResultReply") {
    return readResult(*message.element);
  }
  if (message.type == "SweepLogReply") {
    return readLog(*message.element);
  }
  if (message.type == "SweepRefusal") {
    return readException(*XmlUtils::getElement("exception", message.element));
  }
  throw SweepFailure(FailureKind::MalformedPackage, "'" + message.type + "' is not a reply of this service");
}

Reply readReply(const DOMDocument& document, const char16_t* root) {
  const Message message = getMessage(document, root, "reply");
  return {getAttribute(*message.element, u"requestId"), readContent(message)};
}

}  // namespace

Request readRequestPackage(const std::string& package) { return readRequest(*parseText(package)); }

Request readRequestFile(const std::filesystem::path& file) { return readRequest(*parseFile(file)); }

Reply readReplyPackage(const std::string& package) { return readReply(*parseText(package), u"DV_ReplyPackage"); }

Reply readReplyFile(const std::filesystem::path& file) { return readReply(*parseFile(file), u"DV_Reply"); }

std::vector<LogMessage> readLogLines(const std::string& lines) {
  // An unfinished last line is what a job was writing when it ended.
  const std::string whole = lines.substr(0, lines.rfind('\n') + 1);
  const std::string text = std::string("<DV_Reply xmlns='") + c_packageNamespace + "' xmlns:xsi='" +
                           c_instanceNamespace + "'><reply xsi:type='SweepLogReply' requestId='" + c_noRequest + "'>" +
                           SweepJobId().toXml("", "") + whole + "</reply></DV_Reply>";
  const Document document = parseText(text);
  return std::get<JobMessages>(readReply(*document, u"DV_Reply").content).messages;
}

}  // namespace ParameterSweep
