#pragma once

#include <service/DVMService_GeneralServices_export.h>
#include <service/Xerces.h>

#include <string>
#include <xercesc/dom/DOMElement.hpp>

namespace Drelvan {

/// Reading values out of parsed elements, and escaping text for XML.
///
/// Threads: no state; elements of one document must not be changed by another thread meanwhile.
/// All text is UTF-8, whatever the locale.
class DVMSERVICE_GENERALSERVICES_EXPORT XmlUtils {
 public:
  /// The first direct child element of `parent` whose local name is `tag`, whatever its prefix. Null when there is
  /// none or `parent` is null. The document keeps the ownership.
  static xercesc_3_1::DOMElement* getElement(const std::string& tag, const xercesc_3_1::DOMElement* parent);

  /// The content of that child as by `getContent`; empty when there is none.
  static std::string getElementContent(const std::string& tag, const xercesc_3_1::DOMElement* parent);

  /// All text within `element`, at any depth, comments and processing instructions left out, not trimmed. Empty for
  /// null. Does not recurse, however deep the element is.
  static std::string getContent(const xercesc_3_1::DOMElement* element);

  /// `text` for use as XML content or attribute value: `&`, `<`, `>`, both quotes and the carriage return become
  /// references, and what XML 1.0 cannot carry (other control characters, each byte that is not UTF-8) becomes U+FFFD.
  static std::string toXml(const std::string& text);

  /// Undoes the five named and all numeric character references; anything else is left as it stands, a reference to no
  /// character included.
  static std::string fromXml(const std::string& text);

 private:
  XmlUtils();
};

}  // namespace Drelvan
