#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <tests/docs/SchemaComponents.h>
#include <tests/support/Documents.h>
#include <tests/support/ParsedDocument.h>

#include <algorithm>
#include <utility>
#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>

namespace ManualTests {

namespace {

using TestSupport::attribute;
using TestSupport::hasAttribute;
using xercesc_3_1::DOMElement;

std::string localName(const DOMElement& element) { return TestSupport::toUtf8(element.getLocalName()); }

std::string withoutPackagePrefix(const std::string& type) {
  const std::string prefix = "dvrq:";
  return type.rfind(prefix, 0) == 0 ? type.substr(prefix.size()) : type;
}

std::string valueOr(const DOMElement& element, const char* name, const std::string& absent) {
  return hasAttribute(&element, name) ? attribute(&element, name) : absent;
}

template <typename Action>
void forEachChild(const DOMElement& parent, Action action) {
  for (const DOMElement* child = parent.getFirstElementChild(); child != nullptr;
       child = child->getNextElementSibling()) {
    action(*child);
  }
}

const DOMElement* childNamed(const DOMElement& parent, const std::string& name) {
  const DOMElement* found = nullptr;
  forEachChild(parent, [&](const DOMElement& child) { found = localName(child) == name ? &child : found; });
  return found;
}

}  // namespace

/// Reads one definition.
class SchemaComponents::Reader {
 public:
  explicit Reader(Definition& definition) : m_definition(definition) {}

  /// The content of a complex type.
  void readContent(const DOMElement& parent, const std::string& path, const std::string& group) {
    forEachChild(parent, [&](const DOMElement& child) {
      const std::string kind = localName(child);
      if (kind == "element") {
        readElement(child, path, group);
      } else if (kind == "attribute") {
        readAttribute(child);
      } else if (kind == "extension") {
        m_definition.base = withoutPackagePrefix(attribute(&child, "base"));
        readContent(child, path, group);
      } else {
        readContent(child, path, kind == "choice" ? "choice" : group);
      }
    });
  }

  static void readFacets(const DOMElement& simpleType, std::string& base, std::set<std::string>& rules) {
    const DOMElement& restriction = *childNamed(simpleType, "restriction");
    base = withoutPackagePrefix(attribute(&restriction, "base"));
    forEachChild(restriction, [&](const DOMElement& facet) {
      rules.insert((localName(facet) == "enumeration" ? "" : localName(facet) + " ") + attribute(&facet, "value"));
    });
  }

 private:
  void readElement(const DOMElement& element, const std::string& path, const std::string& group) {
    const std::string name = path + attribute(&element, "name");
    const bool isMany = valueOr(element, "maxOccurs", "1") == "unbounded" || group == "choice";
    const std::string least = group == "choice" ? "0" : valueOr(element, "minOccurs", "1");
    const std::string most = isMany ? "n" : "1";
    addComponent(element, name, least == most ? least : least + ".." + most);
    if (const DOMElement* type = childNamed(element, "complexType")) {
      readContent(*type, name + "/", "");
    }
  }

  void readAttribute(const DOMElement& declaration) {
    addComponent(declaration, "@" + attribute(&declaration, "name"), valueOr(declaration, "use", "optional"));
  }

  void addComponent(const DOMElement& declaration, const std::string& name, const std::string& occurrence) {
    Component component{name, withoutPackagePrefix(attribute(&declaration, "type")), occurrence, {}};
    for (const char* rule : {"default", "fixed"}) {
      if (hasAttribute(&declaration, rule)) {
        component.rules.insert(std::string(rule) + " " + attribute(&declaration, rule));
      }
    }
    if (const DOMElement* type = childNamed(declaration, "simpleType")) {
      readFacets(*type, component.type, component.rules);
    }
    m_definition.components.push_back(component);
  }

  Definition& m_definition;
};

SchemaComponents::SchemaComponents(const std::string& schema) {
  const TestSupport::ParsedDocument document(schema);
  forEachChild(*document.root(), [&](const DOMElement& child) {
    Definition& definition = m_definitions[attribute(&child, "name")];
    Reader reader(definition);
    if (localName(child) == "simpleType") {
      Reader::readFacets(child, definition.base, definition.rules);
    } else {
      definition.base = withoutPackagePrefix(attribute(&child, "type"));
      reader.readContent(child, "", "");
    }
  });
}

const Component* SchemaComponents::find(std::string& definition, const std::string& component) const {
  for (auto found = m_definitions.find(definition); found != m_definitions.end();
       found = m_definitions.find(definition)) {
    const auto& all = found->second.components;
    const auto match =
        std::find_if(all.begin(), all.end(), [&](const Component& one) { return one.name == component; });
    if (match != all.end()) {
      return &*match;
    }
    definition = found->second.base;
  }
  return nullptr;
}

void SchemaComponents::use(const DOMElement& element, const std::string& definition, const std::string& path,
                           std::set<std::string>& used) const {
  used.insert(definition);
  const auto note = [&](const std::string& name, const std::string& value) {
    std::string owner = definition;
    const Component* component = find(owner, name);
    if (component != nullptr) {
      used.insert({owner, owner + "/" + name, owner + "/" + name + "=" + value, component->type});
    }
    return component;
  };
  const auto* attributes = element.getAttributes();
  for (XMLSize_t index = 0; index < attributes->getLength(); ++index) {
    const auto* one = static_cast<const xercesc_3_1::DOMAttr*>(attributes->item(index));
    if (one->getSpecified() && path.empty()) {
      note("@" + TestSupport::toUtf8(one->getName()), TestSupport::toUtf8(one->getValue()));
    }
  }
  forEachChild(element, [&](const DOMElement& child) {
    const Component* component = note(path + localName(child), "");
    const std::string type = TestSupport::toUtf8(
        child.getAttributeNS(u"http://www.w3.org/2001/XMLSchema-instance", TestSupport::WideText("type").get()));
    if (!type.empty()) {
      use(child, type.substr(type.find(':') + 1), "", used);
    } else if (component != nullptr && component->type.empty()) {
      use(child, definition, path + localName(child) + "/", used);
    } else if (component != nullptr) {
      use(child, component->type, "", used);
    }
  });
}

std::set<std::string> SchemaComponents::usedBy(const DOMElement& root) const {
  std::set<std::string> used;
  use(root, localName(root), "", used);
  return used;
}

}  // namespace ManualTests
