#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/DocumentRejector.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/ListCounts.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/NameTable.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/XercesAccess.h>
#include <service/Xerces.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <xercesc/dom/impl/DOMAttrNSImpl.hpp>
#include <xercesc/dom/impl/DOMDocumentImpl.hpp>
#include <xercesc/dom/impl/DOMElementNSImpl.hpp>
#include <xercesc/dom/impl/DOMTextImpl.hpp>
#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLBuffer.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/util/RefVectorOf.hpp>

namespace Drelvan::Parsing {

/// Creates and links the elements, attributes and texts of a document: the same tree as Xerces-C's parser creates.
///
/// Xerces-C finds the members of each node that it links with `dynamic_cast`, up to ten times per element, which takes
/// more than half of the time of a parse. This class finds them by the type of the node. Nodes of other kinds are rare,
/// and left to Xerces-C.
class TreeBuilder {
 public:
  explicit TreeBuilder(DocumentRejector& rejector) : m_rejector(rejector) {}

  void beginDocument(xercesc_3_1::DOMDocumentImpl& document);

  /// The element without parent or children, but with its attributes. The document owns it.
  xercesc_3_1::DOMElementNSImpl& makeElement(xercesc_3_1::XMLScanner& scanner,
                                             const xercesc_3_1::XMLElementDecl& declaration, unsigned int uri,
                                             const XMLCh* prefix,
                                             const xercesc_3_1::RefVectorOf<xercesc_3_1::XMLAttr>& attributes,
                                             XMLSize_t attributeCount);
  /// The text without parent. The document owns it.
  xercesc_3_1::DOMTextImpl& makeText(const XMLCh* characters, XMLSize_t length);

  /// @{
  /// Makes the node, which has no parent, the last child of `parent`, which is not the document.
  static void append(xercesc_3_1::DOMNode& parent, xercesc_3_1::DOMElementNSImpl& element);
  static void append(xercesc_3_1::DOMNode& parent, xercesc_3_1::DOMTextImpl& text);
  /// @}

  /// The parent of `node`, if it is an element other than the root; else null, and Xerces-C must be asked.
  static xercesc_3_1::DOMNode* parentWithinRoot(xercesc_3_1::DOMNode& node,
                                                const xercesc_3_1::DOMDocumentImpl& document);

 private:
  /// What elements of one declaration have in common.
  struct KnownElement {
    const xercesc_3_1::XMLElementDecl* declaration = nullptr;
    unsigned int uri = 0;
    std::uint32_t document = 0;
    bool hasDefaults = false;
    XercesAccess::NodeNames names;
  };

  const KnownElement& known(const xercesc_3_1::XMLScanner& scanner, const xercesc_3_1::XMLElementDecl& declaration,
                            unsigned int uri, const XMLCh* prefix);
  XercesAccess::NodeNames namesOf(const XMLCh* qualified, const XMLCh* local, const XMLCh* prefix,
                                  const XMLCh* namespaceName, short nodeType);
  xercesc_3_1::DOMElementNSImpl& makeBareElement(const XercesAccess::NodeNames& names);
  xercesc_3_1::DOMAttrNSImpl& makeAttribute(const XercesAccess::NodeNames& names, const XMLCh* value);
  void addAttributes(xercesc_3_1::DOMElementNSImpl& element, const xercesc_3_1::XMLScanner& scanner,
                     const xercesc_3_1::RefVectorOf<xercesc_3_1::XMLAttr>& attributes, XMLSize_t count);
  void addAttribute(xercesc_3_1::DOMElementNSImpl& element, xercesc_3_1::DOMAttrMapImpl& map,
                    xercesc_3_1::DOMAttrNSImpl& attribute);
  void addId(xercesc_3_1::DOMAttrNSImpl& attribute);
  void addDefaults(xercesc_3_1::DOMElementNSImpl& element, xercesc_3_1::XMLScanner& scanner,
                   const xercesc_3_1::XMLElementDecl& declaration);
  xercesc_3_1::DOMAttrNSImpl& addDefault(xercesc_3_1::DOMElementNSImpl& element, const XMLCh* qualifiedName,
                                         const XMLCh* namespaceName);

  DocumentRejector& m_rejector;
  xercesc_3_1::DOMDocumentImpl* m_document = nullptr;
  std::uint32_t m_documentNumber = 0;
  NameTable m_names;
  ListCounts m_ids;
  /// By declaration; one replaces another with the same index.
  std::array<KnownElement, 64> m_known;
};

}  // namespace Drelvan::Parsing
