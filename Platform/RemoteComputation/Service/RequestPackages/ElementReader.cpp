#include <Platform/RemoteComputation/Service/RequestPackages/ElementReader.h>
#include <Platform/RemoteComputation/Service/RequestPackages/Failure.h>
#include <Platform/RemoteComputation/Service/RequestPackages/Lexical.h>
#include <Platform/RemoteComputation/Service/RequestPackages/Text.h>

#include <algorithm>
#include <array>
#include <utility>
#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/util/XMLString.hpp>

namespace Drelvan {

namespace {

using Private::equals;
using Private::toUtf8;
using xercesc_3_1::DOMElement;
using xercesc_3_1::DOMNode;

constexpr const XMLCh* c_instanceNamespace = u"http://www.w3.org/2001/XMLSchema-instance";

const XMLCh* localName(const DOMElement& element) {
  return element.getLocalName() != nullptr ? element.getLocalName() : element.getNodeName();
}

const DOMElement* parentOf(const DOMElement& element) {
  const DOMNode* const parent = element.getParentNode();
  return parent != nullptr && parent->getNodeType() == DOMNode::ELEMENT_NODE ? static_cast<const DOMElement*>(parent)
                                                                             : nullptr;
}

/// The first element called `name` among `element` and its next siblings; of any name when that is empty.
const DOMElement* findSibling(const DOMElement* element, std::string_view name) {
  while (element != nullptr && !name.empty() && !equals(localName(*element), name)) {
    element = element->getNextElementSibling();
  }
  return element;
}

/// "[2]" for the second of several siblings with one name; empty for the only one.
std::string positionOf(const DOMElement& element) {
  const auto isSame = [&](const DOMElement* sibling) {
    return xercesc_3_1::XMLString::equals(localName(*sibling), localName(element));
  };
  std::size_t position = 1;
  for (const DOMElement* other = element.getPreviousElementSibling(); other != nullptr;
       other = other->getPreviousElementSibling()) {
    position += isSame(other) ? 1U : 0U;
  }
  const DOMElement* next = element.getNextElementSibling();
  while (next != nullptr && !isSame(next)) {
    next = next->getNextElementSibling();
  }
  return position == 1 && next == nullptr ? std::string() : "[" + std::to_string(position) + "]";
}

std::string pathOf(const DOMElement& element, std::string_view attribute) {
  std::string path = attribute.empty() ? std::string() : "/@" + std::string(attribute);
  for (const DOMElement* step = &element; step != nullptr; step = parentOf(*step)) {
    path.insert(0, "/" + toUtf8(localName(*step)) + positionOf(*step));
  }
  return path;
}

/// The name without its prefix and without blanks around it.
std::string localPart(const std::string& qualifiedName) {
  const std::string_view name = Private::trimmed(qualifiedName);
  const std::size_t colon = name.find(':');
  return std::string(colon == std::string_view::npos ? name : name.substr(colon + 1));
}

}  // namespace

ElementReader::ElementReader(const DOMElement& element) : m_element(&element) {}

std::string ElementReader::getName() const { return toUtf8(localName(*m_element)); }

std::string ElementReader::getTypeName() const {
  return localPart(toUtf8(m_element->getAttributeNS(c_instanceNamespace, u"type")));
}

std::string ElementReader::getPath() const { return pathOf(*m_element, {}); }

const DOMElement& ElementReader::getElement() const { return *m_element; }

ElementReader ElementReader::getChild(std::string_view name) const { return getChild(name, "an element"); }

ElementReader ElementReader::getChild(std::string_view name, const char* type) const {
  const DOMElement* const child = findSibling(m_element->getFirstElementChild(), name);
  if (child == nullptr) {
    Private::fail("Drelvan::ElementReader::getChild", __FILE__, __LINE__,
                  getPath() + "/" + std::string(name) + ": missing; expected " + type);
  }
  return ElementReader(*child);
}

std::optional<ElementReader> ElementReader::findChild(std::string_view name) const {
  const DOMElement* const child = findSibling(m_element->getFirstElementChild(), name);
  return child == nullptr ? std::nullopt : std::optional<ElementReader>(*child);
}

ElementReader::Children ElementReader::getChildren(std::string_view name) const { return {*m_element, name}; }

ElementReader::Children ElementReader::getChildren() const { return {*m_element, {}}; }

void ElementReader::fail(const std::string& reason) const {
  Private::fail("Drelvan::ElementReader::fail", __FILE__, __LINE__, getPath() + ": " + reason);
}

GenericJobId ElementReader::read(Type<GenericJobId>) const {
  // Its own reader takes missing texts for empty ones, and may change nothing, whatever its signature says.
  const auto child = [this](std::string_view name) {
    return const_cast<DOMElement*>(&getChild(name, "xs:string").getElement());  // NOLINT(*-const-cast)
  };
  DOMElement* const id = child("id");
  return {id, child("name")};
}

HostInfo ElementReader::read(Type<HostInfo>) const {
  HostInfo host;
  host.setName(find<std::string>("name").value_or(host.getName()));
  host.setIp(find<std::string>("ip").value_or(host.getIp()));
  host.setRequestServerPort(find<std::int32_t>("requestServerPort").value_or(host.getRequestServerPort()));
  host.setPublisherPort(find<std::int32_t>("publisherPort").value_or(host.getPublisherPort()));
  return host;
}

PackageData ElementReader::read(Type<PackageData>) const {
  return {getAttribute<std::string>("id"),           findAttribute<std::string>("name"),
          findAttribute<std::string>("dataPtrType"), findAttribute<std::string>("dataType"),
          findAttribute<std::int64_t>("dataSize"),   getAttribute<std::string>("href"),
          findAttribute<bool>("forceTransfer"),      findAttribute<bool>("fileNotTransfered")};
}

AbstractJobLog::Message ElementReader::read(Type<AbstractJobLog::Message>) const {
  return {getAttribute<AbstractJobLog::Message::Type>("type"), getAttribute<std::string>("group"),
          getAttribute<std::int64_t>("timestamp"), as<std::string>()};
}

PackageExceptions ElementReader::read(Type<PackageExceptions>) const {
  PackageExceptions exceptions;
  for (std::optional<ElementReader> exception = *this; exception; exception = exception->findChild("innerException")) {
    exceptions.push_back({exception->get<std::string>("type"), exception->find<std::string>("message"),
                          exception->find<std::string>("name"), exception->find<std::string>("source"),
                          exception->find<std::string>("file"), exception->find<std::string>("function"),
                          exception->find<std::int32_t>("line"), exception->find<std::string>("severity")});
  }
  return exceptions;
}

ParameterVector ElementReader::read(Type<ParameterVector>) const {
  ParameterVector vector{get<std::uint32_t>("realizationId"), {}};
  for (const ElementReader& child : getChildren()) {
    if (equals(localName(*child.m_element), "parameter")) {
      vector.parameters.push_back({child.get<std::string>("id"), child.get<double>("value")});
    } else if (equals(localName(*child.m_element), "encryptedParameter")) {
      vector.parameters.push_back({child.get<std::string>("id"), child.get<std::string>("value")});
    }
  }
  return vector;
}

std::string ElementReader::convert(const Place&, std::string&& text, Type<std::string>) { return std::move(text); }

bool ElementReader::convert(const Place& place, std::string_view text, Type<bool> type) {
  return orFail(Private::readBool(trim(text)), place, text, nameOf(type));
}

float ElementReader::convert(const Place& place, std::string_view text, Type<float> type) {
  return orFail(Private::readFloat(trim(text)), place, text, nameOf(type));
}

double ElementReader::convert(const Place& place, std::string_view text, Type<double> type) {
  return orFail(Private::readDouble(trim(text)), place, text, nameOf(type));
}

XmlDate ElementReader::convert(const Place& place, std::string_view text, Type<XmlDate> type) {
  return orFail(Private::readDate(trim(text)), place, text, nameOf(type));
}

XmlTime ElementReader::convert(const Place& place, std::string_view text, Type<XmlTime> type) {
  return orFail(Private::readTime(trim(text)), place, text, nameOf(type));
}

XmlDateTime ElementReader::convert(const Place& place, std::string_view text, Type<XmlDateTime> type) {
  return orFail(Private::readDateTime(trim(text)), place, text, nameOf(type));
}

XmlDuration ElementReader::convert(const Place& place, std::string_view text, Type<XmlDuration> type) {
  return orFail(Private::readDuration(trim(text)), place, text, nameOf(type));
}

Timestamp ElementReader::convert(const Place& place, std::string_view text, Type<Timestamp> type) {
  return orFail(Private::readTimestamp(trim(text)), place, text, nameOf(type));
}

std::int64_t ElementReader::convertSigned(const Place& place, std::string_view text, std::int64_t smallest,
                                          std::int64_t largest, const char* type) {
  const auto value = Private::readSigned(trim(text));
  return orFail(value && *value >= smallest && *value <= largest ? value : std::nullopt, place, text, type);
}

std::uint64_t ElementReader::convertUnsigned(const Place& place, std::string_view text, std::uint64_t largest,
                                             const char* type) {
  const auto value = Private::readUnsigned(trim(text));
  return orFail(value && *value <= largest ? value : std::nullopt, place, text, type);
}

template <typename Value>
Value ElementReader::orFail(const std::optional<Value>& value, const Place& place, std::string_view text,
                            const char* type) {
  if (!value) {
    failConversion(place, text, std::string("a value of ") + type);
  }
  return *value;
}

bool ElementReader::takeItem(std::string_view& list, std::string_view& item) {
  list = trim(list);
  std::size_t length = 0;
  while (length < list.size() && !Private::isBlank(list[length])) {
    ++length;
  }
  item = list.substr(0, length);
  list.remove_prefix(length);
  return length != 0;
}

std::string_view ElementReader::trim(std::string_view text) { return Private::trimmed(text); }

std::string ElementReader::getText() const {
  std::string text;
  for (const DOMNode* node = m_element->getFirstChild(); node != nullptr; node = node->getNextSibling()) {
    const auto type = node->getNodeType();
    if (type == DOMNode::TEXT_NODE || type == DOMNode::CDATA_SECTION_NODE) {
      Private::appendUtf8(node->getNodeValue(), text);
    } else if (type != DOMNode::COMMENT_NODE && type != DOMNode::PROCESSING_INSTRUCTION_NODE) {
      fail("holds more than a text; expected a value alone");
    }
  }
  return text;
}

std::optional<std::string> ElementReader::findAttributeText(std::string_view name) const {
  std::array<XMLCh, 64> wide{};
  const DOMNode* node = nullptr;
  if (name.size() < wide.size() && Private::isAscii(name)) {
    std::copy(name.begin(), name.end(), wide.begin());
    node = m_element->getAttributeNode(wide.data());
  } else {
    node = m_element->getAttributeNode(Private::toWide(name).c_str());
  }
  return node == nullptr ? std::nullopt : std::optional<std::string>(toUtf8(node->getNodeValue()));
}

void ElementReader::failMissing(const Place& place, const char* type) {
  Private::fail("Drelvan::ElementReader::getAttribute", __FILE__, __LINE__,
                pathOf(place.element, place.attribute) + ": missing; expected " + type);
}

void ElementReader::failConversion(const Place& place, std::string_view text, const std::string& expected) {
  Private::fail("Drelvan::ElementReader::as", __FILE__, __LINE__,
                pathOf(place.element, place.attribute) + ": " + Private::quoted(text) + " is not " + expected);
}

ElementReader::Children::Children(const DOMElement& parent, std::string_view name) : m_parent(&parent), m_name(name) {}

ElementReader::Children::Iterator ElementReader::Children::begin() const {
  return {m_parent->getFirstElementChild(), m_name};
}

ElementReader::Children::Iterator ElementReader::Children::end() const { return {nullptr, m_name}; }

ElementReader::Children::Iterator::Iterator(const DOMElement* element, std::string_view name)
    : m_element(findSibling(element, name)), m_name(name) {}

ElementReader::Children::Iterator& ElementReader::Children::Iterator::operator++() {
  m_element = findSibling(m_element->getNextElementSibling(), m_name);
  return *this;
}

}  // namespace Drelvan
