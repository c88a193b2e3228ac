#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/CountedInput.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/DocumentRejector.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/NamespaceTable.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/XercesAccess.h>
#include <service/Xerces.h>

#include <array>
#include <cstddef>
#include <string>
#include <unordered_set>
#include <vector>
#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/framework/XMLValidator.hpp>
#include <xercesc/util/RefVectorOf.hpp>
#include <xercesc/validators/DTD/DTDAttDef.hpp>

namespace Drelvan::Parsing {

/// The start of an element, as the scanner reports it.
struct ElementStart {
  const xercesc_3_1::XMLElementDecl& declaration;
  const xercesc_3_1::RefVectorOf<xercesc_3_1::XMLAttr>& attributes;
  XMLSize_t attributeCount;
  bool isRoot;
};

/// Counts the parts of a document and rejects it when it exceeds a limit, or when Xerces-C would overlook an error.
class DocumentChecks {
 public:
  DocumentChecks(DocumentRejector& rejector, InputCounts& input, NamespaceTable& namespaces)
      : m_rejector(rejector), m_input(input), m_namespaces(namespaces) {}

  void beginDocument(bool validating);

  /// `validator` is the scanner's at that time.
  void startElement(const ElementStart& element, xercesc_3_1::XMLValidator* validator) {
    ++m_depth;
    if (m_depth <= m_checkedDepth || m_depth > Limits::depth.most || element.attributeCount != 0 ||
        !element.declaration.isDeclared()) {
      check(element, validator);
    }
  }
  void endElement() {
    --m_depth;
    checkIds();
  }
  /// The number of open elements.
  std::size_t depth() const { return m_depth; }

  void doctype();
  void doctypeAttribute(const xercesc_3_1::DTDAttDef& attribute);
  void doctypeEntity(bool isParameterEntity);

  /// An error or a warning is about to be reported.
  void error();
  bool hasErrors() const { return m_errors != 0; }
  /// The text has been read to its end.
  void endDocument();

  /// The namespace of xsi:type was named.
  void noteXsi() { m_seenXsi = true; }

  /// To be set when the scanner has stored too many values of the type ID or IDREF in one list.
  bool& hasTooManyIds() { return m_hasTooManyIds; }

  /// Whether the scanner knows undeclared elements of the documents since `forgetUndeclaredElements`.
  bool hasUndeclaredElements() const { return !m_undeclaredElements.empty(); }
  void forgetUndeclaredElements();
  /// How many different prefixes were declared since `forgetPrefixes`, by all documents.
  std::size_t prefixes() const { return m_storedPrefixes.size(); }
  void forgetPrefixes() { m_storedPrefixes.clear(); }

 private:
  using NameSet = std::unordered_set<std::u16string, KeyedHash>;

  /// An open element that declares namespaces.
  struct Scope {
    std::size_t depth;
    std::size_t declarations;
  };

  void check(const ElementStart& element, xercesc_3_1::XMLValidator* validator);
  void checkIds() {
    if (m_hasTooManyIds) {
      m_rejector.rejectForLimit(Limits::idsOfList);
    }
  }
  void checkNamespaces(const ElementStart& element);
  void checkDefaults();
  void checkUndeclared(const ElementStart& element);
  void checkNamedType(const ElementStart& element, xercesc_3_1::XMLValidator* validator);
  bool namesType(const ElementStart& element) const;
  bool isValidSoFar() const { return m_validating && m_errors == 0; }

  /// Closes the scopes that an element opened at this depth is not in.
  void closeScopes();

  DocumentRejector& m_rejector;
  InputCounts& m_input;
  NamespaceTable& m_namespaces;

  // Of this document:
  bool m_validating = false;
  std::size_t m_depth = 0;
  /// Elements are checked down to this depth. Deeper ones only for a reason of their own, since the
  /// checks cost time for every element.
  std::size_t m_checkedDepth = 0;
  std::size_t m_errors = 0;
  bool m_seenXsi = false;
  bool m_hasTooManyIds = false;
  std::size_t m_namespaceDeclarations = 0;
  NameSet m_prefixes;
  std::size_t m_namespacesInScope = 0;
  std::vector<Scope> m_scopes;
  std::size_t m_doctypeAttributes = 0;
  std::size_t m_doctypeLookups = 0;
  std::size_t m_charactersOfDefaults = 0;  ///< of all that are declared
  std::size_t m_doctypeDefaults = 0;       ///< characters that elements have been given, at most

  // Of the documents since they were forgotten:
  std::unordered_set<const void*> m_undeclaredElements;
  std::array<std::size_t, XercesAccess::c_undeclaredElementLists> m_undeclaredOfList{};
  NameSet m_storedPrefixes;
};

}  // namespace Drelvan::Parsing
