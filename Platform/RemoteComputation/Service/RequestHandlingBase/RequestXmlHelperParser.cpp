// The parser of RequestXmlHelper: Xerces-C's, with limits on what one document may cost and on what documents leave
// behind.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestNamespace.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>

#include <algorithm>
#include <boost/locale/encoding_utf.hpp>
#include <cstddef>
#include <exception>
#include <functional>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/internal/IGXMLScanner.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/util/BinInputStream.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/StringPool.hpp>
#include <xercesc/util/XMLEntityResolver.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/DTD/DTDEntityDecl.hpp>
#include <xercesc/validators/common/GrammarResolver.hpp>
#include <xercesc/validators/schema/SchemaElementDecl.hpp>
#include <xercesc/validators/schema/SchemaSymbols.hpp>
#include <xercesc/validators/schema/SchemaValidator.hpp>

namespace Drelvan {

namespace {

using xercesc_3_1::BinInputStream;
using xercesc_3_1::IGXMLScanner;
using xercesc_3_1::InputSource;
using xercesc_3_1::SchemaSymbols;
using xercesc_3_1::XMLAttr;
using xercesc_3_1::XMLPlatformUtils;
using xercesc_3_1::XMLString;
using xercesc_3_1::XMLUni;

static_assert(std::is_same_v<XMLCh, char16_t>, "the messages below are UTF-16 text of the parser library's type");

// What one document may hold. SECURITY.md lists these for the users.
constexpr std::size_t c_maxDepth = 1000;
constexpr std::size_t c_maxAttributesOfElement = 1000;
constexpr std::size_t c_maxNamespaceDeclarations = 10000;
constexpr std::size_t c_maxNamespacesInScope = 256;
constexpr std::size_t c_maxNamespacesOfElement = 1000;
constexpr std::size_t c_maxNamespaceCharacters = 1000;
constexpr std::size_t c_maxUndeclaredElements = 10000;
constexpr std::size_t c_maxProblems = 1000;
constexpr std::size_t c_maxEntityExpansions = 64;
constexpr std::size_t c_maxDoctypeBytes = 16384;
constexpr std::size_t c_maxDoctypeAttributes = 100;
constexpr std::size_t c_maxDoctypeLookups = 100000;
constexpr std::size_t c_maxDoctypeDefaults = 10'000'000;

/// Until the root element is met, an unvalidated document is read in pieces of this size, so that the length of its
/// document type declaration can be told.
constexpr std::size_t c_prologPiece = 4096;

// When the scanner is renewed, which frees what it keeps of the documents it has read: after so many new names, or
// after so many bytes, any of which may have made its buffers grow. Documents that fail, and those that exceed a limit,
// can make them grow most.
constexpr std::size_t c_maxKeptNames = 1000;
constexpr std::size_t c_maxKeptBytes = std::size_t{64} << 20U;
constexpr std::size_t c_maxKeptBytesAfterFailure = std::size_t{4} << 20U;
constexpr std::size_t c_maxKeptBytesAfterExcess = std::size_t{64} << 10U;

constexpr XMLSize_t c_maxShownName = 100;

std::u16string toWide(const std::string& text) { return boost::locale::conv::utf_to_utf<char16_t>(text); }

/// A name of the document for a message, shortened when it is very long.
std::string shownName(const XMLCh* name) {
  const XMLSize_t length = XMLString::stringLen(name);
  const std::string shown = boost::locale::conv::utf_to_utf<char>(name, name + std::min(length, c_maxShownName));
  return length > c_maxShownName ? shown + "..." : shown;
}

// Three members that the parser library keeps to itself. Two its scanner gets wrong: whether it has seen the namespace
// of xsi:type declared, which it tells from the text before references are resolved; and the undeclared elements it has
// met, which change how it validates later elements of the same names, in later documents too. In the third the
// validator looks up namespaces, which must be those of the documents as well. An explicit instantiation may name
// private members.
struct SeenXsi {
  using Member = bool IGXMLScanner::*;
  friend Member memberOf(SeenXsi);
};
struct UndeclaredElements {
  using Member = xercesc_3_1::RefHash3KeysIdPool<xercesc_3_1::SchemaElementDecl>* IGXMLScanner::*;
  friend Member memberOf(UndeclaredElements);
};
struct ValidatorUris {
  using Member = xercesc_3_1::XMLStringPool* xercesc_3_1::GrammarResolver::*;
  friend Member memberOf(ValidatorUris);
};
template <typename Tag, typename Tag::Member Pointer>
struct Reach {
  friend typename Tag::Member memberOf(Tag) { return Pointer; }
};
template struct Reach<SeenXsi, &IGXMLScanner::fSeeXsi>;
template struct Reach<UndeclaredElements, &IGXMLScanner::fSchemaElemNonDeclPool>;
template struct Reach<ValidatorUris, &xercesc_3_1::GrammarResolver::fStringPool>;

/// Leaves a parse whose refusal has been reported.
struct Refusal {};

/// The source of a resource that does not exist as far as documents are concerned.
class MissingSource final : public InputSource {
 public:
  explicit MissingSource(const XMLCh* systemId) : InputSource(systemId, XMLPlatformUtils::fgMemoryManager) {}
  BinInputStream* makeStream() const override { return nullptr; }
};

/// Lets no document reach a file or a connection.
class NoResources final : public xercesc_3_1::XMLEntityResolver {
 public:
  InputSource* resolveEntity(xercesc_3_1::XMLResourceIdentifier* resource) override {
    return new MissingSource(resource->getSystemId());
  }
};

/// The schema's namespace names, under their numbers, followed by those that documents bring, which can be dropped.
class DocumentUris final : public xercesc_3_1::XMLStringPool {
 public:
  using OnExcess = std::function<void(std::size_t most, const char* what)>;

  /// `onExcess` is called when one element names too many namespaces: the scanner resolves all of them before it hands
  /// the element over, each at a cost that grows with their number. And when a name is too long: the scanner goes
  /// through it at each element that has it.
  /// `onXsi` is called when the namespace of xsi:type is named.
  DocumentUris(const XMLStringPool& schema, OnExcess onExcess, std::function<void()> onXsi)
      : m_schema(schema), m_onExcess(std::move(onExcess)), m_onXsi(std::move(onXsi)) {
    takeSchema();
  }

  void beginElement() { m_lookups = 0; }
  /// Whether the element that is being scanned names any namespace.
  bool areNamed() const { return m_lookups != 0; }

  unsigned int addOrFind(const XMLCh* uri) override {
    if (++m_lookups > c_maxNamespacesOfElement) {
      m_onExcess(c_maxNamespacesOfElement, "namespaces named by an element");
    }
    const unsigned int id = XMLStringPool::addOrFind(uri);
    if (id > m_given && XMLString::stringLen(uri) > c_maxNamespaceCharacters) {
      m_onExcess(c_maxNamespaceCharacters, "characters of a namespace name");
    }
    if (id == m_xsi) {
      m_onXsi();
    }
    return id;
  }

  void flushAll() override {
    XMLStringPool::flushAll();
    takeSchema();
  }

  unsigned int ownCount() const { return getStringCount() - m_given; }

 private:
  void takeSchema() {
    for (unsigned int id = 1; id <= m_schema.getStringCount(); ++id) {
      XMLStringPool::addOrFind(m_schema.getValueForId(id));
    }
    m_xsi = XMLStringPool::addOrFind(SchemaSymbols::fgURI_XSI);
    m_given = XMLStringPool::getStringCount();
  }

  const XMLStringPool& m_schema;
  const OnExcess m_onExcess;
  const std::function<void()> m_onXsi;
  unsigned int m_xsi = 0;
  unsigned int m_given = 0;  ///< how many names no document has brought
  std::size_t m_lookups = 0;
};

bool isXmlns(const XMLCh* name) { return *name == u'x' && XMLString::equals(name, XMLUni::fgXMLNSString); }

bool hasPrefix(const XMLAttr& attribute) { return attribute.getPrefix() != nullptr && *attribute.getPrefix() != 0; }

/// Elements of the schema's namespace, one in the other.
std::string nestedElements(std::size_t depth) {
  // The scanner looks for the default namespace through all open elements up to the one that declares it.
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

}  // namespace

/// What is known of the document being parsed, and of those before it.
struct RequestXmlHelper::Parser::State {
  /// An open element that declares namespaces.
  struct Scope {
    std::size_t depth;
    std::size_t declarations;
  };

  NoResources resources;
  std::unique_ptr<CountedSource> source;
  xercesc_3_1::SecurityManager expansions;
  xercesc_3_1::XMLStringPool* schemaUris = nullptr;
  std::unique_ptr<DocumentUris> uris;

  // Of this document:
  bool validating = false;
  bool inProlog = false;
  bool inSubset = false;
  std::size_t doctypeBytes = 0;
  bool isCutOff = false;
  std::size_t doctypeAttributes = 0;
  std::size_t doctypeLookups = 0;
  std::size_t charactersOfDefaults = 0;  ///< of all that are declared
  std::size_t doctypeDefaults = 0;       ///< characters that elements have been given, at most
  std::size_t namespaceDeclarations = 0;
  std::size_t namespacesInScope = 0;
  std::vector<Scope> scopes;
  std::unordered_set<const void*> undeclaredElements;
  bool seenXsi = false;
  std::size_t problems = 0;
  bool exceeded = false;

  // Of all documents since the scanner was renewed:
  std::unordered_set<std::u16string> prefixes;
  std::size_t bytes = 0;
  bool stale = false;  ///< the scanner must be renewed before its next use

  void beginDocument(bool validate) {
    validating = validate;
    inProlog = !validate;
    inSubset = false;
    doctypeBytes = 0;
    isCutOff = false;
    doctypeAttributes = 0;
    doctypeLookups = 0;
    charactersOfDefaults = 0;
    doctypeDefaults = 0;
    namespaceDeclarations = 0;
    namespacesInScope = 0;
    scopes.clear();
    seenXsi = false;
    problems = 0;
    exceeded = false;
    uris->beginElement();
  }

  /// Closes the scopes that an element opened at `depth` is not in.
  void closeScopes(std::size_t depth) {
    while (!scopes.empty() && scopes.back().depth >= depth) {
      namespacesInScope -= scopes.back().declarations;
      scopes.pop_back();
    }
  }

  /// The depth of the innermost open element that declares namespaces; 0 when none does.
  std::size_t innermostScope() const { return scopes.empty() ? 0 : scopes.back().depth; }

  std::size_t maxKeptBytes() const {
    const std::size_t mostAfterFailure = exceeded ? c_maxKeptBytesAfterExcess : c_maxKeptBytesAfterFailure;
    return problems == 0 && !exceeded ? c_maxKeptBytes : mostAfterFailure;
  }

  bool keepsTooMuch() const {
    const std::size_t names = prefixes.size() + uris->ownCount();
    return names > c_maxKeptNames || bytes > maxKeptBytes();
  }
};

/// Counts what is read, and reads an unvalidated document in small pieces up to its root element.
class RequestXmlHelper::Parser::CountedStream final : public BinInputStream {
 public:
  CountedStream(std::unique_ptr<BinInputStream> inner, Parser& parser) : m_inner(std::move(inner)), m_parser(parser) {}

  XMLFilePos curPos() const override { return m_inner->curPos(); }
  const XMLCh* getContentType() const override { return m_inner->getContentType(); }
  const XMLCh* getEncoding() const override { return m_inner->getEncoding(); }

  XMLSize_t readBytes(XMLByte* bytes, XMLSize_t most) override {
    State& state = *m_parser.m_state;
    if (state.isCutOff) {
      return 0;
    }
    const XMLSize_t count = readInner(bytes, state.inProlog ? std::min(most, c_prologPiece) : most);
    state.bytes += count;
    if (state.inSubset) {
      state.doctypeBytes += count;
      // Leaving from here would lose the content model that the parser library is reading; the end of the text does
      // not.
      state.isCutOff = state.doctypeBytes > c_maxDoctypeBytes;
    }
    return state.isCutOff ? 0 : count;
  }

 private:
  /// The parser library reads for the first time while it constructs its reader, and loses the reader's names, and
  /// sometimes this stream, when that throws. So an exception of the first read waits for the second.
  XMLSize_t readInner(XMLByte* bytes, XMLSize_t most) {
    if (m_failureOfFirstRead != nullptr) {
      std::rethrow_exception(m_failureOfFirstRead);
    }
    if (m_begun) {
      return m_inner->readBytes(bytes, most);
    }
    m_begun = true;
    try {
      return m_inner->readBytes(bytes, most);
    } catch (...) {
      m_failureOfFirstRead = std::current_exception();
      return 0;
    }
  }

  const std::unique_ptr<BinInputStream> m_inner;
  Parser& m_parser;
  bool m_begun = false;
  std::exception_ptr m_failureOfFirstRead;
};

/// The source of the document being parsed, read through a `CountedStream`. One serves all documents: making one is a
/// measurable part of the cost of a small document.
class RequestXmlHelper::Parser::CountedSource final : public InputSource {
 public:
  explicit CountedSource(Parser& parser) : InputSource(XMLPlatformUtils::fgMemoryManager), m_parser(parser) {}

  /// `inner` must live until the parse has ended.
  void readFrom(const InputSource& inner) { m_inner = &inner; }

  const XMLCh* getEncoding() const override { return m_inner->getEncoding(); }
  const XMLCh* getPublicId() const override { return m_inner->getPublicId(); }
  const XMLCh* getSystemId() const override { return m_inner->getSystemId(); }
  bool getIssueFatalErrorIfNotFound() const override { return m_inner->getIssueFatalErrorIfNotFound(); }

  BinInputStream* makeStream() const override {
    std::unique_ptr<BinInputStream> stream(m_inner->makeStream());
    return stream == nullptr ? nullptr : new CountedStream(std::move(stream), m_parser);
  }

 private:
  Parser& m_parser;
  const InputSource* m_inner = nullptr;
};

/// Silences a scanner for a document that no one is to hear of.
class RequestXmlHelper::Parser::Muted {
 public:
  explicit Muted(Parser& parser) : m_parser(parser), m_scheme(parser.fScanner->getValidationScheme()) {
    set(nullptr, nullptr, nullptr, xercesc_3_1::XMLScanner::Val_Never);
  }
  Muted(const Muted&) = delete;
  Muted& operator=(const Muted&) = delete;
  ~Muted() { set(&m_parser, &m_parser, &m_parser, m_scheme); }

 private:
  void set(xercesc_3_1::XMLDocumentHandler* document, xercesc_3_1::DocTypeHandler* doctype,
           xercesc_3_1::XMLErrorReporter* reporter, xercesc_3_1::XMLScanner::ValSchemes scheme) {
    m_parser.fScanner->setDocHandler(document);
    m_parser.fScanner->setDocTypeHandler(doctype);
    m_parser.fScanner->setErrorReporter(reporter);
    m_parser.fScanner->setValidationScheme(scheme);
  }

  Parser& m_parser;
  const xercesc_3_1::XMLScanner::ValSchemes m_scheme;
};

RequestXmlHelper::Parser::Parser()
    : XercesDOMParser(nullptr, XMLPlatformUtils::fgMemoryManager, nullptr), m_state(std::make_unique<State>()) {}

RequestXmlHelper::Parser::~Parser() = default;

void RequestXmlHelper::Parser::loadSchema(const InputSource& source) {
  if (m_state->stale) {
    forgetFailedSetUp();
  }
  m_state->stale = true;
  loadGrammar(source, xercesc_3_1::Grammar::SchemaGrammarType, true);
}

void RequestXmlHelper::Parser::forgetFailedSetUp() {
  setParseInProgress(false);
  setErrorHandler(nullptr);
  setXMLEntityResolver(nullptr);
  setSecurityManager(nullptr);
  if (m_state->schemaUris != nullptr) {
    useUris(*m_state->schemaUris);
  }
  useScanner(XMLUni::fgIGXMLScanner);
  resetCachedGrammarPool();
}

void RequestXmlHelper::Parser::useUris(xercesc_3_1::XMLStringPool& uris) {
  fURIStringPool = &uris;
  fGrammarResolver->*memberOf(ValidatorUris()) = &uris;
}

void RequestXmlHelper::Parser::protect() {
  setXMLEntityResolver(&m_state->resources);
  m_state->expansions.setEntityExpansionLimit(c_maxEntityExpansions);
  setSecurityManager(&m_state->expansions);
  m_state->source = std::make_unique<CountedSource>(*this);
  m_state->schemaUris = fURIStringPool;
  const auto refuseNamespaces = [this](std::size_t most, const char* what) { refuseExcess(most, what); };
  const auto noteXsi = [this] {
    m_state->seenXsi = true;
    static_cast<IGXMLScanner*>(fScanner)->*memberOf(SeenXsi()) = true;
  };
  m_state->uris = std::make_unique<DocumentUris>(*m_state->schemaUris, refuseNamespaces, noteXsi);
  useUris(*m_state->uris);
  renewScanner();
}

void RequestXmlHelper::Parser::parse(const InputSource& source) {
  if (m_state->stale) {
    renewScanner();
  }
  if (fScanner->getXMLVersion() != xercesc_3_1::XMLReader::XMLV1_0) {
    // The scanner reads documents without a declaration as the last one that had one.
    scanUnheard("<?xml version='1.0'?><d/>");
  }
  forgetUndeclaredElements();
  m_state->beginDocument(getValidationScheme() != Val_Never);
  m_depth = 0;
  m_checkedDepth = 1;
  try {
    m_state->source->readFrom(source);
    XercesDOMParser::parse(*m_state->source);
    refuseCutOff();
  } catch (const Refusal&) {
    // The handler has it.
  } catch (const xercesc_3_1::OutOfMemoryException&) {
    // The one exception after which the parser library does not clean up.
    setParseInProgress(false);
    m_state->stale = true;
    throw;
  }
  if (m_state->keepsTooMuch()) {
    renewScannerOrLater();
  }
}

void RequestXmlHelper::Parser::forgetUndeclaredElements() {
  if (!m_state->undeclaredElements.empty()) {
    (static_cast<IGXMLScanner*>(fScanner)->*memberOf(UndeclaredElements()))->removeAll();
    m_state->undeclaredElements.clear();
  }
}

void RequestXmlHelper::Parser::renewScannerOrLater() {
  try {
    renewScanner();
  } catch (...) {
    // The document just parsed is none the worse; the scanner stays stale, and the next parse tries again.
  }
}

void RequestXmlHelper::Parser::renewScanner() {
  m_state->stale = true;
  setParseInProgress(false);
  m_state->uris->beginElement();
  useScanner(XMLUni::fgIGXMLScanner);
  m_state->uris->flushAll();
  m_state->prefixes.clear();
  m_state->bytes = 0;
  growElementStates();
  m_state->stale = false;
}

void RequestXmlHelper::Parser::growElementStates() {
  // The scanner doubles its array of element states once per element of the schema, however far the depth has jumped
  // since the last one, and would write behind it. Growing it to the depth limit level by level leaves nothing to grow.
  scanUnheard(nestedElements(c_maxDepth + 2));
}

void RequestXmlHelper::Parser::scanUnheard(const std::string& document) {
  const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(document.data()), document.size(), "",
                                              false, XMLPlatformUtils::fgMemoryManager);
  const Muted muted(*this);
  fScanner->scanDocument(source);
}

void RequestXmlHelper::Parser::refuse(const std::string& message) {
  xercesc_3_1::ReaderMgr::LastExtEntityInfo place;
  fScanner->getReaderMgr()->getLastExtEntityInfo(place);
  const xercesc_3_1::SAXParseException problem(toWide(message).c_str(), place.publicId, place.systemId,
                                               place.lineNumber, place.colNumber, XMLPlatformUtils::fgMemoryManager);
  getErrorHandler()->fatalError(problem);
  throw Refusal();
}

inline void RequestXmlHelper::Parser::limit(std::size_t count, std::size_t most, const char* what) {
  if (count > most) {
    refuseExcess(most, what);
  }
}

void RequestXmlHelper::Parser::refuseCutOff() {
  if (m_state->isCutOff) {
    refuseExcess(c_maxDoctypeBytes, "bytes of document type declaration");
  }
}

void RequestXmlHelper::Parser::refuseExcess(std::size_t most, const char* what) {
  m_state->exceeded = true;
  refuse("The document exceeds the limit of " + std::to_string(most) + " " + what + ".");
}

void RequestXmlHelper::Parser::error(unsigned int code, const XMLCh* domain, ErrTypes type, const XMLCh* text,
                                     const XMLCh* systemId, const XMLCh* publicId, XMLFileLoc line, XMLFileLoc column) {
  if (getErrorHandler() != nullptr) {
    refuseCutOff();
    limit(++m_state->problems, c_maxProblems, "reported problems");
  }
  XercesDOMParser::error(code, domain, type, text, systemId, publicId, line, column);
}

void RequestXmlHelper::Parser::startElement(const xercesc_3_1::XMLElementDecl& declaration, unsigned int uri,
                                            const XMLCh* prefix, const xercesc_3_1::RefVectorOf<XMLAttr>& attributes,
                                            XMLSize_t attributeCount, bool isEmpty, bool isRoot) {
  ++m_depth;
  if (m_depth > m_checkedDepth && m_depth <= c_maxDepth && attributeCount == 0 && declaration.isDeclared()) {
    XercesDOMParser::startElement(declaration, uri, prefix, attributes, attributeCount, isEmpty, isRoot);
  } else {
    startChecked(declaration, uri, prefix, attributes, attributeCount, isEmpty, isRoot);
  }
}

void RequestXmlHelper::Parser::endElement(const xercesc_3_1::XMLElementDecl& declaration, unsigned int uri, bool isRoot,
                                          const XMLCh* prefix) {
  --m_depth;
  XercesDOMParser::endElement(declaration, uri, isRoot, prefix);
}

void RequestXmlHelper::Parser::startChecked(const xercesc_3_1::XMLElementDecl& declaration, unsigned int uri,
                                            const XMLCh* prefix, const xercesc_3_1::RefVectorOf<XMLAttr>& attributes,
                                            XMLSize_t attributeCount, bool isEmpty, bool isRoot) {
  State& state = *m_state;
  limit(m_depth, c_maxDepth, "levels of elements");
  limit(attributeCount, c_maxAttributesOfElement, "attributes of an element");
  state.inProlog = false;
  state.inSubset = false;
  state.closeScopes(m_depth);
  if (state.uris->areNamed()) {
    checkNamespaces(attributes, attributeCount);
  }
  if (state.doctypeAttributes != 0) {
    limit(state.doctypeLookups += state.doctypeAttributes, c_maxDoctypeLookups,
          "lookups of attributes in its document type declaration");
    limit(state.doctypeDefaults += state.charactersOfDefaults, c_maxDoctypeDefaults,
          "characters of its default attribute values");
  }
  m_checkedDepth = state.doctypeAttributes != 0 ? c_maxDepth : state.innermostScope();
  if (!declaration.isDeclared()) {
    checkUndeclared(declaration, isRoot);
  }
  if (state.seenXsi && state.validating && state.problems == 0 && attributeCount != 0) {
    checkNamedType(declaration, attributes, attributeCount);
  }
  XercesDOMParser::startElement(declaration, uri, prefix, attributes, attributeCount, isEmpty, isRoot);
}

void RequestXmlHelper::Parser::checkNamespaces(const xercesc_3_1::RefVectorOf<XMLAttr>& attributes, XMLSize_t count) {
  State& state = *m_state;
  state.uris->beginElement();
  std::size_t declarations = 0;
  for (XMLSize_t index = 0; index < count; ++index) {
    const XMLAttr& attribute = *attributes.elementAt(index);
    const bool declaresPrefix = hasPrefix(attribute) && isXmlns(attribute.getPrefix());
    if (declaresPrefix) {
      state.prefixes.insert(attribute.getName());
    }
    if (declaresPrefix || isXmlns(attribute.getName())) {
      ++declarations;
    }
  }
  limit(state.namespaceDeclarations += declarations, c_maxNamespaceDeclarations, "namespace declarations");
  limit(state.namespacesInScope += declarations, c_maxNamespacesInScope, "namespace declarations in scope");
  state.scopes.push_back({m_depth, declarations});
}

void RequestXmlHelper::Parser::checkUndeclared(const xercesc_3_1::XMLElementDecl& declaration, bool isRoot) {
  State& state = *m_state;
  state.undeclaredElements.insert(&declaration);
  limit(state.undeclaredElements.size(), c_maxUndeclaredElements, "undeclared elements of different names");
  // The parser library lets a root pass that names its own type.
  if (isRoot && state.validating && state.problems == 0) {
    refuse("The root element '" + shownName(declaration.getFullName()) + "' is not declared in the schema.");
  }
}

void RequestXmlHelper::Parser::checkNamedType(const xercesc_3_1::XMLElementDecl& declaration,
                                              const xercesc_3_1::RefVectorOf<XMLAttr>& attributes, XMLSize_t count) {
  // Where a wildcard of the schema takes an element without validating it, the parser library ignores the type that the
  // element names, or validates the next element by it.
  xercesc_3_1::XMLValidator* validator = fScanner->getValidator();
  const bool isLeftOver =
      validator->handlesSchema() && static_cast<xercesc_3_1::SchemaValidator*>(validator)->getIsXsiTypeSet();
  if (isLeftOver || (!declaration.isDeclared() && namesType(attributes, count))) {
    refuse("The element '" + shownName(declaration.getFullName()) + "' names a type where none is expected.");
  }
}

bool RequestXmlHelper::Parser::namesType(const xercesc_3_1::RefVectorOf<XMLAttr>& attributes, XMLSize_t count) const {
  const unsigned int xsi = fURIStringPool->getId(SchemaSymbols::fgURI_XSI);
  for (XMLSize_t index = 0; index < count; ++index) {
    const XMLAttr& attribute = *attributes.elementAt(index);
    if (attribute.getURIId() == xsi && XMLString::equals(attribute.getName(), SchemaSymbols::fgATT_TYPE)) {
      return true;
    }
  }
  return false;
}

void RequestXmlHelper::Parser::doctypeDecl(const xercesc_3_1::DTDElementDecl& root, const XMLCh* publicId,
                                           const XMLCh* systemId, bool hasInternalSubset, bool hasExternalSubset) {
  if (m_state->validating) {
    refuse("A document type declaration is not accepted in a validated document.");
  }
  m_state->inSubset = true;
  XercesDOMParser::doctypeDecl(root, publicId, systemId, hasInternalSubset, hasExternalSubset);
}

void RequestXmlHelper::Parser::attDef(const xercesc_3_1::DTDElementDecl& element,
                                      const xercesc_3_1::DTDAttDef& attribute, bool ignoring) {
  limit(++m_state->doctypeAttributes, c_maxDoctypeAttributes, "attributes in its document type declaration");
  m_state->charactersOfDefaults += XMLString::stringLen(attribute.getValue());
  XercesDOMParser::attDef(element, attribute, ignoring);
}

void RequestXmlHelper::Parser::entityDecl(const xercesc_3_1::DTDEntityDecl& entity, bool isParameterEntity,
                                          bool isIgnored) {
  if (isParameterEntity) {
    refuse("A parameter entity is not accepted in a document.");
  }
  XercesDOMParser::entityDecl(entity, isParameterEntity, isIgnored);
}

}  // namespace Drelvan
