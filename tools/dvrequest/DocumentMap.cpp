#include <service/Xerces.h>
#include <tools/dvrequest/DocumentMap.h>
#include <tools/dvrequest/Text.h>

#include <algorithm>
#include <memory>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax/Locator.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/sax2/Attributes.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/sax2/XMLReaderFactory.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLUni.hpp>

namespace DvRequest {

namespace {

constexpr const char* c_instanceNamespace = "http://www.w3.org/2001/XMLSchema-instance";
constexpr std::size_t c_maxElements = 2000000;
constexpr std::size_t c_maxDepth = 2000;
constexpr std::size_t c_maxCharacters = std::size_t{256} << 20U;
constexpr std::size_t c_maxShownSteps = 40;

/// Ends a scan early.
struct Enough {};

std::string withoutPrefix(const std::string& name) { return name.substr(name.find(':') + 1); }

template <typename Index>
std::optional<std::size_t> find(const Index& index, const Place& place) {
  const auto found = index.find(place);
  return found == index.end() ? std::nullopt : std::make_optional(found->second);
}

}  // namespace

/// Fills a map while the parser reads.
class DocumentMap::Scan final : public xercesc_3_1::DefaultHandler {
 public:
  explicit Scan(DocumentMap& map) : m_map(map) {}

  void setDocumentLocator(const xercesc_3_1::Locator* locator) override { m_locator = locator; }

  void startElement(const XMLCh* uri, const XMLCh* name, const XMLCh*,
                    const xercesc_3_1::Attributes& attributes) override {
    const std::size_t index = m_map.m_elements.size();
    if (index == c_maxElements || m_open.size() == c_maxDepth) {
      throw Enough();
    }
    Element element;
    element.space = toText(uri);
    element.name = toText(name);
    element.start = place();
    readAttributes(attributes, element);
    countCharacters(element);
    if (!m_open.empty()) {
      element.parent = m_open.back();
      m_map.m_elements[m_open.back()].children.push_back(index);
    }
    m_map.m_starts.emplace(element.start, index);
    m_map.m_elements.push_back(std::move(element));
    m_open.push_back(index);
  }

  void endElement(const XMLCh*, const XMLCh*, const XMLCh*) override {
    m_map.m_elements[m_open.back()].end = place();
    m_map.m_ends.emplace(place(), m_open.back());
    m_open.pop_back();
  }

  void startDTD(const XMLCh*, const XMLCh*, const XMLCh*) override { throw Enough(); }

  void fatalError(const xercesc_3_1::SAXParseException& problem) override {
    const Place place{static_cast<long>(problem.getLineNumber()), static_cast<long>(problem.getColumnNumber())};
    m_map.m_brokenness = Problem{"fatal error", place, toText(problem.getMessage())};
  }

 private:
  Place place() const {
    return {static_cast<long>(m_locator->getLineNumber()), static_cast<long>(m_locator->getColumnNumber())};
  }

  static void readAttributes(const xercesc_3_1::Attributes& attributes, Element& element) {
    for (XMLSize_t index = 0; index < attributes.getLength(); ++index) {
      const std::string name = toText(attributes.getLocalName(index));
      const std::string value = toText(attributes.getValue(index));
      if (toText(attributes.getURI(index)) != c_instanceNamespace) {
        element.attributes.push_back({name, value});
      } else if (name == "type") {
        element.type = withoutPrefix(value);
      }
    }
  }

  void countCharacters(const Element& element) {
    m_characters += element.space.size() + element.name.size() + element.type.size();
    for (const AttributeText& attribute : element.attributes) {
      m_characters += attribute.name.size() + attribute.value.size();
    }
    if (m_characters > c_maxCharacters) {
      throw Enough();
    }
  }

  DocumentMap& m_map;
  std::size_t m_characters = 0;
  const xercesc_3_1::Locator* m_locator = nullptr;
  std::vector<std::size_t> m_open;
};

DocumentMap::DocumentMap(const std::string& content) {
  const std::unique_ptr<xercesc_3_1::SAX2XMLReader> reader(xercesc_3_1::XMLReaderFactory::createXMLReader());
  reader->setFeature(xercesc_3_1::XMLUni::fgSAX2CoreValidation, false);
  reader->setFeature(xercesc_3_1::XMLUni::fgXercesSchema, false);
  reader->setFeature(xercesc_3_1::XMLUni::fgXercesLoadExternalDTD, false);
  reader->setFeature(xercesc_3_1::XMLUni::fgXercesDisableDefaultEntityResolution, true);
  Scan scan(*this);
  reader->setContentHandler(&scan);
  reader->setErrorHandler(&scan);
  reader->setLexicalHandler(&scan);
  const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(content.data()), content.size(), u"");
  try {
    reader->parse(source);
  } catch (const Enough&) {
    return;
  } catch (const xercesc_3_1::XMLException& exception) {
    m_brokenness = Problem{"fatal error", {}, toText(exception.getMessage())};
  }
}

std::optional<std::size_t> DocumentMap::startingAt(const Place& place) const { return find(m_starts, place); }

std::optional<std::size_t> DocumentMap::endingAt(const Place& place) const { return find(m_ends, place); }

std::optional<std::size_t> DocumentMap::around(const Place& place) const {
  auto after = m_starts.upper_bound(place);
  if (after == m_starts.begin()) {
    return std::nullopt;
  }
  std::optional<std::size_t> element = std::prev(after)->second;
  while (element && m_elements[*element].end.line != 0 && !(place < m_elements[*element].end)) {
    element = m_elements[*element].parent;
  }
  return element;
}

std::string DocumentMap::step(std::size_t index) const {
  const Element& element = m_elements[index];
  if (!element.parent) {
    return "/" + element.name;
  }
  std::size_t number = 0;
  std::size_t count = 0;
  for (const std::size_t sibling : m_elements[*element.parent].children) {
    if (m_elements[sibling].name == element.name) {
      ++count;
      number = sibling == index ? count : number;
    }
  }
  return "/" + element.name + (count == 1 ? "" : "[" + std::to_string(number) + "]");
}

std::string DocumentMap::path(std::size_t element) const {
  std::vector<std::string> steps;
  for (std::optional<std::size_t> current = element; current; current = m_elements[*current].parent) {
    steps.push_back(step(*current));
  }
  if (steps.size() > c_maxShownSteps) {
    steps.erase(steps.begin() + c_maxShownSteps / 2, steps.end() - c_maxShownSteps / 2);
    steps.insert(steps.begin() + c_maxShownSteps / 2, "/...");
  }
  std::string path;
  std::for_each(steps.rbegin(), steps.rend(), [&](const std::string& text) { path += text; });
  return path;
}

}  // namespace DvRequest
