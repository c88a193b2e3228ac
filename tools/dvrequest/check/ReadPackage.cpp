#include <service/ExceptionHandling.h>
#include <tools/dvrequest/check/ReadPackage.h>
#include <tools/dvrequest/support/Text.h>

#include <array>
#include <utility>
#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/schema/SchemaSymbols.hpp>

namespace DvRequest {

namespace {

using Drelvan::ElementReader;

constexpr std::array<const char*, 6> c_kinds{"request package", "reply package",  "request",
                                             "reply",           "request script", "reply script"};

std::string attribute(const ElementReader& element, const char* name) {
  return element.findAttribute<std::string>(name).value_or("");
}

std::string child(const ElementReader& element, const char* name) {
  return element.find<std::string>(name).value_or("");
}

bool hasAttribute(const ElementReader& element, const char* name) {
  return element.findAttribute<std::string>(name).has_value();
}

bool hasChild(const ElementReader& element, const char* name) { return element.findChild(name).has_value(); }

std::vector<Attribute> readAttributes(const xercesc_3_1::DOMElement& element) {
  std::vector<Attribute> result;
  const auto* all = element.getAttributes();
  for (XMLSize_t index = 0; index < all->getLength(); ++index) {
    const auto& node = static_cast<const xercesc_3_1::DOMAttr&>(*all->item(index));
    const std::string space = toText(node.getNamespaceURI());
    if (space != toText(xercesc_3_1::SchemaSymbols::fgURI_XSI) &&
        space != toText(xercesc_3_1::XMLUni::fgXMLNSURIName)) {
      const XMLCh* name = node.getLocalName() == nullptr ? node.getNodeName() : node.getLocalName();
      result.push_back({toText(name), toText(node.getValue()), !node.getSpecified()});
    }
  }
  return result;
}

Host readHost(const ElementReader& element) {
  Host host{element.getName(), {}, {}};
  try {
    host.info = element.as<Drelvan::HostInfo>();
  } catch (const Drelvan::DvException& exception) {
    host.error = exception.getMessage();
  }
  return host;
}

ParameterVector readParameters(const ElementReader& element) {
  ParameterVector result{child(element, "realizationId"), {}};
  for (const ElementReader& parameter : element.getChildren()) {
    const std::string name = parameter.getName();
    if (name == "parameter" || name == "encryptedParameter") {
      result.parameters.push_back({child(parameter, "id"), child(parameter, "value"), name == "encryptedParameter"});
    }
  }
  return result;
}

bool isHost(const ElementReader& element) {
  return hasChild(element, "ip") || hasChild(element, "requestServerPort") || hasChild(element, "publisherPort");
}

bool isFailure(const ElementReader& element) {
  const std::string name = element.getName();
  return hasChild(element, "type") && (hasChild(element, "message") || name == "innerException" || name == "exception");
}

void readValue(const ElementReader& element, Entry& entry) {
  if (hasChild(element, "realizationId")) {
    entry.parameterVectors.push_back(readParameters(element));
  } else if (isHost(element)) {
    entry.hosts.push_back(readHost(element));
  } else if (hasChild(element, "id") && hasChild(element, "name")) {
    entry.jobs.push_back({element.getName(), element.as<Drelvan::GenericJobId>()});
  } else if (isFailure(element)) {
    entry.failures.push_back({child(element, "type"), child(element, "message")});
  } else if (hasAttribute(element, "href")) {
    entry.data.push_back(
        {element.getName(), attribute(element, "id"), attribute(element, "name"), attribute(element, "href")});
  } else if (hasAttribute(element, "group") && hasAttribute(element, "timestamp")) {
    entry.logTexts.push_back({attribute(element, "type"), attribute(element, "group"), element.as<std::string>()});
  }
}

/// What only looks like a value, as a document that is not validated may have it, is left out.
void readIfValue(const ElementReader& element, Entry& entry) {
  try {
    readValue(element, entry);
  } catch (const Drelvan::DvException&) {
    // The document was parsed; nothing but the shown content lacks it.
  }
}

/// Does not recurse, however deep the document is.
Entry readEntry(const ElementReader& element) {
  Entry entry;
  entry.role = element.getName();
  entry.id = attribute(element, entry.role == "reply" ? "requestId" : "id");
  entry.type = element.getTypeName();
  std::vector<ElementReader> waiting{element};
  while (!waiting.empty()) {
    const ElementReader current = waiting.back();
    waiting.pop_back();
    if (&current.getElement() != &element.getElement()) {
      readIfValue(current, entry);
    }
    std::vector<ElementReader> children;
    for (const ElementReader& one : current.getChildren()) {
      children.push_back(one);
    }
    waiting.insert(waiting.end(), children.rbegin(), children.rend());
  }
  return entry;
}

}  // namespace

Package readPackage(const Drelvan::PackageDocument& document) {
  const ElementReader root = document.getRoot();
  const auto kind = document.getKind();
  Package package;
  package.root = root.getName();
  package.kind = kind ? c_kinds.at(static_cast<std::size_t>(*kind)) : "document";
  package.attributes = readAttributes(root.getElement());
  for (const ElementReader& entry : root.getChildren()) {
    if (entry.getName() == "request" || entry.getName() == "reply") {
      package.entries.push_back(readEntry(entry));
    }
  }
  return package;
}

}  // namespace DvRequest
