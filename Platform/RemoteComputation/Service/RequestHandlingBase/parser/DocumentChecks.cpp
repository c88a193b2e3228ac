#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/DocumentChecks.h>

#include <algorithm>
#include <boost/locale/encoding_utf.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/schema/SchemaSymbols.hpp>
#include <xercesc/validators/schema/SchemaValidator.hpp>

namespace Drelvan::Parsing {

namespace {

using xercesc_3_1::SchemaSymbols;
using xercesc_3_1::XMLAttr;
using xercesc_3_1::XMLString;

constexpr XMLSize_t c_maxShownName = 100;

/// A name of the document for a message, shortened when it is very long.
std::string shownName(const XMLCh* name) {
  const XMLSize_t length = XMLString::stringLen(name);
  const std::string shown = boost::locale::conv::utf_to_utf<char>(name, name + std::min(length, c_maxShownName));
  return length > c_maxShownName ? shown + "..." : shown;
}

bool isXmlns(const XMLCh* name) { return *name == u'x' && XMLString::equals(name, xercesc_3_1::XMLUni::fgXMLNSString); }

bool hasPrefix(const XMLAttr& attribute) { return attribute.getPrefix() != nullptr && *attribute.getPrefix() != 0; }

}  // namespace

void DocumentChecks::beginDocument(bool validating) {
  m_validating = validating;
  m_depth = 0;
  m_checkedDepth = 1;
  m_errors = 0;
  m_seenXsi = false;
  m_hasTooManyIds = false;
  m_namespaceDeclarations = 0;
  m_prefixes.clear();
  m_namespacesInScope = 0;
  m_scopes.clear();
  m_doctypeAttributes = 0;
  m_doctypeLookups = 0;
  m_charactersOfDefaults = 0;
  m_doctypeDefaults = 0;
  m_namespaces.beginElement();
}

void DocumentChecks::endDocument() {
  if (m_input.cutOffBy() != nullptr) {
    m_rejector.rejectForLimit(*m_input.cutOffBy());
  }
}

void DocumentChecks::error() {
  endDocument();
  m_rejector.enforceLimit(++m_errors, Limits::errors);
}

void DocumentChecks::check(const ElementStart& element, xercesc_3_1::XMLValidator* validator) {
  m_rejector.enforceLimit(m_depth, Limits::depth);
  m_rejector.enforceLimit(element.attributeCount, Limits::attributesOfElement);
  m_input.endProlog();
  checkIds();
  closeScopes();
  if (m_namespaces.areNamed()) {
    checkNamespaces(element);
  }
  if (m_doctypeAttributes != 0) {
    checkDefaults();
  }
  const std::size_t innermostScope = m_scopes.empty() ? 0 : m_scopes.back().depth;
  m_checkedDepth = m_doctypeAttributes != 0 ? Limits::depth.most : innermostScope;
  if (!element.declaration.isDeclared()) {
    checkUndeclared(element);
  }
  if (m_seenXsi && isValidSoFar() && element.attributeCount != 0) {
    checkNamedType(element, validator);
  }
}

void DocumentChecks::closeScopes() {
  while (!m_scopes.empty() && m_scopes.back().depth >= m_depth) {
    m_namespacesInScope -= m_scopes.back().declarations;
    m_scopes.pop_back();
  }
}

void DocumentChecks::checkNamespaces(const ElementStart& element) {
  m_namespaces.beginElement();
  std::size_t declarations = 0;
  for (XMLSize_t index = 0; index < element.attributeCount; ++index) {
    const XMLAttr& attribute = *element.attributes.elementAt(index);
    const bool declaresPrefix = hasPrefix(attribute) && isXmlns(attribute.getPrefix());
    if (declaresPrefix) {
      m_prefixes.insert(attribute.getName());
      m_storedPrefixes.insert(attribute.getName());
    }
    if (declaresPrefix || isXmlns(attribute.getName())) {
      ++declarations;
    }
  }
  m_rejector.enforceLimit(m_namespaceDeclarations += declarations, Limits::namespaceDeclarations);
  m_rejector.enforceLimit(m_prefixes.size(), Limits::prefixes);
  m_rejector.enforceLimit(m_namespacesInScope += declarations, Limits::namespacesInScope);
  m_scopes.push_back({m_depth, declarations});
}

void DocumentChecks::checkDefaults() {
  m_rejector.enforceLimit(m_doctypeLookups += m_doctypeAttributes, Limits::doctypeLookups);
  m_rejector.enforceLimit(m_doctypeDefaults += m_charactersOfDefaults, Limits::doctypeDefaults);
}

void DocumentChecks::checkUndeclared(const ElementStart& element) {
  if (m_undeclaredElements.insert(&element.declaration).second) {
    m_rejector.enforceLimit(m_undeclaredElements.size(), Limits::undeclaredElements);
    std::size_t& count = m_undeclaredOfList.at(XercesAccess::listOfUndeclaredElement(element.declaration));
    m_rejector.enforceLimit(++count, Limits::undeclaredElementsOfList);
  }
  // Xerces-C lets a root pass that names its own type.
  if (element.isRoot && isValidSoFar()) {
    m_rejector.reject("The root element '" + shownName(element.declaration.getFullName()) +
                      "' is not declared in the schema.");
  }
}

void DocumentChecks::forgetUndeclaredElements() {
  m_undeclaredElements.clear();
  m_undeclaredOfList = {};
}

void DocumentChecks::checkNamedType(const ElementStart& element, xercesc_3_1::XMLValidator* validator) {
  // When a wildcard of the schema accepts an element without validation, Xerces-C ignores the element's xsi:type, or
  // validates the next element by it.
  const bool isLeftOver =
      validator->handlesSchema() && static_cast<xercesc_3_1::SchemaValidator*>(validator)->getIsXsiTypeSet();
  if (isLeftOver || (!element.declaration.isDeclared() && namesType(element))) {
    m_rejector.reject("The element '" + shownName(element.declaration.getFullName()) +
                      "' names a type where none is expected.");
  }
}

bool DocumentChecks::namesType(const ElementStart& element) const {
  const unsigned int xsi = m_namespaces.getId(SchemaSymbols::fgURI_XSI);
  for (XMLSize_t index = 0; index < element.attributeCount; ++index) {
    const XMLAttr& attribute = *element.attributes.elementAt(index);
    if (attribute.getURIId() == xsi && XMLString::equals(attribute.getName(), SchemaSymbols::fgATT_TYPE)) {
      return true;
    }
  }
  return false;
}

void DocumentChecks::doctype() {
  if (m_validating) {
    m_rejector.reject("A document type declaration is not accepted in a validated document.");
  }
  m_input.beginDoctype();
}

void DocumentChecks::doctypeAttribute(const xercesc_3_1::DTDAttDef& attribute) {
  m_rejector.enforceLimit(++m_doctypeAttributes, Limits::doctypeAttributes);
  m_charactersOfDefaults += XMLString::stringLen(attribute.getValue());
}

void DocumentChecks::doctypeEntity(bool isParameterEntity) {
  if (isParameterEntity) {
    m_rejector.reject("A parameter entity is not accepted in a document.");
  }
}

}  // namespace Drelvan::Parsing
