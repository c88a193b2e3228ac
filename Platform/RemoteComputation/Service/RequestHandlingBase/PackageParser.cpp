// Where to look: the limits are the table in parser/Limits.h, and parser/DocumentChecks.cpp enforces them. What is
// taken from within Xerces-C is in parser/XercesAccess.h. What a document leaves behind, also a failed one, is removed
// by `prepareScanner` and `renewScannerIfLarge` below; its tree, by `RequestXmlHelper`.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/PackageParser.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestNamespace.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/CountedIds.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/CountedInput.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/DocumentChecks.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/DocumentRejector.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/GrammarPool.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/NoResources.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/SilencedScanner.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/TreeBuilder.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/XercesAccess.h>

#include <boost/locale/encoding_utf.hpp>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/DTD/DTDEntityDecl.hpp>
#include <xercesc/validators/schema/SchemaElementDecl.hpp>

namespace Drelvan {

namespace {

using xercesc_3_1::XMLPlatformUtils;

/// Nested elements of the schema's namespace.
std::string nestedElements(std::size_t depth) {
  // The scanner searches all open elements for the default namespace, up to the one that declares it.
  constexpr std::size_t declareEvery = 32;
  const std::string declaring = std::string("<d xmlns='") + c_requestNamespace + "'>";
  std::string text;
  for (std::size_t level = 0; level < depth; ++level) {
    text += level % declareEvery == 0 ? declaring : "<d>";
  }
  for (std::size_t level = 0; level < depth; ++level) {
    text += "</d>";
  }
  return text;
}

/// The errors of one document, for the exception of the failed parse.
class ErrorReports {
 public:
  void beginDocument() {
    m_reports.clear();
    m_count = 0;
  }

  /// `message` is called only when the report is stored.
  template <typename Message>
  void add(PackageErrors::Severity severity, XMLFileLoc line, XMLFileLoc column, Message message) {
    if (m_reports.size() < PackageErrors::c_maxReports) {
      m_reports.push_back({severity, line, column, message()});
    }
    ++m_count;
  }

  /// The reports, which are removed from here.
  PackageErrors take() { return {std::exchange(m_reports, {}), m_count}; }

 private:
  std::vector<PackageErrors::Report> m_reports;
  std::size_t m_count = 0;
};

PackageErrors::Severity severityOf(xercesc_3_1::XMLErrorReporter::ErrTypes type) {
  switch (type) {
    case xercesc_3_1::XMLErrorReporter::ErrType_Warning:
      return PackageErrors::Severity::Warning;
    case xercesc_3_1::XMLErrorReporter::ErrType_Error:
      return PackageErrors::Severity::Error;
    default:
      return PackageErrors::Severity::FatalError;
  }
}

std::string toUtf8(const XMLCh* text) {
  return boost::locale::conv::utf_to_utf<char>(text, text + xercesc_3_1::XMLString::stringLen(text));
}

}  // namespace

/// The parts of the parser besides Xerces-C's.
struct PackageParser::Parts {
  explicit Parts(PackageParser& parser)
      : rejector([&parser](const std::string& message) { parser.reportRejection(message); }),
        input([&parser] { return Parsing::XercesAccess::mostAttributes(*parser.fScanner); }),
        source(input),
        checks(rejector, input, parser.m_grammarPool->namespaces()),
        tree(rejector) {}

  Parsing::NoResources resources;
  xercesc_3_1::SecurityManager expansions;
  ErrorReports reports;
  Parsing::DocumentRejector rejector;
  Parsing::InputCounts input;
  Parsing::CountedInput source;
  Parsing::DocumentChecks checks;
  Parsing::TreeBuilder tree;
  bool isScannerStale = false;  ///< it must be renewed before its next use
};

PackageParserPool::PackageParserPool() : m_grammarPool(std::make_unique<Parsing::GrammarPool>()) {}

PackageParserPool::~PackageParserPool() = default;

PackageParser::PackageParser()
    : XercesDOMParser(nullptr, XMLPlatformUtils::fgMemoryManager, m_grammarPool.get()),
      m_parts(std::make_unique<Parts>(*this)) {}

PackageParser::~PackageParser() = default;

// Setting up.

void PackageParser::loadSchema(const xercesc_3_1::InputSource& source) {
  if (m_parts->isScannerStale) {
    undoSetUp();
  }
  m_parts->isScannerStale = true;
  loadGrammar(source, xercesc_3_1::Grammar::SchemaGrammarType, true);
}

void PackageParser::undoSetUp() {
  setParseInProgress(false);
  setErrorHandler(nullptr);
  setXMLEntityResolver(nullptr);
  setSecurityManager(nullptr);
  resetCachedGrammarPool();
  m_grammarPool->namespaces().flushAll();
  useScanner(xercesc_3_1::XMLUni::fgIGXMLScanner);
}

void PackageParser::enableLimits() {
  setXMLEntityResolver(&m_parts->resources);
  m_parts->expansions.setEntityExpansionLimit(Parsing::Limits::entityExpansions);
  setSecurityManager(&m_parts->expansions);
  m_grammarPool->namespaces().endSchema(m_parts->rejector, [this] {
    m_parts->checks.noteXsi();
    Parsing::XercesAccess::lookForXsiType(*fScanner);
  });
  renewScanner();
}

// Parsing one document.

void PackageParser::parse(const xercesc_3_1::InputSource& source) {
  prepareScanner();
  const bool validating = getValidationScheme() != Val_Never;
  m_parts->reports.beginDocument();
  m_parts->rejector.beginDocument();
  m_parts->input.beginDocument(validating);
  m_parts->checks.beginDocument(validating);
  try {
    m_parts->source.readFrom(source);
    XercesDOMParser::parse(m_parts->source);
    m_parts->checks.endDocument();
  } catch (const Parsing::DocumentRejected&) {
    // The reason has been reported to the error handler.
  } catch (const xercesc_3_1::OutOfMemoryException&) {
    // The one exception after which Xerces-C does not clean up.
    setParseInProgress(false);
    m_parts->isScannerStale = true;
    throw;
  }
  renewScannerIfLarge();
}

PackageErrors PackageParser::takeErrors() { return m_parts->reports.take(); }

void PackageParser::prepareScanner() {
  if (m_parts->isScannerStale) {
    renewScanner();
  }
  if (fScanner->getXMLVersion() != xercesc_3_1::XMLReader::XMLV1_0) {
    // The scanner would read a document without XML declaration as the last one with a declaration.
    Parsing::SilencedScanner(*fScanner, *this).scan("<?xml version='1.0'?><d/>");
  }
  if (m_parts->checks.hasUndeclaredElements()) {
    Parsing::XercesAccess::forgetUndeclaredElements(*fScanner);
    m_parts->checks.forgetUndeclaredElements();
  }
}

bool PackageParser::isScannerLarge() const {
  namespace Renewal = Parsing::Renewal;
  const std::size_t prefixes = m_parts->checks.prefixes();
  const std::size_t names = prefixes + m_grammarPool->namespaces().documentNames();
  const std::size_t attributes = Parsing::XercesAccess::mostAttributes(*fScanner);
  const std::size_t bytesOfFailures =
      m_parts->rejector.exceedsLimit() ? Renewal::bytesAfterLimit : Renewal::bytesAfterFailure;
  const bool hasFailed = m_parts->rejector.exceedsLimit() || m_parts->checks.hasErrors();
  return names > Renewal::names || prefixes > Renewal::prefixes ||
         attributes > Parsing::Limits::attributesOfElement.most ||
         m_parts->input.bytes() > (hasFailed ? bytesOfFailures : Renewal::bytes);
}

void PackageParser::renewScannerIfLarge() {
  if (!isScannerLarge()) {
    return;
  }
  try {
    renewScanner();
  } catch (...) {
    // The parsed document is unaffected; the scanner stays stale, and the next parse tries again.
  }
}

void PackageParser::renewScanner() {
  m_parts->isScannerStale = true;
  setParseInProgress(false);
  m_grammarPool->namespaces().beginElement();
  useScanner(xercesc_3_1::XMLUni::fgIGXMLScanner);
  Parsing::XercesAccess::setIds(*fScanner, std::make_unique<Parsing::CountedIds>(m_parts->checks.hasTooManyIds()));
  m_grammarPool->namespaces().dropDocuments();
  m_parts->checks.forgetPrefixes();
  m_parts->input.forgetBytes();
  // The scanner doubles its array of element states once per element of the schema, however far the depth has increased
  // since the last one, and would write past it. Growing it to the depth limit level by level leaves nothing to grow.
  Parsing::SilencedScanner(*fScanner, *this).scan(nestedElements(Parsing::Limits::depth.most + 2));
  m_parts->isScannerStale = false;
}

// Callbacks of the scanner.

void PackageParser::error(unsigned int code, const XMLCh* domain, ErrTypes type, const XMLCh* text,
                          const XMLCh* systemId, const XMLCh* publicId, XMLFileLoc line, XMLFileLoc column) {
  if (getErrorHandler() != nullptr) {
    m_parts->checks.error();
  }
  m_parts->reports.add(severityOf(type), line, column, [text] { return toUtf8(text); });
  XercesDOMParser::error(code, domain, type, text, systemId, publicId, line, column);
}

void PackageParser::reportRejection(const std::string& message) {
  xercesc_3_1::ReaderMgr::LastExtEntityInfo place;
  fScanner->getReaderMgr()->getLastExtEntityInfo(place);
  m_parts->reports.add(PackageErrors::Severity::FatalError, place.lineNumber, place.colNumber,
                       [&message] { return message; });
  const std::u16string text = boost::locale::conv::utf_to_utf<char16_t>(message);
  getErrorHandler()->fatalError(xercesc_3_1::SAXParseException(text.c_str(), place.publicId, place.systemId,
                                                               place.lineNumber, place.colNumber,
                                                               XMLPlatformUtils::fgMemoryManager));
}

void PackageParser::startDocument() {
  XercesDOMParser::startDocument();
  m_parts->tree.beginDocument(*fDocument);
}

void PackageParser::startElement(const xercesc_3_1::XMLElementDecl& declaration, unsigned int uri, const XMLCh* prefix,
                                 const xercesc_3_1::RefVectorOf<xercesc_3_1::XMLAttr>& attributes,
                                 XMLSize_t attributeCount, bool isEmpty, bool isRoot) {
  m_parts->checks.startElement({declaration, attributes, attributeCount, isRoot}, fScanner->getValidator());
  xercesc_3_1::DOMElementNSImpl& element =
      m_parts->tree.makeElement(*fScanner, declaration, uri, prefix, attributes, attributeCount);
  if (fCurrentParent == fDocument) {
    fDocument->appendChild(&element);
  } else {
    Parsing::TreeBuilder::append(*fCurrentParent, element);
  }
  fCurrentParent = &element;
  fCurrentNode = &element;
  fWithinElement = true;
  if (isEmpty) {
    endElement(declaration, uri, isRoot, prefix);
  }
}

void PackageParser::endElement(const xercesc_3_1::XMLElementDecl& declaration, unsigned int uri, bool isRoot,
                               const XMLCh* prefix) {
  m_parts->checks.endElement();
  xercesc_3_1::DOMNode* parent = Parsing::TreeBuilder::parentWithinRoot(*fCurrentParent, *fDocument);
  if (parent == nullptr) {
    XercesDOMParser::endElement(declaration, uri, isRoot, prefix);
    return;
  }
  fCurrentNode = fCurrentParent;
  fCurrentParent = parent;
}

void PackageParser::docCharacters(const XMLCh* characters, XMLSize_t length, bool isCdata) {
  const bool beginsText = fWithinElement && !isCdata && fCurrentNode->getNodeType() != xercesc_3_1::DOMNode::TEXT_NODE;
  if (!beginsText) {
    XercesDOMParser::docCharacters(characters, length, isCdata);
    return;
  }
  xercesc_3_1::DOMTextImpl& text = m_parts->tree.makeText(characters, length);
  Parsing::TreeBuilder::append(*fCurrentParent, text);
  fCurrentNode = &text;
}

void PackageParser::doctypeDecl(const xercesc_3_1::DTDElementDecl& root, const XMLCh* publicId, const XMLCh* systemId,
                                bool hasInternalSubset, bool hasExternalSubset) {
  m_parts->checks.doctype();
  XercesDOMParser::doctypeDecl(root, publicId, systemId, hasInternalSubset, hasExternalSubset);
}

void PackageParser::attDef(const xercesc_3_1::DTDElementDecl& element, const xercesc_3_1::DTDAttDef& attribute,
                           bool ignoring) {
  m_parts->checks.doctypeAttribute(attribute);
  XercesDOMParser::attDef(element, attribute, ignoring);
}

void PackageParser::entityDecl(const xercesc_3_1::DTDEntityDecl& entity, bool isParameterEntity, bool isIgnored) {
  m_parts->checks.doctypeEntity(isParameterEntity);
  XercesDOMParser::entityDecl(entity, isParameterEntity, isIgnored);
}

}  // namespace Drelvan
