#pragma once

// What the three programs share: the parser's life, and the reading and writing of packages.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <service/GeneralServices.h>
#include <service/Xerces.h>

#include <ctime>
#include <memory>
#include <sstream>
#include <string>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/util/XMLString.hpp>

#include "MeanSchema.h"

/// The parser with the service's fragment. One object, in `main`: it must be the last to end.
class ParserSession {
 public:
  ParserSession() { Drelvan::RequestXmlHelper::getInstance().addSchema(MeanSchema()); }
  ParserSession(const ParserSession&) = delete;
  ParserSession& operator=(const ParserSession&) = delete;
  ~ParserSession() { Drelvan::RequestXmlHelper::reset(true); }
};

struct ReleaseDocument {
  void operator()(xercesc_3_1::DOMDocument* document) const { document->release(); }
};
/// A parsed document, released with its holder.
using Document = std::unique_ptr<xercesc_3_1::DOMDocument, ReleaseDocument>;

/// The value of an attribute; empty when it is absent. For ASCII values, which those of this service are.
inline std::string attribute(const xercesc_3_1::DOMElement& element, const char16_t* name,
                             const char16_t* nameSpace = nullptr) {
  char* text = xercesc_3_1::XMLString::transcode(element.getAttributeNS(nameSpace, name));
  const std::string value = text;
  xercesc_3_1::XMLString::release(&text);
  return value;
}

/// The type that a request or reply names for itself, without its prefix.
inline std::string typeName(const xercesc_3_1::DOMElement& element) {
  const std::string type = attribute(element, u"type", u"http://www.w3.org/2001/XMLSchema-instance");
  return type.substr(type.find(':') + 1);
}

/// The present time in the form of the type `DVTimestamp`.
inline std::string timestamp() {
  const std::time_t now = std::time(nullptr);
  char text[40];
  std::strftime(text, sizeof text, "UTC/ISO_%Y-%m-%dT%H:%M:%S", std::gmtime(&now));
  return text;
}

/// The attributes that request and reply packages have in common.
inline std::string envelope(unsigned int serial) {
  return " xmlns=\"http://drelvan.example/schemas/DVRequests.xsd\""
         " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
         " version=\"5.0.0\" serial=\"" +
         std::to_string(serial) + "\" timestamp=\"" + timestamp() + "\"";
}

/// A reply package; `content` is XML, `origin` any text.
inline std::string replyPackage(const std::string& origin, const std::string& type, const std::string& requestId,
                                const std::string& content) {
  return "<DV_ReplyPackage" + envelope(1) + " origin=\"" + Drelvan::XmlUtils::toXml(origin) +
         "\">\n<reply xsi:type=\"" + type + "\" requestId=\"" + requestId + "\">\n" + content +
         "</reply>\n</DV_ReplyPackage>\n";
}
