#include <tools/dvrequest/SchemaModel.h>
#include <tools/dvrequest/Text.h>

#include <algorithm>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/XMLGrammarPoolImpl.hpp>
#include <xercesc/framework/psvi/XSAttributeDeclaration.hpp>
#include <xercesc/framework/psvi/XSAttributeUse.hpp>
#include <xercesc/framework/psvi/XSElementDeclaration.hpp>
#include <xercesc/framework/psvi/XSFacet.hpp>
#include <xercesc/framework/psvi/XSModelGroup.hpp>
#include <xercesc/framework/psvi/XSParticle.hpp>
#include <xercesc/framework/psvi/XSSimpleTypeDefinition.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/validators/common/Grammar.hpp>

namespace DvRequest {

namespace {

using xercesc_3_1::XercesDOMParser;
using xercesc_3_1::XMLPlatformUtils;
using xercesc_3_1::XSComplexTypeDefinition;
using xercesc_3_1::XSConstants;
using xercesc_3_1::XSElementDeclaration;
using xercesc_3_1::XSObject;
using xercesc_3_1::XSParticle;
using xercesc_3_1::XSSimpleTypeDefinition;
using xercesc_3_1::XSTypeDefinition;

constexpr const char* c_schemaNamespace = "http://www.w3.org/2001/XMLSchema";

class Recorder final : public xercesc_3_1::ErrorHandler {
 public:
  explicit Recorder(std::vector<Problem>& problems) : m_problems(problems) {}

  void warning(const xercesc_3_1::SAXParseException& problem) override { record("warning", problem); }
  void error(const xercesc_3_1::SAXParseException& problem) override { record("error", problem); }
  void fatalError(const xercesc_3_1::SAXParseException& problem) override { record("fatal error", problem); }
  void resetErrors() override {}

 private:
  void record(const char* severity, const xercesc_3_1::SAXParseException& problem) {
    const Place place{static_cast<long>(problem.getLineNumber()), static_cast<long>(problem.getColumnNumber())};
    m_problems.push_back({severity, place, toText(problem.getMessage())});
  }

  std::vector<Problem>& m_problems;
};

void configureAsLibrary(XercesDOMParser& parser) {
  parser.setDoSchema(true);
  parser.setDoNamespaces(true);
  parser.setValidationScheme(XercesDOMParser::Val_Always);
  parser.setValidationSchemaFullChecking(true);
  parser.useCachedGrammarInParse(true);
}

/// What the particles of a type make of one child.
class ChildSearch {
 public:
  ChildSearch(const std::string& space, const std::string& name) : m_space(space), m_name(name) {}

  void visit(XSParticle* particle) {
    if (particle == nullptr) {
      return;
    }
    if (particle->getTermType() == XSParticle::TERM_WILDCARD) {
      m_anything = true;
    } else if (particle->getTermType() == XSParticle::TERM_ELEMENT) {
      visitElement(*particle->getElementTerm());
    } else if (particle->getTermType() == XSParticle::TERM_MODELGROUP) {
      auto* particles = particle->getModelGroupTerm()->getParticles();
      for (XMLSize_t index = 0; index < particles->size(); ++index) {
        visit(particles->elementAt(index));
      }
    }
  }

  ChildType result() const { return {m_anything || m_type != nullptr, m_type}; }

 private:
  void visitElement(XSElementDeclaration& element) {
    if (m_type == nullptr && toText(element.getName()) == m_name && toText(element.getNamespace()) == m_space) {
      m_type = element.getTypeDefinition();
    }
  }

  const std::string& m_space;
  const std::string& m_name;
  bool m_anything = false;
  XSTypeDefinition* m_type = nullptr;
};

bool isBuiltIn(XSTypeDefinition& type) { return toText(type.getNamespace()) == c_schemaNamespace; }

/// The nearest type of XML Schema itself that `type` comes from; null when there is none.
XSSimpleTypeDefinition* builtInOf(XSSimpleTypeDefinition& type) {
  XSTypeDefinition* current = &type;
  while (current != nullptr && !isBuiltIn(*current)) {
    current = current->getBaseType();
  }
  const bool isSimple = current != nullptr && current->getTypeCategory() == XSTypeDefinition::SIMPLE_TYPE;
  return isSimple ? static_cast<XSSimpleTypeDefinition*>(current) : nullptr;
}

std::string limitText(XSSimpleTypeDefinition::FACET facet, const std::string& value) {
  switch (facet) {
    case XSSimpleTypeDefinition::FACET_LENGTH:
      return value + " characters";
    case XSSimpleTypeDefinition::FACET_MINLENGTH:
      return "at least " + value + " characters";
    case XSSimpleTypeDefinition::FACET_MAXLENGTH:
      return "at most " + value + " characters";
    case XSSimpleTypeDefinition::FACET_MININCLUSIVE:
      return "at least " + value;
    case XSSimpleTypeDefinition::FACET_MAXINCLUSIVE:
      return "at most " + value;
    case XSSimpleTypeDefinition::FACET_MINEXCLUSIVE:
      return "more than " + value;
    case XSSimpleTypeDefinition::FACET_MAXEXCLUSIVE:
      return "less than " + value;
    default:
      return {};
  }
}

void addAll(const char* kind, xercesc_3_1::StringList* values, std::vector<Allowed>& allowed) {
  for (XMLSize_t index = 0; values != nullptr && index < values->size(); ++index) {
    allowed.push_back({kind, toText(values->elementAt(index))});
  }
}

/// Adds the limits that `type` sets beyond those of `builtIn`.
void addLimits(XSSimpleTypeDefinition& type, XSSimpleTypeDefinition* builtIn, std::vector<Allowed>& allowed) {
  auto* facets = type.getFacets();
  for (XMLSize_t index = 0; facets != nullptr && index < facets->size(); ++index) {
    const auto* facet = facets->elementAt(index);
    const std::string value = toText(facet->getLexicalFacetValue());
    const bool isNew = builtIn == nullptr || toText(builtIn->getLexicalFacetValue(facet->getFacetKind())) != value;
    const std::string text = limitText(facet->getFacetKind(), value);
    if (isNew && !text.empty()) {
      allowed.push_back({"limit", text});
    }
  }
}

}  // namespace

class SchemaModel::Storage {
 public:
  Storage() : pool(XMLPlatformUtils::fgMemoryManager), parser(nullptr, XMLPlatformUtils::fgMemoryManager, &pool) {}

  xercesc_3_1::XMLGrammarPoolImpl pool;
  XercesDOMParser parser;
};

SchemaModel::SchemaModel(const std::string& document) : m_storage(std::make_unique<Storage>()) {
  Recorder recorder(m_problems);
  XercesDOMParser& parser = m_storage->parser;
  configureAsLibrary(parser);
  parser.setErrorHandler(&recorder);
  const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(document.data()), document.size(), u"");
  try {
    parser.loadGrammar(source, xercesc_3_1::Grammar::SchemaGrammarType, true);
  } catch (const xercesc_3_1::XMLException& exception) {
    m_problems.push_back({"fatal error", {}, toText(exception.getMessage())});
  }
  parser.setErrorHandler(nullptr);
  if (m_problems.empty()) {
    bool changed = false;
    m_model = m_storage->pool.getXSModel(changed);
  }
}

SchemaModel::~SchemaModel() = default;

XSTypeDefinition* SchemaModel::rootType(const std::string& space, const std::string& name) const {
  auto* element = m_model->getElementDeclaration(toWide(name).c_str(), toWide(space).c_str());
  return element == nullptr ? nullptr : element->getTypeDefinition();
}

XSTypeDefinition* SchemaModel::type(const std::string& space, const std::string& name) const {
  return m_model->getTypeDefinition(toWide(name).c_str(), toWide(space).c_str());
}

std::vector<std::string> SchemaModel::names(XSConstants::COMPONENT_TYPE kind,
                                            const std::function<bool(XSObject&)>& wanted) const {
  std::vector<std::string> result;
  auto* all = m_model->getComponents(kind);
  for (XMLSize_t index = 0; all != nullptr && index < all->getLength(); ++index) {
    if (wanted(*all->item(index))) {
      result.push_back(toText(all->item(index)->getName()));
    }
  }
  std::sort(result.begin(), result.end());
  return result;
}

std::vector<Allowed> SchemaModel::roots() const {
  std::vector<Allowed> result;
  for (const std::string& name : names(XSConstants::ELEMENT_DECLARATION, [](XSObject&) { return true; })) {
    result.push_back({"element", name});
  }
  return result;
}

std::string SchemaModel::spaceOfRoot(const std::string& name) const {
  std::string space;
  names(XSConstants::ELEMENT_DECLARATION, [&](XSObject& element) {
    space = toText(element.getName()) == name ? toText(element.getNamespace()) : space;
    return false;
  });
  return space;
}

std::vector<Allowed> SchemaModel::typesFrom(const XSTypeDefinition& base) const {
  std::vector<Allowed> result;
  const auto derives = [&](XSObject& type) { return static_cast<XSTypeDefinition&>(type).derivedFromType(&base); };
  for (const std::string& name : names(XSConstants::TYPE_DEFINITION, derives)) {
    result.push_back({"xsi:type", name});
  }
  return result;
}

XSComplexTypeDefinition* asComplex(XSTypeDefinition* type) {
  const bool isComplex = type != nullptr && type->getTypeCategory() == XSTypeDefinition::COMPLEX_TYPE;
  return isComplex ? static_cast<XSComplexTypeDefinition*>(type) : nullptr;
}

ChildType childType(XSTypeDefinition& parent, const std::string& space, const std::string& name) {
  ChildSearch search(space, name);
  if (auto* complex = asComplex(&parent)) {
    search.visit(complex->getParticle());
  }
  return search.result();
}

std::string typeName(const XSTypeDefinition& type) { return toText(type.getName()); }

bool isEmpty(XSTypeDefinition* type) {
  auto* complex = asComplex(type);
  return complex != nullptr && complex->getContentType() == XSComplexTypeDefinition::CONTENTTYPE_EMPTY;
}

XSSimpleTypeDefinition* textType(XSTypeDefinition& type) {
  auto* complex = asComplex(&type);
  return complex == nullptr ? static_cast<XSSimpleTypeDefinition*>(&type) : complex->getSimpleType();
}

std::vector<Allowed> allowedText(XSSimpleTypeDefinition& type) {
  std::vector<Allowed> allowed;
  XSSimpleTypeDefinition* builtIn = builtInOf(type);
  if (builtIn != &type) {
    addAll("value", type.getLexicalEnumeration(), allowed);
    addAll("pattern", type.getLexicalPattern(), allowed);
    addLimits(type, builtIn, allowed);
  }
  const bool isPlainText = builtIn == nullptr || toText(builtIn->getName()) == "string";
  if (!isPlainText || allowed.empty()) {
    allowed.push_back({"type", "xs:" + (builtIn == nullptr ? "anySimpleType" : toText(builtIn->getName()))});
  }
  return allowed;
}

xercesc_3_1::XSAttributeUse* attributeUse(XSTypeDefinition& type, const std::string& name) {
  auto* complex = asComplex(&type);
  auto* uses = complex == nullptr ? nullptr : complex->getAttributeUses();
  for (XMLSize_t index = 0; uses != nullptr && index < uses->size(); ++index) {
    if (toText(uses->elementAt(index)->getAttrDeclaration()->getName()) == name) {
      return uses->elementAt(index);
    }
  }
  return nullptr;
}

std::vector<std::string> attributeNames(XSTypeDefinition& type) {
  std::vector<std::string> names;
  auto* complex = asComplex(&type);
  auto* uses = complex == nullptr ? nullptr : complex->getAttributeUses();
  for (XMLSize_t index = 0; uses != nullptr && index < uses->size(); ++index) {
    names.push_back(toText(uses->elementAt(index)->getAttrDeclaration()->getName()));
  }
  return names;
}

}  // namespace DvRequest
