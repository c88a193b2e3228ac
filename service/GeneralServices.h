#pragma once

#include <service/DVMService_GeneralServices_export.h>
#include <service/Xerces.h>

#include <string>
#include <xercesc/dom/DOMElement.hpp>

namespace Drelvan {

/// Reads values from parsed elements, and escapes text for XML.
///
/// Threads: no state; elements of one document must not be changed by another thread meanwhile.
/// All text is UTF-8, whatever the locale.
class DVMSERVICE_GENERALSERVICES_EXPORT XmlUtils {
 public:
  /// The first direct child element of `parent` whose local name is `tag`, whatever its prefix. Null when there is
  /// none or `parent` is null. The document owns the element.
  static xercesc_3_1::DOMElement* getElement(const std::string& tag, const xercesc_3_1::DOMElement* parent);

  /// The content of that child, as `getContent` returns it; empty when there is none.
  static std::string getElementContent(const std::string& tag, const xercesc_3_1::DOMElement* parent);

  /// All text in `element`, at any depth, without comments and processing instructions, not trimmed. Empty for null.
  /// Does not recurse.
  static std::string getContent(const xercesc_3_1::DOMElement* element);

  /// `text` for use as XML content or attribute value: `&`, `<`, `>`, both quotes and the carriage return become
  /// references; what XML 1.0 does not allow (other control characters, each byte that is not UTF-8) becomes U+FFFD.
  static std::string toXml(const std::string& text);

  /// Replaces the five named and all numeric character references by their characters. Anything else is unchanged, also
  /// a reference to no character.
  static std::string fromXml(const std::string& text);

 private:
  XmlUtils();
};

}  // namespace Drelvan
