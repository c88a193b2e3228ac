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
#include <xercesc/framework/psvi/PSVIAttribute.hpp>
#include <xercesc/framework/psvi/PSVIAttributeList.hpp>
#include <xercesc/framework/psvi/PSVIElement.hpp>
#include <xercesc/framework/psvi/PSVIHandler.hpp>
#include <xercesc/framework/psvi/XSElementDeclaration.hpp>
#include <xercesc/internal/IGXMLScanner.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/parsers/SAX2XMLReaderImpl.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLEntityResolver.hpp>
#include <xercesc/util/XMLResourceIdentifier.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/schema/SchemaSymbols.hpp>

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

constexpr std::size_t c_maxText = 200;

/// Ends a reading early.
struct Stop {};

// What Xerces-C keeps to itself: the scanner of a reader, and whether a scanner looks for xsi:type, which it tells from
// the text of a namespace declaration before references are resolved. An explicit instantiation may name private
// members.
struct Scanner {
  using Member = xercesc_3_1::XMLScanner* SAX2XMLReaderImpl::*;
  friend Member memberOf(Scanner);
};
struct SeenXsi {
  using Member = bool xercesc_3_1::IGXMLScanner::*;
  friend Member memberOf(SeenXsi);
};
template <typename Tag, typename Tag::Member Pointer>
struct Reach {
  friend typename Tag::Member memberOf(Tag) { return Pointer; }
};
template struct Reach<Scanner, &SAX2XMLReaderImpl::fScanner>;
template struct Reach<SeenXsi, &xercesc_3_1::IGXMLScanner::fSeeXsi>;

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
/// states grows by doubling, however far the depth has jumped, and is written behind its end unless it has grown
/// level by level before.
std::string nestedElements() {
  constexpr std::size_t depth = c_maxDepth + 2;
  std::string text = std::string("<d xmlns='") + Drelvan::c_requestNamespace + "'>";
  for (std::size_t level = 1; level < depth; ++level) {
    text += "<d>";
  }
  for (std::size_t level = 0; level < depth; ++level) {
    text += "</d>";
  }
  return text;
}

xercesc_3_1::MemBufInputSource sourceOf(const std::string& text) {
  return {reinterpret_cast<const XMLByte*>(text.data()), text.size(), u""};
}

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
  return error.problem.severity == "fatal error" || isValidity(error, XMLValid::NoCharDataInCM);
}

}  // namespace

bool isValidity(const ReadError& error, unsigned int code) {
  return error.kind == ReadError::Kind::validity && error.code == code;
}

bool isSyntax(const ReadError& error, unsigned int code) {
  return error.kind == ReadError::Kind::syntax && error.code == code;
}

/// The reader of Xerces-C. It reports errors of a start tag before the tag, those of the content before the end tag;
/// the type of an element behind its start tag or, when it is empty, before its end.
class PackageReader::Scan final : public SAX2XMLReaderImpl, private xercesc_3_1::PSVIHandler {
 public:
  explicit Scan(SchemaModel& schema) : SAX2XMLReaderImpl(XMLPlatformUtils::fgMemoryManager, &schema.pool()) {
    setFeature(XMLUni::fgXercesSchemaFullChecking, true);
    setFeature(XMLUni::fgXercesUseCachedGrammarInParse, true);
    setFeature(XMLUni::fgXercesCalculateSrcOfs, true);
    setXMLEntityResolver(&m_resources);
    m_expansions.setEntityExpansionLimit(c_maxEntityExpansions);
    setProperty(XMLUni::fgXercesSecurityManager, &m_expansions);
    setPSVIHandler(this);
    scanner().setDocHandler(this);
    scanner().setDocTypeHandler(this);
    scanner().setErrorReporter(this);
    renewScanner();
  }

  void read(const SourceText& source, bool validate, const Extent& extent, ReadHandler& handler) {
    renewScanner();
    m_content = &source.text();
    m_extent = extent;
    m_validate = validate;
    m_offset = m_depth = m_entities = m_errors = 0;
    m_starting = false;
    m_pending.clear();
    m_handler = &handler;
    setFeature(XMLUni::fgSAX2CoreValidation, validate);
    try {
      auto input = sourceOf(source.text());
      if (source.wasConverted()) {
        input.setEncoding(XMLUni::fgUTF8EncodingString);
      }
      parse(input);
    } catch (const Stop&) {
      // The handler has what there is to know.
    }
    begin();
    std::for_each(m_pending.begin(), m_pending.end(), [&](const ReadError& error) { handler.error(error); });
    m_handler = nullptr;
  }

  void error(unsigned int code, const XMLCh* domain, ErrTypes type, const XMLCh* text, const XMLCh*, const XMLCh*,
             XMLFileLoc line, XMLFileLoc column) override {
    if (m_handler == nullptr) {
      return;
    }
    const Place place{static_cast<long>(line), static_cast<long>(column)};
    if (++m_errors > c_maxErrors || isBehindExtent(place)) {
      throw Stop();
    }
    const ReadError error{kindOf(domain), code, offset(), {severityOf(type), place, toText(text)}};
    if (isBetweenTags(error)) {
      begin();
      m_handler->error(error);
    } else {
      m_pending.push_back(error);
    }
  }

  void startElement(const xercesc_3_1::XMLElementDecl& declaration, unsigned int uri, const XMLCh*,
                    const xercesc_3_1::RefVectorOf<xercesc_3_1::XMLAttr>& attributes, XMLSize_t count, bool,
                    bool) override {
    if (m_handler == nullptr) {
      return;
    }
    begin();
    stopBehindExtent();
    if (++m_depth > c_maxDepth) {
      throw Stop();
    }
    m_element = ReadElement();
    m_element.name = {toText(getURIText(uri)), toText(declaration.getBaseName())};
    m_element.content = offset();
    m_element.start = tagBefore(m_element.content);
    m_element.isDeclared = declaration.isDeclared();
    for (XMLSize_t index = 0; index < count; ++index) {
      addAttribute(*attributes.elementAt(index));
    }
    m_text.clear();
    m_tagErrors = std::exchange(m_pending, {});
    m_starting = true;
  }

  void endElement(const xercesc_3_1::XMLElementDecl&, unsigned int, bool, const XMLCh*) override {
    if (m_handler == nullptr) {
      return;
    }
    begin();
    --m_depth;
    m_handler->end(tagBefore(offset()), m_text, std::exchange(m_pending, {}));
    m_text.clear();
    stopBehindExtent();
  }

  void startDocument() override { static_cast<xercesc_3_1::IGXMLScanner&>(scanner()).*memberOf(SeenXsi()) = true; }

  void docCharacters(const XMLCh* characters, XMLSize_t, bool) override {
    if (m_handler != nullptr && m_text.size() < c_maxText) {
      m_text += toText(characters).substr(0, c_maxText);
    }
  }

  void startEntityReference(const xercesc_3_1::XMLEntityDecl&) override { ++m_entities; }
  void endEntityReference(const xercesc_3_1::XMLEntityDecl&) override { --m_entities; }

  void doctypeDecl(const xercesc_3_1::DTDElementDecl& root, const XMLCh* publicId, const XMLCh* systemId,
                   bool hasInternalSubset, bool hasExternalSubset) override {
    if (m_validate) {
      throw Stop();
    }
    SAX2XMLReaderImpl::doctypeDecl(root, publicId, systemId, hasInternalSubset, hasExternalSubset);
  }

 private:
  void handleAttributesPSVI(const XMLCh*, const XMLCh*, xercesc_3_1::PSVIAttributeList* attributes) override {
    auto attribute = m_element.attributes.begin();
    for (XMLSize_t index = 0; m_handler != nullptr && index < attributes->getLength(); ++index) {
      const std::string name = toText(attributes->getAttributeNameAtIndex(index));
      const auto found = std::find_if(attribute, m_element.attributes.end(),
                                      [&](const ReadAttribute& one) { return one.name == name; });
      if (found != m_element.attributes.end()) {
        const auto validity = attributes->getAttributePSVIAtIndex(index)->getValidity();
        found->isInvalid = validity == xercesc_3_1::PSVIItem::VALIDITY_INVALID;
        attribute = std::next(found);
      }
    }
  }

  void handlePartialElementPSVI(const XMLCh*, const XMLCh*, xercesc_3_1::PSVIElement* element) override {
    beginTyped(*element);
  }

  void handleElementPSVI(const XMLCh*, const XMLCh*, xercesc_3_1::PSVIElement* element) override {
    beginTyped(*element);
  }

  void beginTyped(xercesc_3_1::PSVIElement& element) {
    if (m_handler != nullptr && m_starting) {
      auto* declaration = element.getElementDeclaration();
      m_element.declared = declaration == nullptr ? nullptr : declaration->getTypeDefinition();
      m_element.type = element.getTypeDefinition();
      begin();
    }
  }

  /// Hands over the start tag that was read last.
  void begin() {
    if (std::exchange(m_starting, false)) {
      m_handler->start(m_element, m_tagErrors);
    }
  }

  void addAttribute(const xercesc_3_1::XMLAttr& attribute) {
    const XMLCh* space = getURIText(attribute.getURIId());
    if (attribute.getSpecified() && !XMLString::equals(space, xercesc_3_1::SchemaSymbols::fgURI_XSI) &&
        !XMLString::equals(space, XMLUni::fgXMLNSURIName)) {
      m_element.attributes.push_back({toText(attribute.getName()), toText(attribute.getValue())});
    }
  }

  /// The scanner keeps the undeclared elements and the version of a document for the next one.
  void renewScanner() {
    static const std::string priming = nestedElements();
    setProperty(XMLUni::fgXercesScannerName, const_cast<XMLCh*>(XMLUni::fgIGXMLScanner));  // NOLINT
    setFeature(XMLUni::fgSAX2CoreValidation, false);
    parse(sourceOf(priming));
  }

  xercesc_3_1::XMLScanner& scanner() { return *(this->*memberOf(Scanner())); }

  bool isBehindExtent(const Place& place) const { return m_extent.last.line != 0 && m_extent.last < place; }

  void stopBehindExtent() {
    const xercesc_3_1::Locator& locator = *scanner().getLocator();
    const Place place{static_cast<long>(locator.getLineNumber()), static_cast<long>(locator.getColumnNumber())};
    if (m_errors < m_extent.errors && isBehindExtent(place)) {
      throw Stop();
    }
  }

  /// The byte that is read next. Within an entity, the one behind the reference to it.
  std::size_t offset() {
    if (m_entities == 0) {
      m_offset = std::min(static_cast<std::size_t>(getSrcOffset()), m_content->size());
    }
    return m_offset;
  }

  /// Where the tag begins that ends before `offset`.
  std::size_t tagBefore(std::size_t offset) const {
    const std::size_t begin = offset == 0 ? std::string::npos : m_content->rfind('<', offset - 1);
    return begin == std::string::npos ? offset : begin;
  }

  NoResources m_resources;
  xercesc_3_1::SecurityManager m_expansions;
  ReadHandler* m_handler = nullptr;  ///< null for a document that no one is to hear of
  const std::string* m_content = nullptr;
  Extent m_extent;
  bool m_validate = false;
  std::size_t m_offset = 0;
  std::size_t m_depth = 0;
  std::size_t m_entities = 0;  ///< open references
  std::size_t m_errors = 0;
  bool m_starting = false;  ///< the handler does not have `m_element` yet
  ReadElement m_element;
  std::vector<ReadError> m_tagErrors;
  std::vector<ReadError> m_pending;  ///< errors of the tag or content that is to end next
  std::string m_text;
};

PackageReader::PackageReader(SchemaModel& schema) : m_scan(std::make_unique<Scan>(schema)) {}

PackageReader::~PackageReader() = default;

void PackageReader::read(const SourceText& source, bool validate, const Extent& extent, ReadHandler& handler) {
  m_scan->read(source, validate, extent, handler);
}

}  // namespace DvRequest
