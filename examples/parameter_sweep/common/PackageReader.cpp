#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <service/GeneralServices.h>
#include <service/Xerces.h>

#include <boost/algorithm/string/erase.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <boost/locale/encoding_utf.hpp>
#include <cstdlib>
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

JobStatus readStatus(const DOMElement& element) {
  JobStatus status{readJobId(element), fromText(getText("state", element), JobState::Unknown),
                   getNumber("progress", element), Drelvan::HostInfo(XmlUtils::getElement("host", &element)),
                   Drelvan::HostInfo(XmlUtils::getElement("server", &element))};
  if (XmlUtils::getElement("exception", &element) != nullptr) {
    status.failure = readException(element);
  }
  return status;
}

SweepResult readResult(const DOMElement& element) {
  SweepResult result{readJobId(element)};
  forEachChild(element, u"realization", [&](const DOMElement& child) {
    result.realizations.push_back({getRealizationId(child), getNumber("value", child)});
  });
  return result;
}

JobMessages readLog(const DOMElement& element) {
  JobMessages log{readJobId(element)};
  forEachChild(element, u"logMessage", [&](const DOMElement& child) {
    log.messages.push_back({fromText(getAttribute(child, u"type"), LogMessage::Type::Info),
                            getAttribute(child, u"group"), std::stoll(getAttribute(child, u"timestamp")),
                            XmlUtils::getContent(&child)});
  });
  return log;
}

ReplyContent readContent(const Message& message) {
  if (message.type == JobStatus::c_type) {
    return readStatus(message.element);
  }
  if (message.type == SweepResult::c_type) {
    return readResult(message.element);
  }
  if (message.type == JobMessages::c_type) {
    return readLog(message.element);
  }
  if (message.type == SweepFailure::c_type) {
    return readException(message.element);
  }
  throw SweepFailure(FailureKind::MalformedPackage, "'" + message.type + "' is not a reply of this service");
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
  request.jobId = readJobId(element);
  request.sweep.expression = getText("expression", element);
  forEachChild(element, u"parameterVector",
               [&](const DOMElement& vector) { request.sweep.vectors.push_back(readVector(vector)); });
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
