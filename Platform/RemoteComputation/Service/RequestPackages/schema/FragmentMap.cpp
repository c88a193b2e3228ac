#include <Platform/RemoteComputation/Service/RequestPackages/Text.h>
#include <Platform/RemoteComputation/Service/RequestPackages/schema/FragmentMap.h>
#include <service/Xerces.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <utility>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/sax2/Attributes.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/sax2/XMLReaderFactory.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLUni.hpp>

namespace Drelvan::Private {

namespace {

using xercesc_3_1::SAXParseException;
using xercesc_3_1::XMLUni;

constexpr const char* c_schemaNamespace = "http://www.w3.org/2001/XMLSchema";
/// Deeper fragments would take the compiler's stack.
constexpr std::size_t c_largestDepth = 200;

/// Ends the reading of a fragment that nests too deep.
struct TooDeep {};

std::string localPart(const std::string& qualifiedName) {
  const std::string_view name = trimmed(qualifiedName);
  return std::string(name.substr(name.find(':') == std::string_view::npos ? 0 : name.find(':') + 1));
}

std::string attribute(const xercesc_3_1::Attributes& attributes, const XMLCh* name) {
  return toUtf8(attributes.getValue(u"", name));
}

/// A number of occurrences; what is none counts as the default, and is found when the schema is compiled.
std::uint64_t occurrences(const std::string& value) {
  const std::string_view text = trimmed(value);
  if (text == "unbounded") {
    return c_unbounded;
  }
  std::uint64_t count = 1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
  return error == std::errc::result_out_of_range ? c_unbounded - 1 : count;
}

}  // namespace

Place placeOf(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, offset);
  const std::size_t lineStart = before.rfind('\n') + 1;  // 0 on the first line
  return {static_cast<std::uint64_t>(std::count(before.begin(), before.end(), '\n')) + 1,
          before.size() - lineStart + 1};
}

std::size_t offsetOf(std::string_view text, const Place& place) {
  std::size_t offset = 0;
  for (std::uint64_t line = 1; line < place.line && offset < text.size(); ++line) {
    offset = std::min(text.find('\n', offset), text.size() - 1) + 1;
  }
  return std::min<std::size_t>(offset + place.column - (place.column == 0 ? 0 : 1), text.size());
}

std::size_t startOfTag(std::string_view text, std::size_t offset) {
  const std::size_t start = offset == 0 ? std::string_view::npos : text.rfind('<', offset - 1);
  return start == std::string_view::npos ? offset : start;
}

class FragmentMap::Handler final : public xercesc_3_1::DefaultHandler {
 public:
  /// The fragment has `length` bytes of `document` from `start` on.
  Handler(FragmentMap& map, const xercesc_3_1::SAX2XMLReader& reader, std::string_view document, std::size_t start,
          std::size_t length)
      : m_map(map),
        m_reader(reader),
        m_document(document),
        m_start(start),
        m_fragment(document.substr(start, length)) {}

  void startElement(const XMLCh* space, const XMLCh* localName, const XMLCh*,
                    const xercesc_3_1::Attributes& attributes) override {
    SchemaElement element;
    element.tag = equals(space, c_schemaNamespace) ? toUtf8(localName) : std::string();
    element.name = attribute(attributes, u"name");
    element.reference = localPart(attribute(attributes, u"ref") + attribute(attributes, u"base"));
    element.minOccurs = occurrences(attribute(attributes, u"minOccurs"));
    element.maxOccurs = occurrences(attribute(attributes, u"maxOccurs"));
    element.place = place(startOfTag(m_document, static_cast<std::size_t>(m_reader.getSrcOffset())));
    element.parent = m_open.empty() ? 0 : m_open.back();
    const std::size_t index = m_map.m_elements.size();
    if (!m_open.empty()) {
      m_map.m_elements[element.parent].children.push_back(index);
    }
    m_map.m_elements.push_back(std::move(element));
    m_open.push_back(index);
    if (m_open.size() > c_largestDepth) {
      fail("elements are nested deeper than " + std::to_string(c_largestDepth) + "; name the inner types instead",
           m_map.m_elements.back().place);
      throw TooDeep();
    }
  }

  void endElement(const XMLCh*, const XMLCh*, const XMLCh*) override { m_open.pop_back(); }

  /// The error handler's; a namespace that is not declared is an error, all others are fatal.
  void error(const SAXParseException& exception) override { fatalError(exception); }
  void fatalError(const SAXParseException& exception) override {
    fail(toUtf8(exception.getMessage()),
         place(offsetOf(m_document, {exception.getLineNumber(), exception.getColumnNumber()})));
  }

 private:
  void fail(const std::string& message, const Place& place) {
    if (!m_map.m_error) {
      m_map.m_error = message;
      m_map.m_errorPlace = place;
    }
  }

  /// Within the fragment; its end for what comes after it.
  Place place(std::size_t offset) const {
    return placeOf(m_fragment, std::min(offset - std::min(offset, m_start), m_fragment.size()));
  }

  FragmentMap& m_map;
  const xercesc_3_1::SAX2XMLReader& m_reader;
  std::string_view m_document;
  std::size_t m_start;
  std::string_view m_fragment;
  std::vector<std::size_t> m_open;
};

FragmentMap::FragmentMap(const std::string& header, const std::string& fragment, const std::string& footer) {
  const std::string document = header + fragment + footer;
  const std::unique_ptr<xercesc_3_1::SAX2XMLReader> reader(xercesc_3_1::XMLReaderFactory::createXMLReader());
  reader->setFeature(XMLUni::fgSAX2CoreNameSpaces, true);
  reader->setFeature(XMLUni::fgSAX2CoreValidation, false);
  reader->setFeature(XMLUni::fgXercesSchema, false);
  reader->setFeature(XMLUni::fgXercesLoadExternalDTD, false);
  reader->setFeature(XMLUni::fgXercesDisableDefaultEntityResolution, true);
  reader->setFeature(XMLUni::fgXercesCalculateSrcOfs, true);
  Handler handler(*this, *reader, document, header.size(), fragment.size());
  reader->setContentHandler(&handler);
  reader->setErrorHandler(&handler);
  const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(document.data()), document.size(), "");
  try {
    reader->parse(source);
  } catch (const TooDeep&) {
    // The error has been noted.
  } catch (const xercesc_3_1::XMLException& exception) {
    m_error = toUtf8(exception.getMessage());
  }
}

}  // namespace Drelvan::Private
