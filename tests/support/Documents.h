#pragma once

#include <service/Xerces.h>

#include <cstddef>
#include <memory>
#include <string>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/util/TransService.hpp>
#include <xercesc/util/XMLString.hpp>

namespace TestSupport {

/// Xerces-C's text as UTF-8, whatever the locale. Needs a started platform; null counts as empty.
inline std::string toUtf8(const XMLCh* text) {
  if (text == nullptr || *text == 0) {
    return {};
  }
  const xercesc_3_1::TranscodeToStr utf8(text, "UTF-8");
  return {reinterpret_cast<const char*>(utf8.str()), static_cast<std::size_t>(utf8.length())};
}

/// UTF-8 as Xerces-C's text, for as long as this object lives.
class WideText {
 public:
  explicit WideText(const std::string& utf8)
      : m_text(reinterpret_cast<const XMLByte*>(utf8.data()), utf8.size(), "UTF-8") {}

  const XMLCh* get() const { return m_text.str(); }

 private:
  xercesc_3_1::TranscodeFromStr m_text;
};

struct ReleaseDocument {
  void operator()(xercesc_3_1::DOMDocument* document) const { document->release(); }
};

/// A parsed document that the test owns; it must end before the platform does.
using Document = std::unique_ptr<xercesc_3_1::DOMDocument, ReleaseDocument>;

inline std::string rootName(const Document& document) { return toUtf8(document->getDocumentElement()->getLocalName()); }

/// The value of an attribute without a prefix; empty when there is none.
inline std::string attribute(const xercesc_3_1::DOMElement* element, const std::string& name) {
  return toUtf8(element->getAttribute(WideText(name).get()));
}

inline bool hasAttribute(const xercesc_3_1::DOMElement* element, const std::string& name) {
  return element->hasAttribute(WideText(name).get());
}

}  // namespace TestSupport
