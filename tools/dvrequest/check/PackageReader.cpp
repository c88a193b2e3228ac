#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestNamespace.h>
#include <tools/dvrequest/check/PackageReader.h>
#include <tools/dvrequest/support/Text.h>

#include <algorithm>
#include <utility>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/framework/XMLErrorCodes.hpp>
#include <xercesc/framework/XMLValidityCodes.hpp>
#include <xercesc/framework/psvi/XSElementDeclaration.hpp>
#include <xercesc/internal/IGXMLScanner.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/parsers/SAX2XMLReaderImpl.hpp>
#include <xercesc/util/BinMemInputStream.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLEntityResolver.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLResourceIdentifier.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/datatype/DatatypeValidator.hpp>
#include <xercesc/validators/schema/ComplexTypeInfo.hpp>
#include <xercesc/validators/schema/SchemaAttDef.hpp>
#include <xercesc/validators/schema/SchemaElementDecl.hpp>
#include <xercesc/validators/schema/SchemaSymbols.hpp>
#include <xercesc/validators/schema/SchemaValidator.hpp>

namespace DvRequest {

namespace {

using xercesc_3_1::SAX2XMLReaderImpl;
using xercesc_3_1::XMLPlatformUtils;
using xercesc_3_1::XMLString;
using xercesc_3_1::XMLUni;
using xercesc_3_1::XMLValid;

// The library's limits; it refuses what exceeds them.
constexpr std::size_t c_maxDepth = 1000;
constexpr std::size_t c_maxErrors = 1000;
constexpr std::size_t c_maxEntityExpansions = 64;

// The library reads a document in pieces of these sizes, up to the root element in the smaller one when it does not
// validate. Bytes that do not fit the encoding are found with their piece, after the errors of the pieces before.
constexpr XMLSize_t c_piece = 8192;
constexpr XMLSize_t c_prologPiece = 4096;

constexpr std::size_t c_maxText = 200;

/// Ends a reading at a limit of the library.
struct LimitReached {};

// What Xerces-C keeps to itself: the scanner of a reader; the undeclared elements that a scanner knows; whether it
// validates the element that it reads, and whether it looks for xsi:type: it decides that by the text of a namespace
// declaration, before references are resolved. An explicit instantiation may name private members. Its `PSVIHandler`
// would give the types too, but has it convert values that were not validated, which crashes on lists.
struct Scanner {
  using Member = xercesc_3_1::XMLScanner* SAX2XMLReaderImpl::*;
  friend Member memberOf(Scanner);
};
struct SeenXsi {
  using Member = bool xercesc_3_1::IGXMLScanner::*;
  friend Member memberOf(SeenXsi);
};
struct UndeclaredElements {
  using Member = xercesc_3_1::RefHash3KeysIdPool<xercesc_3_1::SchemaElementDecl>* xercesc_3_1::IGXMLScanner::*;
  friend Member memberOf(UndeclaredElements);
};
struct Validates {
  using Member = bool xercesc_3_1::XMLScanner::*;
  friend Member memberOf(Validates);
};
template <typename Tag, typename Tag::Member Pointer>
struct Reach {
  friend typename Tag::Member memberOf(Tag) { return Pointer; }
};
template struct Reach<Scanner, &SAX2XMLReaderImpl::fScanner>;
template struct Reach<SeenXsi, &xercesc_3_1::IGXMLScanner::fSeeXsi>;
template struct Reach<UndeclaredElements, &xercesc_3_1::IGXMLScanner::fSchemaElemNonDeclPool>;
template struct Reach<Validates, &xercesc_3_1::XMLScanner::fValidate>;

/// Lets no document reach a file or a connection.
class NoResources final : public xercesc_3_1::XMLEntityResolver {
 public:
  xercesc_3_1::InputSource* resolveEntity(xercesc_3_1::XMLResourceIdentifier* resource) override {
    return new Missing(resource->getSystemId());
  }

 private:
  class Missing final : public xercesc_3_1::InputSource {
   public:
    explicit Missing(const XMLCh* systemId) : InputSource(systemId, XMLPlatformUtils::fgMemoryManager) {}
    xercesc_3_1::BinInputStream* makeStream() const override { return nullptr; }
  };
};

/// Elements of the schema's namespace, one in the other, to the depth limit and beyond. The scanner's array of element
/// states grows by doubling, however far the depth has jumped, and is written past its end unless it has grown
/// level by level before.
std::string nestedElements() {
  constexpr std::size_t depth = c_maxDepth + 2;
  // The scanner searches all open elements for the default namespace, up to the one that declares it.
  constexpr std::size_t declareEvery = 32;
  const std::string declaring = std::string("<d xmlns='") + Drelvan::c_requestNamespace + "'>";
  std::string text;
  for (std::size_t level = 0; level < depth; ++level) {
    text += level % declareEvery == 0 ? declaring : "<d>";
  }
  for (std::size_t level = 0; level < depth; ++level) {
    text += "</d>";
  }
  return text;
}

const XMLByte* bytesOf(const std::string& text) { return reinterpret_cast<const XMLByte*>(text.data()); }

/// A document that is read in pieces of at most `piece` bytes; neither is copied.
class PiecewiseSource final : public xercesc_3_1::InputSource {
 public:
  PiecewiseSource(const SourceText& source, const XMLSize_t& piece)
      : InputSource(toWide(source.name()).c_str(), XMLPlatformUtils::fgMemoryManager),
        m_content(source.content()),
        m_piece(piece) {}

  xercesc_3_1::BinInputStream* makeStream() const override { return new Stream(m_content, m_piece); }

 private:
  class Stream final : public xercesc_3_1::BinMemInputStream {
   public:
    Stream(const std::string& content, const XMLSize_t& piece)
        : BinMemInputStream(bytesOf(content), content.size(), BufOpt_Reference, XMLPlatformUtils::fgMemoryManager),
          m_piece(piece) {}
    XMLSize_t readBytes(XMLByte* bytes, XMLSize_t most) override {
      return BinMemInputStream::readBytes(bytes, std::min(most, m_piece));
    }

   private:
    const XMLSize_t& m_piece;
  };

  const std::string& m_content;
  const XMLSize_t& m_piece;
};

ReadError::Kind kindOf(const XMLCh* domain) {
  if (XMLString::equals(domain, XMLUni::fgValidityDomain)) {
    return ReadError::Kind::validity;
  }
  return XMLString::equals(domain, XMLUni::fgXMLErrDomain) ? ReadError::Kind::syntax : ReadError::Kind::exception;
}

const char* severityOf(xercesc_3_1::XMLErrorReporter::ErrTypes type) {
  switch (type) {
    case xercesc_3_1::XMLErrorReporter::ErrType_Warning:
      return "warning";
    case xercesc_3_1::XMLErrorReporter::ErrType_Fatal:
      return "fatal error";
    default:
      return "error";
  }
}

/// Whether the error concerns neither the tag that comes next nor the content that ends with it.
bool isBetweenTags(const ReadError& error) {
  return error.reported.severity == "fatal error" || isValidity(error, XMLValid::NoCharDataInCM);
}

/// Whether the attribute is an error in an element of the type, which is null for a simple one.
bool isInvalid(const xercesc_3_1::XMLAttr& attribute, const xercesc_3_1::ComplexTypeInfo* type) {
  const auto* declared =
      type == nullptr ? nullptr : type->getAttDef(attribute.getName(), static_cast<int>(attribute.getURIId()));
  if (declared == nullptr) {
    return type == nullptr || type->getAttWildCard() == nullptr;
  }
  const auto use = declared->getDefaultType();
  const bool isFixed = use == xercesc_3_1::XMLAttDef::Fixed || use == xercesc_3_1::XMLAttDef::Required_And_Fixed;
  if (isFixed && !XMLString::equals(declared->getValue(), attribute.getValue())) {
    return true;
  }
  try {
    declared->getDatatypeValidator()->validate(attribute.getValue(), nullptr, XMLPlatformUtils::fgMemoryManager);
    return false;
  } catch (const xercesc_3_1::XMLException&) {
    return true;
  }
}

}  // namespace

bool isValidity(const ReadError& error, unsigned int code) {
  return error.kind == ReadError::Kind::validity && error.code == code;
}

bool isSyntax(const ReadError& error, unsigned int code) {
  return error.kind == ReadError::Kind::syntax && error.code == code;
}

/// The reader of Xerces-C. It reports errors of a start tag before the tag, those of the content before the end tag.
class PackageReader::Scan final : public SAX2XMLReaderImpl {
 public:
  explicit Scan(SchemaModel& schema)
      : SAX2XMLReaderImpl(XMLPlatformUtils::fgMemoryManager, &schema.pool()), m_schema(schema) {
    setFeature(XMLUni::fgXercesSchemaFullChecking, true);
    setFeature(XMLUni::fgXercesUseCachedGrammarInParse, true);
    setXMLEntityResolver(&m_resources);
    m_expansions.setEntityExpansionLimit(c_maxEntityExpansions);
    setProperty(XMLUni::fgXercesSecurityManager, &m_expansions);
    setProperty(XMLUni::fgXercesScannerName, const_cast<XMLCh*>(XMLUni::fgIGXMLScanner));  // NOLINT
    schema.onXsi([this] { scanner().*memberOf(SeenXsi()) = true; });
    scanner().setDocHandler(this);
    scanner().setDocTypeHandler(this);
    scanner().setErrorReporter(this);
    parseSilently(nestedElements());
  }

  std::optional<std::size_t> read(const SourceText& source, bool validate, ReadHandler& handler) {
    forgetDocument();
    m_source = &source;
    m_validate = validate;
    m_piece = validate ? c_piece : c_prologPiece;
    m_limit.reset();
    m_offset = m_depth = m_errors = 0;
    m_pending.clear();
    m_handler = &handler;
    try {
      scan(source);
      handOverPending();
    } catch (const ReadHandler::EndOfReading&) {
      // The handler has what it wants to know.
    }
    m_handler = nullptr;
    return m_limit;
  }

  void error(unsigned int code, const XMLCh* domain, ErrTypes type, const XMLCh* text, const XMLCh*, const XMLCh*,
             XMLFileLoc line, XMLFileLoc column) override {
    if (m_handler == nullptr) {
      return;
    }
    if (++m_errors > c_maxErrors) {
      endAtLimit();
    }
    const Place place{static_cast<long>(line), static_cast<long>(column)};
    const std::size_t read = offset(place.line != 0 ? place : reached());
    m_pending.push_back({kindOf(domain), code, read, {severityOf(type), place, toText(text)}});
    if (isBetweenTags(m_pending.back())) {
      handOverPending();
    }
  }

  void startElement(const xercesc_3_1::XMLElementDecl& declaration, unsigned int uri, const XMLCh*,
                    const xercesc_3_1::RefVectorOf<xercesc_3_1::XMLAttr>& attributes, XMLSize_t count, bool,
                    bool) override {
    if (m_handler == nullptr) {
      return;
    }
    m_piece = c_piece;
    if (++m_depth > c_maxDepth) {
      endAtLimit();
    }
    ReadElement element;
    element.name = {toText(getURIText(uri)), toText(declaration.getBaseName())};
    element.reached = reached();
    element.content = offset(element.reached);
    element.start = tagBefore(element.content);
    element.isDeclared = declaration.isDeclared();
    const auto* type = describe(declaration, element);
    for (XMLSize_t index = 0; index < count; ++index) {
      addAttribute(*attributes.elementAt(index), type, element);
    }
    m_text.clear();
    m_handler->start(element, std::exchange(m_pending, {}));
  }

  void endElement(const xercesc_3_1::XMLElementDecl&, unsigned int, bool, const XMLCh*) override {
    if (m_handler == nullptr) {
      return;
    }
    --m_depth;
    m_handler->end({tagBefore(offset(reached())), reached()}, m_text, std::exchange(m_pending, {}));
    m_text.clear();
  }

  void docCharacters(const XMLCh* characters, XMLSize_t, bool) override {
    if (m_handler != nullptr && m_text.size() < c_maxText) {
      m_text += toText(characters).substr(0, c_maxText);
    }
  }

  void doctypeDecl(const xercesc_3_1::DTDElementDecl& root, const XMLCh* publicId, const XMLCh* systemId,
                   bool hasInternalSubset, bool hasExternalSubset) override {
    if (m_validate) {
      endAtLimit();
    }
    SAX2XMLReaderImpl::doctypeDecl(root, publicId, systemId, hasInternalSubset, hasExternalSubset);
  }

 private:
  /// Takes down the types of the element; gives the complex one that it is validated by, null when there is none.
  const xercesc_3_1::ComplexTypeInfo* describe(const xercesc_3_1::XMLElementDecl& declaration, ReadElement& element) {
    xercesc_3_1::XMLValidator* validator = scanner().getValidator();
    if (!declaration.isDeclared() || !(scanner().*memberOf(Validates())) || !validator->handlesSchema()) {
      return nullptr;
    }
    const auto& current = static_cast<xercesc_3_1::SchemaValidator&>(*validator);
    const auto* type = current.getCurrentTypeInfo();
    const void* const any = type != nullptr ? static_cast<const void*>(type) : current.getCurrentDatatypeValidator();
    element.type = static_cast<xercesc_3_1::XSTypeDefinition*>(m_schema.describe(any));
    auto* described = static_cast<xercesc_3_1::XSElementDeclaration*>(m_schema.describe(&declaration));
    element.declared = described == nullptr ? nullptr : described->getTypeDefinition();
    return type;
  }

  /// Parses the document, up to a limit of the library.
  void scan(const SourceText& source) {
    setFeature(XMLUni::fgSAX2CoreValidation, m_validate);
    try {
      parse(PiecewiseSource(source, m_piece));
    } catch (const LimitReached&) {
      // The library reads no further either.
    }
  }

  /// Hands over errors for which no tag comes.
  void handOverPending() {
    for (const ReadError& error : std::exchange(m_pending, {})) {
      m_handler->error(error);
    }
  }

  void addAttribute(const xercesc_3_1::XMLAttr& attribute, const xercesc_3_1::ComplexTypeInfo* type,
                    ReadElement& element) {
    const XMLCh* space = getURIText(attribute.getURIId());
    if (attribute.getSpecified() && !XMLString::equals(attribute.getName(), XMLUni::fgXMLNSString) &&
        !XMLString::equals(space, xercesc_3_1::SchemaSymbols::fgURI_XSI) &&
        !XMLString::equals(space, XMLUni::fgXMLNSURIName)) {
      const bool isWrong = !m_pending.empty() && element.type != nullptr && isInvalid(attribute, type);
      element.attributes.push_back({toText(attribute.getName()), toText(attribute.getValue()), isWrong});
    }
  }

  void parseSilently(const std::string& document) {
    setFeature(XMLUni::fgSAX2CoreValidation, false);
    parse(xercesc_3_1::MemBufInputSource(bytesOf(document), document.size(), ""));
  }

  /// The scanner keeps the undeclared elements and the version of a document for the next one.
  void forgetDocument() {
    (scanner().*memberOf(UndeclaredElements()))->removeAll();
    if (scanner().getXMLVersion() != xercesc_3_1::XMLReader::XMLV1_0) {
      parseSilently("<?xml version='1.0'?><d/>");
    }
  }

  xercesc_3_1::IGXMLScanner& scanner() {
    return static_cast<xercesc_3_1::IGXMLScanner&>(*(this->*memberOf(Scanner())));
  }

  /// What is read next, of an entity what is after the reference to it; line 0 where there is no document to read.
  Place reached() {
    xercesc_3_1::ReaderMgr::LastExtEntityInfo place;
    scanner().getReaderMgr()->getLastExtEntityInfo(place);
    return {static_cast<long>(place.lineNumber), static_cast<long>(place.colNumber)};
  }

  [[noreturn]] void endAtLimit() {
    m_limit = offset(reached());
    throw LimitReached();
  }

  /// The byte at `place`; the last such byte when there is none.
  std::size_t offset(const Place& place) { return m_offset = m_source->offset(place).value_or(m_offset); }

  /// Where the tag begins that ends before `offset`.
  std::size_t tagBefore(std::size_t offset) const {
    const std::size_t begin = offset == 0 ? std::string::npos : m_source->text().rfind('<', offset - 1);
    return begin == std::string::npos ? offset : begin;
  }

  const SchemaModel& m_schema;
  NoResources m_resources;
  xercesc_3_1::SecurityManager m_expansions;
  ReadHandler* m_handler = nullptr;  ///< null for a document that no one is to hear of
  const SourceText* m_source = nullptr;
  bool m_validate = false;
  XMLSize_t m_piece = c_piece;
  std::optional<std::size_t> m_limit;  ///< the byte at which a limit of the library was met
  std::size_t m_offset = 0;
  std::size_t m_depth = 0;
  std::size_t m_errors = 0;
  std::vector<ReadError> m_pending;  ///< errors of the tag or content that is to end next
  std::string m_text;
};

PackageReader::PackageReader(SchemaModel& schema) : m_scan(std::make_unique<Scan>(schema)) {}

PackageReader::~PackageReader() = default;

std::optional<std::size_t> PackageReader::read(const SourceText& source, bool validate, ReadHandler& handler) {
  return m_scan->read(source, validate, handler);
}

}  // namespace DvRequest
