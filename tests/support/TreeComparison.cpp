#include <tests/support/Documents.h>
#include <tests/support/TreeComparison.h>

#include <cstddef>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>
#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMComment.hpp>
#include <xercesc/dom/DOMDocumentType.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/dom/DOMImplementation.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>
#include <xercesc/dom/DOMNodeList.hpp>
#include <xercesc/dom/DOMProcessingInstruction.hpp>
#include <xercesc/dom/DOMText.hpp>
#include <xercesc/dom/DOMTypeInfo.hpp>
#include <xercesc/util/XMLString.hpp>

namespace TestSupport {

namespace {

using xercesc_3_1::DOMAttr;
using xercesc_3_1::DOMDocument;
using xercesc_3_1::DOMElement;
using xercesc_3_1::DOMNamedNodeMap;
using xercesc_3_1::DOMNode;
using xercesc_3_1::DOMText;
using xercesc_3_1::XMLString;

/// What costs more with the depth of a node, or the length of a list, is compared for the nodes up to this one only.
constexpr std::size_t c_nearRoot = 40;

/// For so many nodes of a document, the lookups that go through its other nodes are compared.
constexpr std::size_t c_lookups = 100;

/// Two nodes at the same place of two documents.
struct Pair {
  const DOMNode* left;
  const DOMNode* right;
  std::size_t depth;
};

/// The path of a node, for a person to find it.
std::string pathOf(const DOMNode* node) {
  std::string path;
  for (; node != nullptr && node->getNodeType() != DOMNode::DOCUMENT_NODE; node = node->getParentNode()) {
    path.insert(0, "/" + toUtf8(node->getNodeName()));
  }
  return path.empty() ? "/" : path;
}

/// Collects what differs, up to the first difference.
class Difference {
 public:
  bool isFound() const { return !m_text.empty(); }
  const std::string& text() const { return m_text; }
  void at(const DOMNode* node) { m_node = node; }

  void require(const char* property, bool holds) {
    if (!holds && !isFound()) {
      m_text = pathOf(m_node) + ": " + property;
    }
  }
  void compare(const char* property, const XMLCh* left, const XMLCh* right) {
    // Null and the empty text are told from each other too.
    if ((left == nullptr) != (right == nullptr) || !XMLString::equals(left, right)) {
      require((std::string(property) + ": '" + toUtf8(left) + "' and '" + toUtf8(right) + "'").c_str(), false);
    }
  }
  template <typename Value>
  void compareValues(const char* property, Value left, Value right) {
    if (!(left == right)) {
      std::ostringstream text;
      text << property << ": " << left << " and " << right;
      require(text.str().c_str(), false);
    }
  }

 private:
  const DOMNode* m_node = nullptr;
  std::string m_text;
};

/// Compares two documents node by node, without recursion.
class Comparison {
 public:
  std::string run(const DOMDocument& left, const DOMDocument& right) {
    compareDocuments(left, right);
    m_open.push_back({&left, &right, 0});
    while (!m_open.empty() && !m_difference.isFound()) {
      const Pair pair = m_open.back();
      m_open.pop_back();
      compareNodes(pair);
    }
    return m_difference.text();
  }

 private:
  void compareDocuments(const DOMDocument& left, const DOMDocument& right) {
    m_difference.at(&left);
    m_difference.compare("document URI", left.getDocumentURI(), right.getDocumentURI());
    m_difference.compare("input encoding", left.getInputEncoding(), right.getInputEncoding());
    m_difference.compare("XML encoding", left.getXmlEncoding(), right.getXmlEncoding());
    m_difference.compare("XML version", left.getXmlVersion(), right.getXmlVersion());
    m_difference.compareValues("standalone", left.getXmlStandalone(), right.getXmlStandalone());
    m_difference.compareValues("strictness", left.getStrictErrorChecking(), right.getStrictErrorChecking());
    m_difference.require("equality of the documents", left.isEqualNode(&right) && right.isEqualNode(&left));
    compareDoctypes(left.getDoctype(), right.getDoctype());
  }

  void compareDoctypes(const xercesc_3_1::DOMDocumentType* left, const xercesc_3_1::DOMDocumentType* right) {
    m_difference.require("document type", (left == nullptr) == (right == nullptr));
    if (left == nullptr || right == nullptr) {
      return;
    }
    m_difference.compare("document type name", left->getName(), right->getName());
    m_difference.compare("public id", left->getPublicId(), right->getPublicId());
    m_difference.compare("system id", left->getSystemId(), right->getSystemId());
    m_difference.compare("internal subset", left->getInternalSubset(), right->getInternalSubset());
    openAll(left->getEntities(), right->getEntities());
    openAll(left->getNotations(), right->getNotations());
  }

  void openAll(const DOMNamedNodeMap* left, const DOMNamedNodeMap* right) {
    m_difference.compareValues("number of named nodes", left->getLength(), right->getLength());
    for (XMLSize_t index = 0; index < left->getLength() && !m_difference.isFound(); ++index) {
      m_open.push_back({left->item(index), right->item(index), c_nearRoot});
    }
  }

  void compareNodes(const Pair& pair) {
    const DOMNode& left = *pair.left;
    const DOMNode& right = *pair.right;
    m_difference.at(&left);
    compareNames(left, right);
    m_difference.compareValues("type", left.getNodeType(), right.getNodeType());
    if (m_difference.isFound()) {
      return;
    }
    if (pair.depth < c_nearRoot && m_lookups < c_lookups) {
      ++m_lookups;
      compareLookups(left, right);
    }
    switch (left.getNodeType()) {
      case DOMNode::ELEMENT_NODE:
        compareElements(static_cast<const DOMElement&>(left), static_cast<const DOMElement&>(right), pair.depth);
        break;
      case DOMNode::ATTRIBUTE_NODE:
        compareAttributes(static_cast<const DOMAttr&>(left), static_cast<const DOMAttr&>(right));
        break;
      case DOMNode::TEXT_NODE:
      case DOMNode::CDATA_SECTION_NODE:
        compareTexts(static_cast<const DOMText&>(left), static_cast<const DOMText&>(right));
        break;
      default:
        break;
    }
    compareChildren(pair);
  }

  void compareNames(const DOMNode& left, const DOMNode& right) {
    m_difference.compare("name", left.getNodeName(), right.getNodeName());
    m_difference.compare("value", left.getNodeValue(), right.getNodeValue());
    m_difference.compare("local name", left.getLocalName(), right.getLocalName());
    m_difference.compare("prefix", left.getPrefix(), right.getPrefix());
    m_difference.compare("namespace", left.getNamespaceURI(), right.getNamespaceURI());
    m_difference.compareValues("having children", left.hasChildNodes(), right.hasChildNodes());
    m_difference.compareValues("having attributes", left.hasAttributes(), right.hasAttributes());
  }

  void compareLookups(const DOMNode& left, const DOMNode& right) {
    m_difference.compare("base URI", left.getBaseURI(), right.getBaseURI());
    m_difference.compare("prefix of its namespace", left.lookupPrefix(left.getNamespaceURI()),
                         right.lookupPrefix(right.getNamespaceURI()));
    m_difference.compare("namespace of its prefix", left.lookupNamespaceURI(left.getPrefix()),
                         right.lookupNamespaceURI(right.getPrefix()));
    m_difference.compareValues("default namespace", left.isDefaultNamespace(left.getNamespaceURI()),
                               right.isDefaultNamespace(right.getNamespaceURI()));
    m_difference.require("equality of the nodes", left.isEqualNode(&right));
  }

  void compareElements(const DOMElement& left, const DOMElement& right, std::size_t depth) {
    m_difference.compare("tag name", left.getTagName(), right.getTagName());
    m_difference.compare("type name", left.getSchemaTypeInfo()->getTypeName(),
                         right.getSchemaTypeInfo()->getTypeName());
    m_difference.compareValues("number of child elements", left.getChildElementCount(), right.getChildElementCount());
    const DOMNamedNodeMap& leftMap = *left.getAttributes();
    const DOMNamedNodeMap& rightMap = *right.getAttributes();
    m_difference.compareValues("number of attributes", leftMap.getLength(), rightMap.getLength());
    for (XMLSize_t index = 0; index < leftMap.getLength() && !m_difference.isFound(); ++index) {
      m_difference.require("owner of an attribute", isMember(left, leftMap, index) && isMember(right, rightMap, index));
      if (index < c_nearRoot) {
        compareFound(leftMap, rightMap, index);
      }
      m_open.push_back({leftMap.item(index), rightMap.item(index), depth + 1});
    }
  }

  static bool isMember(const DOMElement& element, const DOMNamedNodeMap& map, XMLSize_t index) {
    const auto* attribute = static_cast<const DOMAttr*>(map.item(index));
    return attribute->getOwnerElement() == &element && attribute->getParentNode() == nullptr;
  }

  /// What the maps find by the names of the attribute at `index`: another one, where two have the same name.
  void compareFound(const DOMNamedNodeMap& left, const DOMNamedNodeMap& right, XMLSize_t index) {
    const DOMNode& leftNode = *left.item(index);
    const DOMNode& rightNode = *right.item(index);
    m_difference.compareValues("attribute by name", left.getNamedItem(leftNode.getNodeName()) == &leftNode,
                               right.getNamedItem(rightNode.getNodeName()) == &rightNode);
    if (leftNode.getLocalName() != nullptr && rightNode.getLocalName() != nullptr) {
      m_difference.compareValues(
          "attribute by local name",
          left.getNamedItemNS(leftNode.getNamespaceURI(), leftNode.getLocalName()) == &leftNode,
          right.getNamedItemNS(rightNode.getNamespaceURI(), rightNode.getLocalName()) == &rightNode);
    }
  }

  void compareAttributes(const DOMAttr& left, const DOMAttr& right) {
    m_difference.compare("attribute value", left.getValue(), right.getValue());
    m_difference.compareValues("being specified", left.getSpecified(), right.getSpecified());
    m_difference.compareValues("being an id", left.isId(), right.isId());
    m_difference.compare("attribute type", left.getSchemaTypeInfo()->getTypeName(),
                         right.getSchemaTypeInfo()->getTypeName());
    if (left.isId() && right.isId()) {
      compareElementsById(left, right);
    }
  }

  void compareElementsById(const DOMAttr& left, const DOMAttr& right) {
    const DOMElement* leftFound = left.getOwnerDocument()->getElementById(left.getValue());
    const DOMElement* rightFound = right.getOwnerDocument()->getElementById(right.getValue());
    m_difference.compareValues("element by id", leftFound == left.getOwnerElement(),
                               rightFound == right.getOwnerElement());
  }

  void compareTexts(const DOMText& left, const DOMText& right) {
    m_difference.compare("data", left.getData(), right.getData());
    m_difference.compareValues("length", left.getLength(), right.getLength());
    m_difference.compareValues("ignorable whitespace", left.isIgnorableWhitespace(), right.isIgnorableWhitespace());
    m_difference.compareValues("whitespace of element content", left.getIsElementContentWhitespace(),
                               right.getIsElementContentWhitespace());
  }

  void compareChildren(const Pair& pair) {
    const XMLSize_t leftCount = requireLinks(*pair.left);
    const XMLSize_t rightCount = requireLinks(*pair.right);
    m_difference.compareValues("number of children", leftCount, rightCount);
    if (m_difference.isFound()) {
      return;
    }
    const DOMNode* right = pair.right->getLastChild();
    for (const DOMNode* left = pair.left->getLastChild(); left != nullptr; left = left->getPreviousSibling()) {
      m_open.push_back({left, right, pair.depth + 1});
      right = right->getPreviousSibling();
    }
  }

  /// The links among a node and its children, both ways; the number of the children.
  XMLSize_t requireLinks(const DOMNode& parent) {
    XMLSize_t count = 0;
    const DOMNode* previous = nullptr;
    const auto* list = parent.getChildNodes();
    for (const DOMNode* child = parent.getFirstChild(); child != nullptr; child = child->getNextSibling()) {
      m_difference.require("parent of a child", child->getParentNode() == &parent);
      m_difference.require("previous sibling of a child", child->getPreviousSibling() == previous);
      m_difference.require("document of a child", child->getOwnerDocument() == ownerOf(parent));
      m_difference.require("child in the list", count >= c_nearRoot || list->item(count) == child);
      previous = child;
      ++count;
    }
    m_difference.require("last child", parent.getLastChild() == previous);
    m_difference.require("length of the list", list->getLength() == count);
    return count;
  }

  static const DOMDocument* ownerOf(const DOMNode& node) {
    return node.getNodeType() == DOMNode::DOCUMENT_NODE ? static_cast<const DOMDocument*>(&node)
                                                        : node.getOwnerDocument();
  }

  Difference m_difference;
  std::vector<Pair> m_open;
  std::size_t m_lookups = 0;
};

// The changes. Each finds its nodes by their place, so that it does the same to equal documents.

/// Every so many elements are changed, so that large documents are no burden.
constexpr std::size_t c_changedElements = 12;

/// Documents of more elements are compared after the last change only.
constexpr std::size_t c_comparedEachTime = 100;

/// The node after `node` in the order of the document; null after the last.
DOMNode* nextOf(DOMNode* node) {
  if (node->getFirstChild() != nullptr) {
    return node->getFirstChild();
  }
  while (node != nullptr && node->getNextSibling() == nullptr) {
    node = node->getParentNode();
  }
  return node == nullptr ? nullptr : node->getNextSibling();
}

std::vector<DOMElement*> elementsOf(DOMDocument& document) {
  std::vector<DOMElement*> elements;
  for (DOMNode* node = document.getFirstChild(); node != nullptr; node = nextOf(node)) {
    if (node->getNodeType() == DOMNode::ELEMENT_NODE) {
      elements.push_back(static_cast<DOMElement*>(node));
    }
  }
  return elements;
}

std::vector<DOMElement*> someElements(DOMDocument& document) {
  const std::vector<DOMElement*> all = elementsOf(document);
  const std::size_t step = all.size() / c_changedElements + 1;
  std::vector<DOMElement*> elements;
  for (std::size_t index = 0; index < all.size(); index += step) {
    elements.push_back(all[index]);
  }
  return elements;
}

std::vector<DOMText*> textsOf(const DOMElement& element) {
  std::vector<DOMText*> texts;
  for (DOMNode* child = element.getFirstChild(); child != nullptr; child = child->getNextSibling()) {
    if (child->getNodeType() == DOMNode::TEXT_NODE) {
      texts.push_back(static_cast<DOMText*>(child));
    }
  }
  return texts;
}

DOMElement* newElement(DOMDocument& document) {
  DOMElement* element = document.createElementNS(u"urn:changed", u"c:new");
  element->setAttributeNS(u"urn:changed", u"c:attribute", u"value");
  element->setAttribute(u"plain", u"value");
  element->appendChild(document.createTextNode(u"new text"));
  return element;
}

void insertNodes(DOMDocument& document) {
  for (DOMElement* element : someElements(document)) {
    element->insertBefore(newElement(document), element->getFirstChild());
    element->insertBefore(document.createComment(u"between"), element->getLastChild());
    element->appendChild(document.createTextNode(u"last"));
    element->appendChild(newElement(document));
  }
}

void removeNodes(DOMDocument& document) {
  for (DOMElement* element : someElements(document)) {
    for (DOMNode* child : {element->getFirstChild(), element->getLastChild()}) {
      if (child != nullptr && child->getParentNode() == element) {
        element->removeChild(child);
      }
    }
  }
}

void moveNodes(DOMDocument& document) {
  DOMElement* root = document.getDocumentElement();
  for (DOMElement* element : someElements(document)) {
    DOMNode* child = element->getFirstChild();
    if (child != nullptr && element != root) {
      root->appendChild(child);
    }
  }
}

void replaceNodes(DOMDocument& document) {
  for (DOMElement* element : someElements(document)) {
    if (element->getFirstChild() != nullptr) {
      element->replaceChild(newElement(document), element->getFirstChild());
    }
  }
}

void cloneNodes(DOMDocument& document) {
  for (DOMElement* element : someElements(document)) {
    DOMNode* whole = element->cloneNode(true);
    DOMNode* bare = element->cloneNode(false);
    document.getDocumentElement()->appendChild(bare);
    bare->appendChild(whole);
  }
}

void importNodes(DOMDocument& document) {
  const Document other(document.getImplementation()->createDocument(u"urn:other", u"other", nullptr));
  DOMNode* there = other->importNode(document.getDocumentElement(), true);
  other->getDocumentElement()->appendChild(there);
  document.getDocumentElement()->appendChild(document.importNode(other->getDocumentElement(), true));
}

void splitTexts(DOMDocument& document) {
  for (const DOMElement* element : someElements(document)) {
    for (DOMText* text : textsOf(*element)) {
      text->splitText(text->getLength() / 2);
    }
  }
}

void changeTexts(DOMDocument& document) {
  for (const DOMElement* element : someElements(document)) {
    for (DOMText* text : textsOf(*element)) {
      text->appendData(u" more");
      text->insertData(0, u"less ");
      text->deleteData(0, 1);
    }
  }
}

void joinTexts(DOMDocument& document) { document.normalize(); }

void setAttributes(DOMDocument& document) {
  for (DOMElement* element : someElements(document)) {
    element->setAttributeNS(u"urn:changed", u"c:added", u"1");
    element->setAttribute(u"Aa", u"2");
    auto* map = element->getAttributes();
    for (XMLSize_t index = 0; index < map->getLength(); ++index) {
      map->item(index)->setNodeValue(u"changed");
    }
  }
}

void removeAttributes(DOMDocument& document) {
  for (DOMElement* element : someElements(document)) {
    auto* map = element->getAttributes();
    // Where there is a default, it comes back.
    for (XMLSize_t index = map->getLength(); index-- > 0;) {
      element->removeAttributeNode(static_cast<DOMAttr*>(map->item(index)))->release();
    }
  }
}

void markIds(DOMDocument& document) {
  for (DOMElement* element : someElements(document)) {
    auto* map = element->getAttributes();
    for (XMLSize_t index = 0; index < map->getLength(); ++index) {
      auto* attribute = static_cast<DOMAttr*>(map->item(index));
      element->setIdAttributeNode(attribute, !attribute->isId());
    }
  }
}

void renameNodes(DOMDocument& document) {
  for (DOMElement* element : someElements(document)) {
    document.renameNode(element, u"urn:renamed", u"r:renamed");
    element->setPrefix(u"s");
  }
}

void releaseNodes(DOMDocument& document) {
  const std::vector<DOMElement*> elements = someElements(document);
  // Backwards, so that none is released before its turn.
  for (auto place = elements.rbegin(); place != elements.rend(); ++place) {
    DOMElement* element = *place;
    DOMNode* child = element->getLastChild();
    if (child != nullptr) {
      element->removeChild(child)->release();
      // The memory of the released nodes is used again.
      element->appendChild(newElement(document));
    }
  }
}

void normalizeWhole(DOMDocument& document) { document.normalizeDocument(); }

struct Change {
  const char* name;
  void (*make)(DOMDocument&);
};

constexpr Change c_changes[] = {
    {"inserting", insertNodes},
    {"splitting", splitTexts},
    {"changing texts", changeTexts},
    {"removing", removeNodes},
    {"joining", joinTexts},
    {"cloning", cloneNodes},
    {"moving", moveNodes},
    {"setting attributes", setAttributes},
    {"marking ids", markIds},
    {"removing attributes", removeAttributes},
    {"importing", importNodes},
    {"releasing", releaseNodes},
    {"replacing", replaceNodes},
    {"renaming", renameNodes},
    {"inserting again", insertNodes},
    {"normalizing", normalizeWhole},
};

/// What came of a change: read-only nodes refuse some, which both must do.
std::string outcomeOf(const Change& change, DOMDocument& document) {
  try {
    change.make(document);
    return "done";
  } catch (const xercesc_3_1::DOMException& exception) {
    return "refused with " + std::to_string(exception.code);
  }
}

}  // namespace

std::string differenceOf(const DOMDocument& left, const DOMDocument& right) { return Comparison().run(left, right); }

std::string differenceAfterChanges(DOMDocument& left, DOMDocument& right) {
  const bool isLarge = elementsOf(left).size() > c_comparedEachTime;
  for (const Change& change : c_changes) {
    const std::string leftOutcome = outcomeOf(change, left);
    const std::string rightOutcome = outcomeOf(change, right);
    const bool isLast = &change == std::end(c_changes) - 1;
    std::string difference = leftOutcome == rightOutcome ? "" : leftOutcome + " and " + rightOutcome;
    if (difference.empty() && (isLast || !isLarge)) {
      difference = differenceOf(left, right);
    }
    if (!difference.empty()) {
      return std::string("after ") + change.name + ": " + difference;
    }
  }
  return {};
}

}  // namespace TestSupport
