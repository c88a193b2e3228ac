#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestNamespace.h>
#include <tools/dvrequest/check/SchemaModel.h>
#include <tools/dvrequest/support/Text.h>

#include <algorithm>
#include <utility>
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
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/StringPool.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/validators/common/Grammar.hpp>
#include <xercesc/validators/schema/SchemaSymbols.hpp>

namespace DvRequest {

bool isBuiltIn(const xercesc_3_1::XSTypeDefinition& type) {
  return toText(type.getNamespace()) == toText(xercesc_3_1::SchemaSymbols::fgURI_SCHEMAFORSCHEMA);
}

namespace {

using xercesc_3_1::XercesDOMParser;
using xercesc_3_1::XMLPlatformUtils;
using xercesc_3_1::XSComplexTypeDefinition;
using xercesc_3_1::XSConstants;
using xercesc_3_1::XSObject;
using xercesc_3_1::XSSimpleTypeDefinition;
using xercesc_3_1::XSTypeDefinition;

void configureAsLibrary(XercesDOMParser& parser) {
  parser.setDoSchema(true);
  parser.setDoNamespaces(true);
  parser.setValidationScheme(XercesDOMParser::Val_Always);
  parser.setValidationSchemaFullChecking(true);
  parser.useCachedGrammarInParse(true);
}

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
  for (const XMLCh* value : elementsOf(values)) {
    allowed.push_back({kind, toText(value)});
  }
}

/// Adds the limits that `type` sets beyond those of `builtIn`.
void addLimits(XSSimpleTypeDefinition& type, XSSimpleTypeDefinition* builtIn, std::vector<Allowed>& allowed) {
  for (const auto* facet : elementsOf(type.getFacets())) {
    const std::string value = toText(facet->getLexicalFacetValue());
    const bool isNew = builtIn == nullptr || toText(builtIn->getLexicalFacetValue(facet->getFacetKind())) != value;
    const std::string text = limitText(facet->getFacetKind(), value);
    if (isNew && !text.empty()) {
      allowed.push_back({"limit", text});
    }
  }
}

/// The table of namespace names of the schema and of documents.
class NamespaceNames final : public xercesc_3_1::XMLStringPool {
 public:
  unsigned int addOrFind(const XMLCh* name) override {
    if (m_onXsi && xercesc_3_1::XMLString::equals(name, xercesc_3_1::SchemaSymbols::fgURI_XSI)) {
      m_onXsi();
    }
    return XMLStringPool::addOrFind(name);
  }

  std::function<void()> m_onXsi;
};

class GrammarPool final : public xercesc_3_1::XMLGrammarPoolImpl {
 public:
  GrammarPool() : XMLGrammarPoolImpl(XMLPlatformUtils::fgMemoryManager) {}
  xercesc_3_1::XMLStringPool* getURIStringPool() override { return &m_names; }

  NamespaceNames m_names;
};

}  // namespace

class SchemaModel::Storage {
 public:
  Storage() : parser(nullptr, XMLPlatformUtils::fgMemoryManager, &pool) {}

  GrammarPool pool;
  XercesDOMParser parser;
};

SchemaModel::SchemaModel(const std::string& document) : m_storage(std::make_unique<Storage>()) {
  XercesDOMParser& parser = m_storage->parser;
  configureAsLibrary(parser);
  const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(document.data()), document.size(), u"");
  parser.loadGrammar(source, xercesc_3_1::Grammar::SchemaGrammarType, true);
}

SchemaModel::~SchemaModel() = default;

xercesc_3_1::XMLGrammarPool& SchemaModel::pool() { return m_storage->pool; }

void SchemaModel::onXsi(std::function<void()> action) { m_storage->pool.m_names.m_onXsi = std::move(action); }

xercesc_3_1::XSModel& SchemaModel::model() const {
  bool changed = false;
  return *m_storage->pool.getXSModel(changed);
}

std::vector<std::string> SchemaModel::names(XSConstants::COMPONENT_TYPE kind,
                                            const std::function<bool(XSObject&)>& wanted) const {
  std::vector<std::string> result;
  auto* all = model().getComponents(kind);
  for (XMLSize_t index = 0; all != nullptr && index < all->getLength(); ++index) {
    if (wanted(*all->item(index))) {
      result.push_back(toText(all->item(index)->getName()));
    }
  }
  std::sort(result.begin(), result.end());
  return result;
}

XSObject* SchemaModel::describe(const void* component) const {
  return model().getXSObject(const_cast<void*>(component));  // NOLINT(cppcoreguidelines-pro-type-const-cast)
}

XSTypeDefinition* SchemaModel::type(const std::string& name) const {
  return model().getTypeDefinition(toWide(name).c_str(), toWide(Drelvan::c_requestNamespace).c_str());
}

XSTypeDefinition* SchemaModel::rootType(const std::string& name) const {
  auto* element = model().getElementDeclaration(toWide(name).c_str(), toWide(Drelvan::c_requestNamespace).c_str());
  return element == nullptr ? nullptr : element->getTypeDefinition();
}

std::vector<std::string> SchemaModel::typeNames() const {
  const auto isOurs = [](XSObject& type) { return toText(type.getNamespace()) == Drelvan::c_requestNamespace; };
  std::vector<std::string> result = names(XSConstants::TYPE_DEFINITION, [&](XSObject& type) {
    return isOurs(type) && !static_cast<XSTypeDefinition&>(type).getAnonymous();
  });
  const std::vector<std::string> roots = names(XSConstants::ELEMENT_DECLARATION, isOurs);
  result.insert(result.end(), roots.begin(), roots.end());
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

std::string typeName(const XSTypeDefinition& type) {
  return type.getAnonymous() ? std::string() : toText(type.getName());
}

bool isSame(const XSTypeDefinition& left, const XSTypeDefinition& right) {
  const std::string name = typeName(left);
  return &left == &right || (!name.empty() && name == typeName(right) && isBuiltIn(left) == isBuiltIn(right));
}

bool contains(const std::vector<const XSTypeDefinition*>& types, const XSTypeDefinition& wanted) {
  return std::any_of(types.begin(), types.end(), [&](const auto* type) { return isSame(*type, wanted); });
}

std::string builtInName(XSSimpleTypeDefinition& type) {
  const auto* builtIn = builtInOf(type);
  return builtIn == nullptr ? "anySimpleType" : toText(builtIn->getName());
}

bool isEmpty(XSTypeDefinition* type) {
  auto* complex = asComplex(type);
  return complex != nullptr && complex->getContentType() == XSComplexTypeDefinition::CONTENTTYPE_EMPTY;
}

xercesc_3_1::XSParticle* contentOf(XSTypeDefinition& type) {
  auto* complex = asComplex(&type);
  return complex == nullptr ? nullptr : complex->getParticle();
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
  const std::string name = builtInName(type);
  if ((name != "anySimpleType" && name != "string") || allowed.empty()) {
    allowed.push_back({"type", "xs:" + name});
  }
  return allowed;
}

std::vector<xercesc_3_1::XSAttributeUse*> attributesOf(XSTypeDefinition& type) {
  auto* complex = asComplex(&type);
  return elementsOf(complex == nullptr ? nullptr : complex->getAttributeUses());
}

std::string nameOf(const xercesc_3_1::XSAttributeUse& attribute) {
  return toText(attribute.getAttrDeclaration()->getName());
}

XSSimpleTypeDefinition& typeOf(const xercesc_3_1::XSAttributeUse& attribute) {
  return *attribute.getAttrDeclaration()->getTypeDefinition();
}

}  // namespace DvRequest
