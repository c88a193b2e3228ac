#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/TreeBuilder.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <xercesc/dom/impl/DOMCasts.hpp>
#include <xercesc/dom/impl/DOMCommentImpl.hpp>
#include <xercesc/dom/impl/DOMNodeIDMap.hpp>
#include <xercesc/framework/XMLAttDef.hpp>
#include <xercesc/framework/XMLAttDefList.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>

namespace Drelvan::Parsing {

namespace {

using XercesAccess::NodeNames;
using xercesc_3_1::DOMAttrMapImpl;
using xercesc_3_1::DOMAttrNSImpl;
using xercesc_3_1::DOMChildNode;
using xercesc_3_1::DOMDocumentImpl;
using xercesc_3_1::DOMElementNSImpl;
using xercesc_3_1::DOMMemoryManager;
using xercesc_3_1::DOMNode;
using xercesc_3_1::DOMNodeVector;
using xercesc_3_1::DOMParentNode;
using xercesc_3_1::DOMTextImpl;
using xercesc_3_1::XMLAttDef;
using xercesc_3_1::XMLAttr;
using xercesc_3_1::XMLElementDecl;
using xercesc_3_1::XMLScanner;
using xercesc_3_1::XMLString;

/// The size with which Xerces-C creates its table of ids.
constexpr XMLSize_t c_idSlots = 500;

/// How many lists Xerces-C's table of so many ids has: it grows when four of five slots are filled.
XMLSize_t idLists(std::size_t ids) {
  constexpr std::array<XMLSize_t, 3> slots{997, 9973, 99991};
  constexpr XMLSize_t mostSlots = 999983;
  const auto* const size =
      std::find_if(slots.begin(), slots.end(), [ids](XMLSize_t slot) { return ids <= slot / 5 * 4; });
  return (size == slots.end() ? mostSlots : *size) - 1;
}

constexpr const XMLCh* c_noName = nullptr;

bool isEmpty(const XMLCh* text) { return text == nullptr || *text == 0; }

bool equals(const XMLCh* left, const XMLCh* right) { return XMLString::equals(left, right); }

std::u16string_view viewOf(const XMLCh* text) { return {text, XMLString::stringLen(text)}; }

/// The siblings of a node that can have some. Types without a case here are rare.
DOMChildNode& siblingsOf(DOMNode& node) {
  switch (node.getNodeType()) {
    case DOMNode::ELEMENT_NODE:
      return static_cast<DOMElementNSImpl&>(node).fChild;
    case DOMNode::TEXT_NODE:
      return static_cast<DOMTextImpl&>(node).fChild;
    case DOMNode::COMMENT_NODE:
      return static_cast<xercesc_3_1::DOMCommentImpl&>(node).fChild;
    default:
      return *xercesc_3_1::castToChildImpl(&node);
  }
}

DOMParentNode& childrenOf(DOMNode& node) {
  return node.getNodeType() == DOMNode::ELEMENT_NODE ? static_cast<DOMElementNSImpl&>(node).fParent
                                                     : *xercesc_3_1::castToParentImpl(&node);
}

/// The first child has the last one as its previous sibling.
template <typename Node>
void appendTo(DOMParentNode& parent, Node& child) {
  child.fNode.fOwnerNode = parent.fContainingNode;
  child.fNode.isOwned(true);
  if (parent.fFirstChild == nullptr) {
    parent.fFirstChild = &child;
    child.fNode.isFirstChild(true);
    child.fChild.previousSibling = &child;
    return;
  }
  DOMChildNode& first = siblingsOf(*parent.fFirstChild);
  siblingsOf(*first.previousSibling).nextSibling = &child;
  child.fChild.previousSibling = first.previousSibling;
  first.previousSibling = &child;
}

bool isDefault(const XMLAttDef& attribute) {
  return attribute.getDefaultType() == XMLAttDef::Default || attribute.getDefaultType() == XMLAttDef::Fixed;
}

bool declaresDefaults(const XMLElementDecl& declaration) {
  if (!declaration.hasAttDefs()) {
    return false;
  }
  xercesc_3_1::XMLAttDefList& attributes = declaration.getAttDefList();
  for (XMLSize_t index = 0; index < attributes.getAttDefCount(); ++index) {
    if (isDefault(attributes.getAttDef(index))) {
      return true;
    }
  }
  return false;
}

DOMAttrNSImpl& attributeAt(DOMNodeVector& attributes, XMLSize_t index) {
  return static_cast<DOMAttrNSImpl&>(*attributes.elementAt(index));
}

/// Puts an attribute into the list, which is sorted by name. The document stores each name once, so that equal
/// names have equal pointers.
void insertSorted(DOMNodeVector& attributes, DOMAttrNSImpl& attribute) {
  for (XMLSize_t index = 0; index < attributes.size(); ++index) {
    const DOMAttrNSImpl& other = attributeAt(attributes, index);
    if (XercesAccess::localName(other) == XercesAccess::localName(attribute) &&
        XercesAccess::namespaceName(other) == XercesAccess::namespaceName(attribute)) {
      attributes.setElementAt(&attribute, index);
      return;
    }
  }
  XMLSize_t first = 0;
  for (XMLSize_t last = attributes.size(); first < last;) {
    const XMLSize_t middle = (first + last) / 2;
    if (XMLString::compareString(attribute.fName, attributeAt(attributes, middle).fName) < 0) {
      last = middle;
    } else {
      first = middle + 1;
    }
  }
  attributes.insertElementAt(&attribute, first);
}

}  // namespace

void TreeBuilder::beginDocument(DOMDocumentImpl& document) {
  m_document = &document;
  m_names.beginDocument(document);
  m_ids.clear();
  if (++m_documentNumber == 0) {
    m_known = {};
    m_documentNumber = 1;
  }
}

DOMElementNSImpl& TreeBuilder::makeElement(XMLScanner& scanner, const XMLElementDecl& declaration, unsigned int uri,
                                           const XMLCh* prefix, const xercesc_3_1::RefVectorOf<XMLAttr>& attributes,
                                           XMLSize_t attributeCount) {
  const KnownElement& kind = known(scanner, declaration, uri, prefix);
  DOMElementNSImpl& element = makeBareElement(kind.names);
  if (attributeCount != 0) {
    addAttributes(element, scanner, attributes, attributeCount);
  }
  if (kind.hasDefaults) {
    addDefaults(element, scanner, declaration);
  }
  return element;
}

DOMTextImpl& TreeBuilder::makeText(const XMLCh* characters, XMLSize_t length) {
  return *new (m_document, DOMMemoryManager::TEXT_OBJECT) DOMTextImpl(m_document, characters, length);
}

void TreeBuilder::append(DOMNode& parent, DOMElementNSImpl& element) { appendTo(childrenOf(parent), element); }

void TreeBuilder::append(DOMNode& parent, DOMTextImpl& text) { appendTo(childrenOf(parent), text); }

DOMNode* TreeBuilder::parentWithinRoot(DOMNode& node, const DOMDocumentImpl& document) {
  if (node.getNodeType() != DOMNode::ELEMENT_NODE) {
    return nullptr;
  }
  const xercesc_3_1::DOMNodeImpl& members = static_cast<DOMElementNSImpl&>(node).fNode;
  return members.isOwned() && members.fOwnerNode != &document ? members.fOwnerNode : nullptr;
}

const TreeBuilder::KnownElement& TreeBuilder::known(const XMLScanner& scanner, const XMLElementDecl& declaration,
                                                    unsigned int uri, const XMLCh* prefix) {
  const bool hasNamespace = uri != scanner.getEmptyNamespaceId();
  const bool hasPrefix = hasNamespace && !isEmpty(prefix);
  // Spreads the addresses over the table.
  const std::uint64_t spread = reinterpret_cast<std::uintptr_t>(&declaration) * std::uint64_t{0x9e3779b97f4a7c15};
  KnownElement& kind = m_known[spread >> 58U];
  if (kind.document == m_documentNumber && kind.declaration == &declaration && kind.uri == uri &&
      (hasPrefix ? equals(kind.names.prefix, prefix) : kind.names.prefix == nullptr)) {
    return kind;
  }
  const XMLCh* local = declaration.getBaseName();
  const XMLCh* namespaceName = hasNamespace ? scanner.getURIText(uri) : nullptr;
  kind.document = 0;
  if (hasPrefix) {
    const std::u16string qualified = std::u16string(prefix).append(1, u':').append(local);
    kind.names = namesOf(qualified.c_str(), local, prefix, namespaceName, DOMNode::ELEMENT_NODE);
  } else {
    kind.names = namesOf(local, local, nullptr, namespaceName, DOMNode::ELEMENT_NODE);
  }
  kind.declaration = &declaration;
  kind.uri = uri;
  kind.hasDefaults = declaresDefaults(declaration);
  kind.document = m_documentNumber;
  return kind;
}

NodeNames TreeBuilder::namesOf(const XMLCh* qualified, const XMLCh* local, const XMLCh* prefix,
                               const XMLCh* namespaceName, short nodeType) {
  NodeNames names;
  names.qualified = m_names.stored(viewOf(qualified));
  names.local = names.qualified;
  if (!isEmpty(prefix)) {
    names.prefix = m_names.stored(viewOf(prefix));
    names.local = m_names.stored(viewOf(local));
  }
  const XMLCh* mapped =
      xercesc_3_1::DOMNodeImpl::mapPrefix(names.prefix, isEmpty(namespaceName) ? nullptr : namespaceName, nodeType);
  names.namespaceName = mapped == nullptr ? nullptr : m_names.stored(viewOf(mapped));
  return names;
}

DOMElementNSImpl& TreeBuilder::makeBareElement(const NodeNames& names) {
  auto& element = *new (m_document, DOMMemoryManager::ELEMENT_NS_OBJECT) DOMElementNSImpl(m_document, c_noName);
  XercesAccess::setNames(element, names);
  if (m_document->getDoctype() != nullptr) {
    const DOMAttrMapImpl* noDefaults = element.fDefaultAttributes;
    XercesAccess::setUpDefaults(element);
    if (element.fDefaultAttributes != noDefaults) {
      element.fAttributes = new (m_document) DOMAttrMapImpl(&element, element.fDefaultAttributes);
    }
  }
  return element;
}

DOMAttrNSImpl& TreeBuilder::makeAttribute(const NodeNames& names, const XMLCh* value) {
  auto& attribute = *new (m_document, DOMMemoryManager::ATTR_NS_OBJECT) DOMAttrNSImpl(m_document, c_noName);
  XercesAccess::setNames(attribute, names);
  if (value != nullptr) {
    appendTo(attribute.fParent, makeText(value, XMLString::stringLen(value)));
  }
  return attribute;
}

void TreeBuilder::addAttributes(DOMElementNSImpl& element, const XMLScanner& scanner,
                                const xercesc_3_1::RefVectorOf<XMLAttr>& attributes, XMLSize_t count) {
  DOMAttrMapImpl& map = *element.fAttributes;
  const bool hasDoctypeDefaults = XercesAccess::attributesOf(map) != nullptr;
  if (!hasDoctypeDefaults) {
    XercesAccess::attributesOf(map) = new (m_document) DOMNodeVector(m_document, count);
  }
  for (XMLSize_t index = 0; index < count; ++index) {
    const XMLAttr& source = *attributes.elementAt(index);
    const bool isXmlns = isEmpty(source.getPrefix()) && equals(source.getName(), xercesc_3_1::XMLUni::fgXMLNSString);
    const unsigned int uri = isXmlns ? scanner.getXMLNSNamespaceId() : source.getURIId();
    const XMLCh* namespaceName = uri != scanner.getEmptyNamespaceId() ? scanner.getURIText(uri) : nullptr;
    DOMAttrNSImpl& attribute = makeAttribute(
        namesOf(source.getQName(), source.getName(), source.getPrefix(), namespaceName, DOMNode::ATTRIBUTE_NODE),
        source.getValue());
    if (hasDoctypeDefaults) {
      map.setNamedItemNSFast(&attribute);
    } else {
      addAttribute(element, map, attribute);
    }
    if (source.getType() == XMLAttDef::ID) {
      addId(attribute);
    }
    attribute.fNode.isSpecified(source.getSpecified());
  }
}

void TreeBuilder::addAttribute(DOMElementNSImpl& element, DOMAttrMapImpl& map, DOMAttrNSImpl& attribute) {
  attribute.fNode.fOwnerNode = &element;
  attribute.fNode.isOwned(true);
  insertSorted(*XercesAccess::attributesOf(map), attribute);
}

void TreeBuilder::addId(DOMAttrNSImpl& attribute) {
  m_rejector.enforceLimit(m_ids.add(attribute.getValue(), idLists(m_ids.size() + 1)), Limits::idsOfList);
  if (m_document->fNodeIDMap == nullptr) {
    m_document->fNodeIDMap = new (m_document) xercesc_3_1::DOMNodeIDMap(c_idSlots, m_document);
  }
  m_document->fNodeIDMap->add(&attribute);
  attribute.fNode.isIdAttr(true);
}

void TreeBuilder::addDefaults(DOMElementNSImpl& element, XMLScanner& scanner, const XMLElementDecl& declaration) {
  constexpr XMLSize_t usualPrefix = 31;
  xercesc_3_1::XMLBuffer prefix(usualPrefix);
  xercesc_3_1::XMLAttDefList& attributes = declaration.getAttDefList();
  for (XMLSize_t index = 0; index < attributes.getAttDefCount(); ++index) {
    XMLAttDef& source = attributes.getAttDef(index);
    if (isDefault(source)) {
      const XMLCh* name = source.getFullName();
      int colon = -1;
      unsigned int uri = scanner.resolveQName(name, prefix, xercesc_3_1::ElemStack::Mode_Attribute, colon);
      if (equals(name, xercesc_3_1::XMLUni::fgXMLNSString)) {
        uri = scanner.getXMLNSNamespaceId();
      }
      DOMAttrNSImpl& attribute =
          addDefault(element, name, uri != scanner.getEmptyNamespaceId() ? scanner.getURIText(uri) : nullptr);
      if (source.getValue() != nullptr) {
        appendTo(attribute.fParent, makeText(source.getValue(), XMLString::stringLen(source.getValue())));
        attribute.fNode.isSpecified(false);
      }
    }
    source.reset();
  }
}

DOMAttrNSImpl& TreeBuilder::addDefault(DOMElementNSImpl& element, const XMLCh* qualifiedName,
                                       const XMLCh* namespaceName) {
  if (m_document->getDoctype() != nullptr) {
    auto* attribute = static_cast<DOMAttrNSImpl*>(m_document->createAttributeNS(namespaceName, qualifiedName));
    xercesc_3_1::DOMAttr* replaced = element.setDefaultAttributeNodeNS(attribute);
    if (replaced != nullptr) {
      replaced->release();
    }
    return *attribute;
  }
  const int colon = XMLString::indexOf(qualifiedName, u':');
  const std::u16string prefix(qualifiedName, colon < 0 ? 0 : static_cast<std::size_t>(colon));
  DOMAttrNSImpl& attribute = makeAttribute(
      namesOf(qualifiedName, qualifiedName + colon + 1, prefix.c_str(), namespaceName, DOMNode::ATTRIBUTE_NODE),
      nullptr);
  DOMNodeVector*& defaults = XercesAccess::attributesOf(*element.fDefaultAttributes);
  if (defaults == nullptr) {
    defaults = new (m_document) DOMNodeVector(m_document);
  }
  addAttribute(element, *element.fDefaultAttributes, attribute);
  element.fAttributes->hasDefaults(true);
  return attribute;
}

}  // namespace Drelvan::Parsing
