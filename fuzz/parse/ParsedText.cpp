#include <fuzz/parse/ParsedText.h>
#include <tests/support/Documents.h>

#include <set>
#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>
#include <xercesc/dom/DOMNode.hpp>

namespace Fuzz {

namespace {

using xercesc_3_1::DOMAttr;
using xercesc_3_1::DOMNode;

std::string narrow(const XMLCh* text) { return text == nullptr ? std::string("-") : TestSupport::toUtf8(text); }

std::string nameOf(const DOMNode& node) {
  return "{" + narrow(node.getNamespaceURI()) + "}" + narrow(node.getLocalName()) + "=" + narrow(node.getNodeName());
}

std::string attributesOf(const DOMNode& element) {
  std::set<std::string> sorted;
  const xercesc_3_1::DOMNamedNodeMap* attributes = element.getAttributes();
  for (XMLSize_t index = 0; attributes != nullptr && index < attributes->getLength(); ++index) {
    const DOMNode& attribute = *attributes->item(index);
    sorted.insert(" " + nameOf(attribute) + "'" + narrow(attribute.getNodeValue()) + "'" +
                  (static_cast<const DOMAttr&>(attribute).getSpecified() ? "" : "?"));
  }
  std::string text;
  for (const std::string& attribute : sorted) {
    text += attribute;
  }
  return text;
}

void open(const DOMNode& node, std::string& text) {
  text += "<" + std::to_string(node.getNodeType()) + nameOf(node) + attributesOf(node) + narrow(node.getNodeValue());
}

/// The next node after `node` and all within it, up to the document; closes what is left on the way.
const DOMNode* following(const DOMNode* node, std::string& text) {
  while (node != nullptr && node->getNextSibling() == nullptr) {
    text += ">";
    node = node->getParentNode();
  }
  text += ">";
  return node == nullptr ? nullptr : node->getNextSibling();
}

}  // namespace

std::string textOf(const xercesc_3_1::DOMDocument& document) {
  std::string text = narrow(document.getXmlVersion());
  const DOMNode* node = document.getFirstChild();
  while (node != nullptr) {
    open(*node, text);
    node = node->getFirstChild() != nullptr ? node->getFirstChild() : following(node, text);
  }
  return text;
}

}  // namespace Fuzz
