#pragma once

#include <service/Xerces.h>
#include <tools/dvrequest/Place.h>
#include <tools/dvrequest/Report.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>
#include <xercesc/framework/psvi/XSComplexTypeDefinition.hpp>
#include <xercesc/framework/psvi/XSModel.hpp>
#include <xercesc/framework/psvi/XSTypeDefinition.hpp>

namespace DvRequest {

/// A schema document, loaded with the settings that the library uses, for looking into it.
class SchemaModel {
 public:
  /// Needs a `ParserPlatform` as long as it lives.
  explicit SchemaModel(const std::string& document);
  ~SchemaModel();
  SchemaModel(const SchemaModel&) = delete;
  SchemaModel& operator=(const SchemaModel&) = delete;

  /// What is wrong with the schema; empty when nothing is.
  const std::vector<Problem>& problems() const { return m_problems; }

  /// The type of the root element; null when it is not declared.
  xercesc_3_1::XSTypeDefinition* rootType(const std::string& space, const std::string& name) const;
  /// The type of that name; null when there is none.
  xercesc_3_1::XSTypeDefinition* type(const std::string& space, const std::string& name) const;

  std::vector<Allowed> roots() const;
  /// The namespace in which a root element of that name is declared; empty when there is none.
  std::string spaceOfRoot(const std::string& name) const;
  /// The types that may stand in for `base`, itself included.
  std::vector<Allowed> typesFrom(const xercesc_3_1::XSTypeDefinition& base) const;

 private:
  class Storage;

  std::vector<std::string> names(xercesc_3_1::XSConstants::COMPONENT_TYPE kind,
                                 const std::function<bool(xercesc_3_1::XSObject&)>& wanted) const;

  std::unique_ptr<Storage> m_storage;
  xercesc_3_1::XSModel* m_model = nullptr;
  std::vector<Problem> m_problems;
};

/// What the type makes of a child.
struct ChildType {
  bool declared = false;
  xercesc_3_1::XSTypeDefinition* type = nullptr;  ///< null when anything may stand there
};

ChildType childType(xercesc_3_1::XSTypeDefinition& parent, const std::string& space, const std::string& name);

/// Null for a simple type.
xercesc_3_1::XSComplexTypeDefinition* asComplex(xercesc_3_1::XSTypeDefinition* type);

/// The name of the type; empty for one without.
std::string typeName(const xercesc_3_1::XSTypeDefinition& type);

/// Whether the type allows neither children nor text.
bool isEmpty(xercesc_3_1::XSTypeDefinition* type);

/// The simple type of the type's text; null when it has none.
xercesc_3_1::XSSimpleTypeDefinition* textType(xercesc_3_1::XSTypeDefinition& type);

/// What text of the type may be.
std::vector<Allowed> allowedText(xercesc_3_1::XSSimpleTypeDefinition& type);

/// The declaration of an attribute of the type; null when there is none.
xercesc_3_1::XSAttributeUse* attributeUse(xercesc_3_1::XSTypeDefinition& type, const std::string& name);

/// The names of all attributes that the type declares.
std::vector<std::string> attributeNames(xercesc_3_1::XSTypeDefinition& type);

}  // namespace DvRequest
