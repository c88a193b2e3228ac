#pragma once

#include <service/Xerces.h>

#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>
#include <xercesc/dom/impl/DOMAttrNSImpl.hpp>
#include <xercesc/dom/impl/DOMDocumentImpl.hpp>
#include <xercesc/dom/impl/DOMElementNSImpl.hpp>
#include <xercesc/dom/impl/DOMNodeVector.hpp>
#include <xercesc/dom/impl/DOMTextImpl.hpp>
#include <xercesc/framework/ValidationContext.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/internal/IGXMLScanner.hpp>
#include <xercesc/util/XMLString.hpp>

/// All that this library reaches into Xerces-C for: five members of its scanner, and the members of the nodes
/// of a document that it gives to no one. Where a Xerces-C does not have them so, nothing of this compiles.
namespace Drelvan::Parsing::XercesAccess {

namespace Detail {

// An explicit instantiation may name private members.
struct SeenXsi {
  using Member = bool xercesc_3_1::IGXMLScanner::*;
  friend Member memberOf(SeenXsi);
};
struct UndeclaredElements {
  using Member = xercesc_3_1::RefHash3KeysIdPool<xercesc_3_1::SchemaElementDecl>* xercesc_3_1::IGXMLScanner::*;
  friend Member memberOf(UndeclaredElements);
};
struct TagAttributes {
  using Member = xercesc_3_1::RefVectorOf<xercesc_3_1::KVStringPair>* xercesc_3_1::IGXMLScanner::*;
  friend Member memberOf(TagAttributes);
};
template <typename Tag, typename Tag::Member Pointer>
struct Reach {
  friend typename Tag::Member memberOf(Tag) { return Pointer; }
};
template struct Reach<SeenXsi, &xercesc_3_1::IGXMLScanner::fSeeXsi>;
template struct Reach<UndeclaredElements, &xercesc_3_1::IGXMLScanner::fSchemaElemNonDeclPool>;
template struct Reach<TagAttributes, &xercesc_3_1::IGXMLScanner::fRawAttrList>;

// A derived class may name protected members of its base.
struct Scanner : xercesc_3_1::XMLScanner {
  using Ids = xercesc_3_1::ValidationContext* xercesc_3_1::XMLScanner::*;
  using Elements = xercesc_3_1::ElemStack xercesc_3_1::XMLScanner::*;
  static constexpr Ids ids = &Scanner::fValidationContext;
  static constexpr Elements elements = &Scanner::fElemStack;
};
struct Document : xercesc_3_1::DOMDocumentImpl {
  using Names = xercesc_3_1::DOMStringPoolEntry** xercesc_3_1::DOMDocumentImpl::*;
  using Count = XMLSize_t xercesc_3_1::DOMDocumentImpl::*;
  static constexpr Names names = &Document::fNameTable;
  static constexpr Count nameLists = &Document::fNameTableSize;
};
struct Element : xercesc_3_1::DOMElementNSImpl {
  using Name = const XMLCh* xercesc_3_1::DOMElementNSImpl::*;
  using SetUp = void (xercesc_3_1::DOMElementImpl::*)();
  static constexpr Name namespaceName = &Element::fNamespaceURI;
  static constexpr Name localName = &Element::fLocalName;
  static constexpr Name prefix = &Element::fPrefix;
  static constexpr SetUp setUpDefaults = &Element::setupDefaultAttributes;
};
struct Attribute : xercesc_3_1::DOMAttrNSImpl {
  using Name = const XMLCh* xercesc_3_1::DOMAttrNSImpl::*;
  static constexpr Name namespaceName = &Attribute::fNamespaceURI;
  static constexpr Name localName = &Attribute::fLocalName;
  static constexpr Name prefix = &Attribute::fPrefix;
};
struct AttributeMap : xercesc_3_1::DOMAttrMapImpl {
  using Nodes = xercesc_3_1::DOMNodeVector* xercesc_3_1::DOMAttrMapImpl::*;
  static constexpr Nodes nodes = &AttributeMap::fNodes;
};

// The public members of the nodes that `TreeBuilder` links, as it expects them.
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMNodeImpl::fOwnerNode), xercesc_3_1::DOMNode*>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMParentNode::fContainingNode), xercesc_3_1::DOMNode*>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMParentNode::fFirstChild), xercesc_3_1::DOMNode*>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMChildNode::previousSibling), xercesc_3_1::DOMNode*>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMChildNode::nextSibling), xercesc_3_1::DOMNode*>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMElementImpl::fNode), xercesc_3_1::DOMNodeImpl>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMElementImpl::fParent), xercesc_3_1::DOMParentNode>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMElementImpl::fChild), xercesc_3_1::DOMChildNode>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMElementImpl::fName), const XMLCh*>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMElementImpl::fAttributes), xercesc_3_1::DOMAttrMapImpl*>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMElementImpl::fDefaultAttributes), xercesc_3_1::DOMAttrMapImpl*>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMAttrImpl::fNode), xercesc_3_1::DOMNodeImpl>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMAttrImpl::fParent), xercesc_3_1::DOMParentNode>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMAttrImpl::fName), const XMLCh*>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMTextImpl::fNode), xercesc_3_1::DOMNodeImpl>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMTextImpl::fChild), xercesc_3_1::DOMChildNode>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMStringPoolEntry::fNext), xercesc_3_1::DOMStringPoolEntry*>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMStringPoolEntry::fLength), XMLSize_t>);
static_assert(std::is_same_v<decltype(xercesc_3_1::DOMStringPoolEntry::fString), XMLCh[1]>);

}  // namespace Detail

/// The scanner of a parser that was told to use this one, `XMLUni::fgIGXMLScanner`.
inline xercesc_3_1::IGXMLScanner& integrated(xercesc_3_1::XMLScanner& scanner) {
  return static_cast<xercesc_3_1::IGXMLScanner&>(scanner);
}

/// Makes the scanner look for xsi:type. It recognises the namespace of xsi:type in the text of a declaration, before
/// references are resolved, and would overlook one that is written with references.
inline void lookForXsiType(xercesc_3_1::XMLScanner& scanner) {
  integrated(scanner).*memberOf(Detail::SeenXsi()) = true;
}

/// Removes the undeclared elements that the scanner stored. They would change how it validates later elements of the
/// same names, also in later documents.
inline void forgetUndeclaredElements(xercesc_3_1::XMLScanner& scanner) {
  (integrated(scanner).*memberOf(Detail::UndeclaredElements()))->removeAll();
}

/// How many attributes the longest tag has that the scanner has read, or is reading. It goes through the attributes of
/// a tag once it has read all of them, and compares each with those before it whose names have the same hash.
inline std::size_t mostAttributes(const xercesc_3_1::XMLScanner& scanner) {
  return (static_cast<const xercesc_3_1::IGXMLScanner&>(scanner).*memberOf(Detail::TagAttributes()))->size();
}

/// Has the scanner store the values of the types ID and IDREF in `ids`, which it owns from now on. Its own table is
/// limited only by the length of the document.
inline void setIds(xercesc_3_1::XMLScanner& scanner, std::unique_ptr<xercesc_3_1::ValidationContext> ids) {
  ids->setElemStack(&(scanner.*Detail::Scanner::elements));
  ids->setScanner(&scanner);
  delete std::exchange(scanner.*Detail::Scanner::ids, ids.release());
}

/// How many lists the scanner's tables of undeclared elements have, and in which of them an element is.
inline constexpr XMLSize_t c_undeclaredElementLists = 29;
inline XMLSize_t listOfUndeclaredElement(const xercesc_3_1::XMLElementDecl& declaration) {
  const bool isOfSchema = declaration.getObjectType() == xercesc_3_1::XMLElementDecl::Schema;
  return xercesc_3_1::XMLString::hash(isOfSchema ? declaration.getBaseName() : declaration.getFullName(),
                                      c_undeclaredElementLists);
}

/// Enters a name in the document's table of names, without looking whether it is there: where many have the same hash,
/// that is what costs.
inline void enterName(xercesc_3_1::DOMDocumentImpl& document, xercesc_3_1::DOMStringPoolEntry& entry) {
  const XMLSize_t list = xercesc_3_1::XMLString::hash(entry.fString, document.*Detail::Document::nameLists);
  xercesc_3_1::DOMStringPoolEntry*& first = (document.*Detail::Document::names)[list];
  entry.fNext = first;
  first = &entry;
}

/// The names of a node, each stored in the document. Without a prefix, the qualified name is the local one too.
struct NodeNames {
  const XMLCh* qualified = nullptr;
  const XMLCh* local = nullptr;
  const XMLCh* prefix = nullptr;
  const XMLCh* namespaceName = nullptr;
};

/// @{
/// Names a node that was created without a name: constructors with names would look up each of them again.
inline void setNames(xercesc_3_1::DOMElementNSImpl& element, const NodeNames& names) {
  element.fName = names.qualified;
  element.*Detail::Element::localName = names.local;
  element.*Detail::Element::prefix = names.prefix;
  element.*Detail::Element::namespaceName = names.namespaceName;
}
inline void setNames(xercesc_3_1::DOMAttrNSImpl& attribute, const NodeNames& names) {
  attribute.fName = names.qualified;
  attribute.*Detail::Attribute::localName = names.local;
  attribute.*Detail::Attribute::prefix = names.prefix;
  attribute.*Detail::Attribute::namespaceName = names.namespaceName;
}
/// @}

inline const XMLCh* localName(const xercesc_3_1::DOMAttrNSImpl& attribute) {
  return attribute.*Detail::Attribute::localName;
}
inline const XMLCh* namespaceName(const xercesc_3_1::DOMAttrNSImpl& attribute) {
  return attribute.*Detail::Attribute::namespaceName;
}

/// Gives a named element the default attributes of the document type declaration, as its constructor does.
inline void setUpDefaults(xercesc_3_1::DOMElementNSImpl& element) {
  (static_cast<xercesc_3_1::DOMElementImpl&>(element).*Detail::Element::setUpDefaults)();
}

/// The list of attributes of a map, sorted by name; null while there is none.
inline xercesc_3_1::DOMNodeVector*& attributesOf(xercesc_3_1::DOMAttrMapImpl& map) {
  return map.*Detail::AttributeMap::nodes;
}

}  // namespace Drelvan::Parsing::XercesAccess
