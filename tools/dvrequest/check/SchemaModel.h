#pragma once

#include <service/Xerces.h>
#include <tools/dvrequest/support/Report.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>
#include <xercesc/framework/XMLGrammarPool.hpp>
#include <xercesc/framework/psvi/XSComplexTypeDefinition.hpp>
#include <xercesc/framework/psvi/XSModel.hpp>
#include <xercesc/framework/psvi/XSTypeDefinition.hpp>
#include <xercesc/util/BaseRefVectorOf.hpp>

namespace DvRequest {

/// A valid schema document, loaded with the settings that the library uses, for looking into it.
class SchemaModel {
 public:
  /// Must not outlive the `ParserSession`.
  explicit SchemaModel(const std::string& document);
  ~SchemaModel();
  SchemaModel(const SchemaModel&) = delete;
  SchemaModel& operator=(const SchemaModel&) = delete;

  /// For the one reader that validates by this schema.
  xercesc_3_1::XMLGrammarPool& pool();
  /// `action` is called whenever a document of that reader names the namespace of xsi:type.
  void onXsi(std::function<void()> action);

  /// What describes a declaration or type of Xerces-C's validator; null when it is not of this schema.
  xercesc_3_1::XSObject* describe(const void* component) const;

  /// The type of that name, and that of the root element of that name; null when there is none.
  xercesc_3_1::XSTypeDefinition* type(const std::string& name) const;
  xercesc_3_1::XSTypeDefinition* rootType(const std::string& name) const;

  /// The named types and root elements of the fragments and the base schema.
  std::vector<std::string> typeNames() const;
  std::vector<Allowed> roots() const;
  /// The namespace in which a root element of that name is declared; empty when there is none.
  std::string spaceOfRoot(const std::string& name) const;
  /// The types that may stand in for `base`, itself included.
  std::vector<Allowed> typesFrom(const xercesc_3_1::XSTypeDefinition& base) const;

 private:
  class Storage;

  std::vector<std::string> names(xercesc_3_1::XSConstants::COMPONENT_TYPE kind,
                                 const std::function<bool(xercesc_3_1::XSObject&)>& wanted) const;

  xercesc_3_1::XSModel& model() const;

  std::unique_ptr<Storage> m_storage;
};

/// What a list of Xerces-C holds; nothing for null.
template <typename Element>
std::vector<Element*> elementsOf(xercesc_3_1::BaseRefVectorOf<Element>* list) {
  std::vector<Element*> elements;
  for (XMLSize_t index = 0; list != nullptr && index < list->size(); ++index) {
    elements.push_back(list->elementAt(index));
  }
  return elements;
}

/// Null for a simple type.
xercesc_3_1::XSComplexTypeDefinition* asComplex(xercesc_3_1::XSTypeDefinition* type);

/// The name of the type; empty for one without.
std::string typeName(const xercesc_3_1::XSTypeDefinition& type);

/// Whether both are the same type: Xerces-C describes one that holds itself twice.
bool isSame(const xercesc_3_1::XSTypeDefinition& left, const xercesc_3_1::XSTypeDefinition& right);

/// Whether one of `types` is the same as `wanted`.
bool contains(const std::vector<const xercesc_3_1::XSTypeDefinition*>& types,
              const xercesc_3_1::XSTypeDefinition& wanted);

/// Whether the type is one of XML Schema itself.
bool isBuiltIn(const xercesc_3_1::XSTypeDefinition& type);

/// The nearest type of XML Schema itself that the type comes from; "anySimpleType" when there is none.
std::string builtInName(xercesc_3_1::XSSimpleTypeDefinition& type);

/// Whether the type allows neither children nor text.
bool isEmpty(xercesc_3_1::XSTypeDefinition* type);

/// What children of the type may be; null when it has none.
xercesc_3_1::XSParticle* contentOf(xercesc_3_1::XSTypeDefinition& type);

/// The simple type of the type's text; null when it has none.
xercesc_3_1::XSSimpleTypeDefinition* textType(xercesc_3_1::XSTypeDefinition& type);

/// What text of the type may be.
std::vector<Allowed> allowedText(xercesc_3_1::XSSimpleTypeDefinition& type);

/// The attributes of the type, in the order of their declaration.
std::vector<xercesc_3_1::XSAttributeUse*> attributesOf(xercesc_3_1::XSTypeDefinition& type);

std::string nameOf(const xercesc_3_1::XSAttributeUse& attribute);
xercesc_3_1::XSSimpleTypeDefinition& typeOf(const xercesc_3_1::XSAttributeUse& attribute);

}  // namespace DvRequest
