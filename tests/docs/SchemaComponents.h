#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>
#include <xercesc/dom/DOMElement.hpp>

namespace ManualTests {

/// What the schema says of one element or attribute of a type.
struct Component {
  std::string name;        ///< "id", "@href", "parameter/value"
  std::string type;        ///< "DVUid", "xs:string"; of an anonymous restriction its base; empty for an anonymous type
  std::string occurrence;  ///< "1", "0..1", "1..n", "required", "optional"
  std::set<std::string> rules;  ///< each facet, default and fixed value
};

/// A named type or a global element.
struct Definition {
  std::string base;  ///< the type that is extended or restricted, or that a global element has; may be empty
  std::set<std::string> rules;
  std::vector<Component> components;
};

/// Reads the components of a schema document, as far as the package schema and its fragments use XML Schema.
class SchemaComponents {
 public:
  explicit SchemaComponents(const std::string& schema);

  /// By name, global elements and types alike: the package schema has no name twice.
  const std::map<std::string, Definition>& definitions() const { return m_definitions; }

  /// The components that a validated document uses, as "DVData", "DVData/@href" and, for the values of an enumeration,
  /// "LogMessage/@type=Info". What fragments define is not told.
  std::set<std::string> usedBy(const xercesc_3_1::DOMElement& root) const;

 private:
  class Reader;

  void use(const xercesc_3_1::DOMElement& element, const std::string& definition, const std::string& path,
           std::set<std::string>& used) const;
  const Component* find(std::string& definition, const std::string& component) const;

  std::map<std::string, Definition> m_definitions;
};

}  // namespace ManualTests
