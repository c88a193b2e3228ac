#include <service/GeneralServices.h>

#include <boost/locale/encoding_utf.hpp>
#include <boost/locale/utf.hpp>
#include <cstdint>
#include <optional>
#include <string_view>
#include <xercesc/dom/DOMNode.hpp>
#include <xercesc/util/XMLString.hpp>

namespace Drelvan {

namespace {

using xercesc_3_1::DOMElement;
using xercesc_3_1::DOMNode;
using Utf8 = boost::locale::utf::utf_traits<char>;

constexpr const char* c_replacement = "\xEF\xBF\xBD";

std::string toUtf8(const XMLCh* text) {
  return boost::locale::conv::utf_to_utf<char>(text, text + xercesc_3_1::XMLString::stringLen(text));
}

/// The name without its prefix. Elements created without namespaces have no local name in the DOM.
const XMLCh* localName(const DOMNode* node) {
  const XMLCh* local = node->getLocalName();
  if (local != nullptr) {
    return local;
  }
  const XMLCh* name = node->getNodeName();
  const int colon = xercesc_3_1::XMLString::indexOf(name, u':');
  return name + (colon + 1);
}

bool holdsText(const DOMNode* node) {
  return node->getNodeType() == DOMNode::TEXT_NODE || node->getNodeType() == DOMNode::CDATA_SECTION_NODE;
}

/// The node after `node` within `root`, children first; null at the end.
const DOMNode* nextInDocumentOrder(const DOMNode* node, const DOMNode* root) {
  if (node->getFirstChild() != nullptr) {
    return node->getFirstChild();
  }
  while (node != root && node->getNextSibling() == nullptr) {
    node = node->getParentNode();
  }
  return node == root ? nullptr : node->getNextSibling();
}

/// Whether XML 1.0 allows the character.
bool isXmlCharacter(std::uint32_t code) {
  return code == 0x9 || code == 0xA || code == 0xD || (code >= 0x20 && code <= 0xD7FF) ||
         (code >= 0xE000 && code <= 0xFFFD) || (code >= 0x10000 && code <= 0x10FFFF);
}

/// The reference to write for the character in XML; null when it needs none.
const char* referenceFor(std::uint32_t code) {
  switch (code) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&apos;";
    case '\r':
      return "&#13;";
    default:
      return isXmlCharacter(code) ? nullptr : c_replacement;
  }
}

std::optional<char> namedCharacter(std::string_view name) {
  if (name == "amp") return '&';
  if (name == "lt") return '<';
  if (name == "gt") return '>';
  if (name == "quot") return '"';
  if (name == "apos") return '\'';
  return std::nullopt;
}

std::optional<std::uint32_t> digitValue(char digit, std::uint32_t base) {
  std::uint32_t value = base;
  if (digit >= '0' && digit <= '9') {
    value = static_cast<std::uint32_t>(digit - '0');
  } else if (digit >= 'a' && digit <= 'f') {
    value = static_cast<std::uint32_t>(digit - 'a') + 10;
  } else if (digit >= 'A' && digit <= 'F') {
    value = static_cast<std::uint32_t>(digit - 'A') + 10;
  }
  return value < base ? std::optional<std::uint32_t>(value) : std::nullopt;
}

/// The character of a reference such as "#39" or "#x27"; empty when it is no reference to a character.
std::optional<std::uint32_t> numberedCharacter(std::string_view name) {
  const bool hexadecimal = name.size() > 1 && name[1] == 'x';
  const std::string_view digits = name.substr(hexadecimal ? 2 : 1);
  const std::uint32_t base = hexadecimal ? 16 : 10;
  std::uint32_t code = 0;
  for (const char digit : digits) {
    const auto value = digitValue(digit, base);
    if (!value || code > 0x10FFFF) {
      return std::nullopt;
    }
    code = code * base + *value;
  }
  const bool isCharacter = !digits.empty() && code != 0 && boost::locale::utf::is_valid_codepoint(code);
  return isCharacter ? std::optional<std::uint32_t>(code) : std::nullopt;
}

/// Appends the character that `name` (the text between `&` and `;`) refers to; false when it is no such reference.
bool appendReferenced(std::string_view name, std::string& result) {
  if (!name.empty() && name.front() == '#') {
    const auto code = numberedCharacter(name);
    if (code) {
      Utf8::encode(*code, std::back_inserter(result));
    }
    return code.has_value();
  }
  const auto character = namedCharacter(name);
  if (character) {
    result += *character;
  }
  return character.has_value();
}

}  // namespace

DOMElement* XmlUtils::getElement(const std::string& tag, const DOMElement* parent) {
  if (parent == nullptr) {
    return nullptr;
  }
  const std::u16string wanted = boost::locale::conv::utf_to_utf<char16_t>(tag);
  for (DOMElement* child = parent->getFirstElementChild(); child != nullptr; child = child->getNextElementSibling()) {
    if (xercesc_3_1::XMLString::equals(localName(child), wanted.c_str())) {
      return child;
    }
  }
  return nullptr;
}

std::string XmlUtils::getElementContent(const std::string& tag, const DOMElement* parent) {
  return getContent(getElement(tag, parent));
}

std::string XmlUtils::getContent(const DOMElement* element) {
  std::string content;
  for (const DOMNode* node = element; node != nullptr; node = nextInDocumentOrder(node, element)) {
    if (holdsText(node)) {
      content += toUtf8(node->getNodeValue());
    }
  }
  return content;
}

std::string XmlUtils::toXml(const std::string& text) {
  std::string result;
  result.reserve(text.size());
  for (auto next = text.begin(); next != text.end();) {
    const auto start = next;
    const boost::locale::utf::code_point code = Utf8::decode(next, text.end());
    if (code == boost::locale::utf::illegal || code == boost::locale::utf::incomplete) {
      next = start + 1;
      result += c_replacement;
    } else if (const char* reference = referenceFor(code)) {
      result += reference;
    } else {
      result.append(start, next);
    }
  }
  return result;
}

std::string XmlUtils::fromXml(const std::string& text) {
  const std::string_view view = text;
  std::string result;
  result.reserve(view.size());
  std::size_t done = 0;
  while (done < view.size()) {
    const std::size_t start = view.find('&', done);
    result += view.substr(done, start - done);
    if (start == std::string_view::npos) {
      break;
    }
    const std::size_t end = view.find_first_of("&;", start + 1);
    const bool closed = end != std::string_view::npos && view[end] == ';';
    if (closed && appendReferenced(view.substr(start + 1, end - start - 1), result)) {
      done = end + 1;
    } else {
      result += '&';
      done = start + 1;
    }
  }
  return result;
}

}  // namespace Drelvan
