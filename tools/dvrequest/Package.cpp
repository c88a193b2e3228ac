#include <service/GeneralServices.h>
#include <tools/dvrequest/Package.h>
#include <tools/dvrequest/Text.h>

#include <array>
#include <boost/lexical_cast.hpp>
#include <cstdint>
#include <utility>
#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>

namespace DvRequest {

namespace {

using Drelvan::XmlUtils;
using xercesc_3_1::DOMElement;
using xercesc_3_1::DOMNode;

constexpr const char* c_instanceNamespace = "http://www.w3.org/2001/XMLSchema-instance";
constexpr const char* c_namespacesNamespace = "http://www.w3.org/2000/xmlns/";

constexpr std::array<std::pair<const char*, const char*>, 6> c_kinds{{{"DV_RequestPackage", "request package"},
                                                                      {"DV_ReplyPackage", "reply package"},
                                                                      {"DV_Request", "request"},
                                                                      {"DV_Reply", "reply"},
                                                                      {"DV_RequestScript", "request script"},
                                                                      {"DV_ReplyScript", "reply script"}}};

std::string kindOf(const std::string& root) {
  for (const auto& [name, kind] : c_kinds) {
    if (root == name) {
      return kind;
    }
  }
  return "document";
}

std::string localName(const DOMNode& node) {
  return toText(node.getLocalName() == nullptr ? node.getNodeName() : node.getLocalName());
}

std::string attribute(const DOMElement& element, const char* name) {
  return toText(element.getAttribute(toWide(name).c_str()));
}

bool hasAttribute(const DOMElement& element, const char* name) { return element.hasAttribute(toWide(name).c_str()); }

bool hasChild(const DOMElement& element, const char* name) { return XmlUtils::getElement(name, &element) != nullptr; }

std::vector<Attribute> readAttributes(const DOMElement& element) {
  std::vector<Attribute> result;
  const auto* all = element.getAttributes();
  for (XMLSize_t index = 0; index < all->getLength(); ++index) {
    const auto& node = static_cast<const xercesc_3_1::DOMAttr&>(*all->item(index));
    const std::string space = toText(node.getNamespaceURI());
    if (space != c_instanceNamespace && space != c_namespacesNamespace) {
      result.push_back({localName(node), toText(node.getValue()), !node.getSpecified()});
    }
  }
  return result;
}

std::string typeName(const DOMElement& element) {
  const std::string name = toText(element.getAttributeNS(toWide(c_instanceNamespace).c_str(), u"type"));
  return name.substr(name.find(':') + 1);
}

/// What the library's values read themselves from; they change nothing.
DOMElement* readable(const DOMElement& element) {
  return const_cast<DOMElement*>(&element);  // NOLINT(cppcoreguidelines-pro-type-const-cast): their signature
}

Host readHost(const DOMElement& element) {
  Host host{localName(element), {}, {}};
  try {
    host.info = Drelvan::HostInfo(readable(element));
  } catch (const boost::bad_lexical_cast&) {
    host.problem = "a port is not a decimal number of 32 bits";
  }
  return host;
}

ParameterVector readParameters(const DOMElement& element) {
  ParameterVector result{XmlUtils::getElementContent("realizationId", &element), {}};
  for (const DOMElement* child = element.getFirstElementChild(); child != nullptr;
       child = child->getNextElementSibling()) {
    const std::string name = localName(*child);
    if (name == "parameter" || name == "encryptedParameter") {
      result.parameters.push_back({XmlUtils::getElementContent("id", child),
                                   XmlUtils::getElementContent("value", child), name == "encryptedParameter"});
    }
  }
  return result;
}

bool isHost(const DOMElement& element) {
  return hasChild(element, "ip") || hasChild(element, "requestServerPort") || hasChild(element, "publisherPort");
}

bool isFailure(const DOMElement& element) {
  const std::string name = localName(element);
  return hasChild(element, "type") && (hasChild(element, "message") || name == "innerException" || name == "exception");
}

void readValue(const DOMElement& element, Entry& entry) {
  const std::string name = localName(element);
  if (hasChild(element, "realizationId")) {
    entry.parameterVectors.push_back(readParameters(element));
  } else if (isHost(element)) {
    entry.hosts.push_back(readHost(element));
  } else if (hasChild(element, "id") && hasChild(element, "name")) {
    entry.jobs.push_back({name, Drelvan::GenericJobId(readable(element))});
  } else if (isFailure(element)) {
    entry.failures.push_back(
        {XmlUtils::getElementContent("type", &element), XmlUtils::getElementContent("message", &element)});
  } else if (hasAttribute(element, "href")) {
    entry.data.push_back({name, attribute(element, "id"), attribute(element, "name"), attribute(element, "href")});
  } else if (hasAttribute(element, "group") && hasAttribute(element, "timestamp")) {
    entry.logTexts.push_back({attribute(element, "type"), attribute(element, "group"), XmlUtils::getContent(&element)});
  }
}

/// The next element below `top` in the order of the document; null after the last. Does not recurse, however deep the
/// document is.
const DOMElement* next(const DOMElement* current, const DOMElement& top) {
  if (const DOMElement* child = current->getFirstElementChild()) {
    return child;
  }
  while (current != &top) {
    if (const DOMElement* sibling = current->getNextElementSibling()) {
      return sibling;
    }
    current = static_cast<const DOMElement*>(current->getParentNode());
  }
  return nullptr;
}

Entry readEntry(const DOMElement& element) {
  Entry entry;
  entry.role = localName(element);
  entry.id = attribute(element, entry.role == "reply" ? "requestId" : "id");
  entry.type = typeName(element);
  for (const DOMElement* below = next(&element, element); below != nullptr; below = next(below, element)) {
    readValue(*below, entry);
  }
  return entry;
}

}  // namespace

Package readPackage(const xercesc_3_1::DOMDocument& document) {
  const DOMElement& root = *document.getDocumentElement();
  Package package;
  package.root = localName(root);
  package.kind = kindOf(package.root);
  package.attributes = readAttributes(root);
  for (const DOMElement* child = root.getFirstElementChild(); child != nullptr;
       child = child->getNextElementSibling()) {
    const std::string name = localName(*child);
    if (name == "request" || name == "reply") {
      package.entries.push_back(readEntry(*child));
    }
  }
  return package;
}

}  // namespace DvRequest
