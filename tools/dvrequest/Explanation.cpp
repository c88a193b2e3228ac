#include <tools/dvrequest/ContentModel.h>
#include <tools/dvrequest/DocumentMap.h>
#include <tools/dvrequest/Explanation.h>
#include <tools/dvrequest/SourceText.h>
#include <tools/dvrequest/Text.h>

#include <algorithm>
#include <map>
#include <optional>
#include <utility>
#include <xercesc/framework/psvi/XSAttributeDeclaration.hpp>
#include <xercesc/framework/psvi/XSAttributeUse.hpp>

namespace DvRequest {

namespace {

using xercesc_3_1::XSTypeDefinition;

bool contains(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

/// The first text in single quotes behind `mark`; empty when there is none.
std::string quotedBehind(const std::string& message, const std::string& mark) {
  const std::size_t start = message.find(mark + "'");
  if (start == std::string::npos) {
    return {};
  }
  const std::size_t begin = start + mark.size() + 1;
  return message.substr(begin, message.find('\'', begin) - begin);
}

std::string withoutNamespace(const std::string& name) {
  const std::size_t brace = name.find('}');
  return brace == std::string::npos ? name : name.substr(brace + 1);
}

QualifiedName nameOf(const Element& element) { return {element.space, element.name}; }

/// What the schema knows of one element of the document.
struct Typing {
  enum class State {
    known,
    anything,  ///< the schema leaves open what stands here
    undeclared,
    badType,  ///< `xsi:type` names no type
    below     ///< within an element of the two kinds before
  };
  State state = State::anything;
  XSTypeDefinition* type = nullptr;  ///< for `badType` the declared one
};

bool isFaulty(const Typing& typing) {
  return typing.state == Typing::State::undeclared || typing.state == Typing::State::badType;
}

/// The types of all elements, in the order of their start tags.
std::vector<Typing> typeAll(const std::vector<Element>& elements, const SchemaModel* model) {
  std::vector<Typing> typings;
  const auto declared = [&](const Element& element) -> Typing {
    if (!element.parent) {
      auto* type = model->rootType(element.space, element.name);
      return {type == nullptr ? Typing::State::undeclared : Typing::State::known, type};
    }
    const Typing& parent = typings[*element.parent];
    if (parent.state != Typing::State::known) {
      return {parent.state == Typing::State::anything ? Typing::State::anything : Typing::State::below, nullptr};
    }
    const ChildType child = childType(*parent.type, element.space, element.name);
    if (!child.declared) {
      return {Typing::State::undeclared, nullptr};
    }
    return {child.type == nullptr ? Typing::State::anything : Typing::State::known, child.type};
  };
  for (const Element& element : elements) {
    Typing typing = model == nullptr ? Typing{} : declared(element);
    if (typing.state == Typing::State::known && !element.type.empty()) {
      auto* named = model->type(element.space, element.type);
      typing = named == nullptr ? Typing{Typing::State::badType, typing.type} : Typing{Typing::State::known, named};
    }
    typings.push_back(typing);
  }
  return typings;
}

class Explainer {
 public:
  Explainer(const std::string& document, const SchemaModel* model)
      : m_map(document), m_text(document), m_model(model), m_typings(typeAll(m_map.elements(), model)) {}

  Explanation explain(const std::vector<Problem>& problems) {
    for (const Problem& problem : problems) {
      add(locate(problem));
    }
    std::stable_sort(m_diagnostics.begin(), m_diagnostics.end(),
                     [](const Diagnostic& left, const Diagnostic& right) { return left.place < right.place; });
    return {std::move(m_diagnostics), m_map.brokenness().has_value()};
  }

 private:
  struct Fault {
    std::string key;  ///< the same for problems that come from one fault; empty for a fault of its own
    Diagnostic diagnostic;
  };

  void add(Fault fault) {
    const auto known = m_faults.find(fault.key);
    if (!fault.key.empty() && known != m_faults.end()) {
      ++m_diagnostics[known->second].consequences;
      return;
    }
    m_faults.emplace(fault.key, m_diagnostics.size());
    m_diagnostics.push_back(std::move(fault.diagnostic));
  }

  Fault locate(const Problem& problem) const {
    Fault fault;
    fault.diagnostic.severity = problem.severity;
    fault.diagnostic.place = fault.diagnostic.logged = problem.place;
    fault.diagnostic.message = problem.message;
    const auto starting = m_map.startingAt(problem.place);
    const auto ending = m_map.endingAt(problem.place);
    const auto index = starting ? starting : ending ? ending : m_map.around(problem.place);
    if (index) {
      fault.diagnostic.path = m_map.path(*index);
      if (problem.severity == "fatal error") {
        closeElement(*index, fault);
      } else if (m_model != nullptr) {
        locateIn(*index, starting.has_value(), ending.has_value(), fault);
      }
    }
    return fault;
  }

  void closeElement(std::size_t index, Fault& fault) const {
    if (contains(fault.diagnostic.message, "expected end of tag")) {
      fault.diagnostic.allowed.push_back({"end", m_map.elements()[index].name});
    }
  }

  void locateIn(std::size_t index, bool starts, bool ends, Fault& fault) const {
    const std::string& message = fault.diagnostic.message;
    const bool isText = contains(message, "no character data");
    const bool isContent = isText || (ends && contains(message, "content model"));
    const auto cause = faultyAncestor(index);
    const auto owner = cause ? m_map.elements()[*cause].parent : isContent ? std::make_optional(index) : std::nullopt;
    if (owner && mustBeEmpty(*owner)) {
      blameEmpty(*owner, fault);
    } else if (cause) {
      blameElement(*cause, fault);
    } else if (isText) {
      fault.key = "text " + std::to_string(index);
    } else if (isContent) {
      blameContent(index, fault);
    } else if (m_typings[index].state == Typing::State::known && !(starts && blameAttribute(index, fault)) && ends) {
      blameText(index, fault);
    }
  }

  std::optional<std::size_t> faultyAncestor(std::size_t index) const {
    for (std::optional<std::size_t> current = index; current; current = m_map.elements()[*current].parent) {
      if (isFaulty(m_typings[*current])) {
        return current;
      }
    }
    return std::nullopt;
  }

  bool mustBeEmpty(std::size_t index) const {
    return m_typings[index].state == Typing::State::known && isEmpty(m_typings[index].type);
  }

  /// Blames an element that must hold nothing; most often it names no type, or the wrong one.
  void blameEmpty(std::size_t index, Fault& fault) const {
    const Element& element = m_map.elements()[index];
    fault.key = "empty " + std::to_string(index);
    fault.diagnostic.path = m_map.path(index);
    fault.diagnostic.allowed = m_model->typesFrom(*m_typings[index].type);
    const auto isCurrent = [&](const Allowed& allowed) { return allowed.text == typeName(*m_typings[index].type); };
    auto& allowed = fault.diagnostic.allowed;
    allowed.erase(std::remove_if(allowed.begin(), allowed.end(), isCurrent), allowed.end());
    allowed.insert(allowed.begin(), {"end", element.name});
    moveTo(m_text.tag(element.start), fault.diagnostic);
  }

  void moveTo(const std::optional<Place>& place, Diagnostic& diagnostic) const {
    diagnostic.place = place.value_or(diagnostic.place);
  }

  void blameElement(std::size_t index, Fault& fault) const {
    const Element& element = m_map.elements()[index];
    fault.key = "element " + std::to_string(index);
    fault.diagnostic.path = m_map.path(index);
    if (m_typings[index].state == Typing::State::badType) {
      moveTo(m_text.attribute(element.start, "type"), fault.diagnostic);
      fault.diagnostic.allowed = m_model->typesFrom(*m_typings[index].type);
      return;
    }
    moveTo(m_text.tag(element.start), fault.diagnostic);
    fault.diagnostic.allowed = element.parent ? allowedChildren(*element.parent, index) : allowedRoots(element);
  }

  std::vector<Allowed> allowedRoots(const Element& element) const {
    const std::string space = m_model->spaceOfRoot(element.name);
    return space.empty() ? m_model->roots() : std::vector<Allowed>{{"namespace", space}};
  }

  ContentModel::Mismatch matchChildren(std::size_t parent, const std::vector<std::size_t>& children) const {
    std::vector<QualifiedName> names;
    names.reserve(children.size());
    for (const std::size_t child : children) {
      names.push_back(nameOf(m_map.elements()[child]));
    }
    auto* complex = asComplex(m_typings[parent].type);
    return ContentModel(complex == nullptr ? nullptr : complex->getParticle()).match(names);
  }

  std::vector<Allowed> toAllowed(const ContentModel::Mismatch& mismatch, std::size_t parent,
                                 const std::string& found) const {
    std::vector<Allowed> allowed;
    for (const QualifiedName& name : mismatch.expected) {
      allowed.push_back({"element", name.name});
    }
    if (mismatch.mayEnd) {
      allowed.push_back({"end", m_map.elements()[parent].name});
    }
    const auto same = std::find_if(mismatch.expected.begin(), mismatch.expected.end(),
                                   [&](const QualifiedName& name) { return name.name == found; });
    if (same != mismatch.expected.end()) {
      allowed.push_back({"namespace", same->space});
    }
    return allowed;
  }

  /// What may stand in `parent` in place of `child`; nothing when the children before it do not fit either.
  std::vector<Allowed> allowedChildren(std::size_t parent, std::size_t child) const {
    std::vector<std::size_t> before = m_map.elements()[parent].children;
    before.erase(std::find(before.begin(), before.end(), child), before.end());
    const ContentModel::Mismatch mismatch = matchChildren(parent, before);
    return mismatch.child < before.size() ? std::vector<Allowed>()
                                          : toAllowed(mismatch, parent, m_map.elements()[child].name);
  }

  void blameContent(std::size_t parent, Fault& fault) const {
    const Element& element = m_map.elements()[parent];
    const ContentModel::Mismatch mismatch = matchChildren(parent, element.children);
    if (m_typings[parent].state != Typing::State::known || !mismatch.found) {
      return;
    }
    if (mismatch.child < element.children.size()) {
      const std::size_t child = element.children[mismatch.child];
      fault.key = "element " + std::to_string(child);
      fault.diagnostic.path = m_map.path(child);
      fault.diagnostic.allowed = toAllowed(mismatch, parent, m_map.elements()[child].name);
      moveTo(m_text.tag(m_map.elements()[child].start), fault.diagnostic);
      return;
    }
    fault.key = "end " + std::to_string(parent);
    fault.diagnostic.allowed = toAllowed(mismatch, parent, {});
    moveTo(m_text.tag(element.end), fault.diagnostic);
  }

  /// Whether an attribute of the element is at fault.
  bool blameAttribute(std::size_t index, Fault& fault) const {
    const Element& element = m_map.elements()[index];
    const std::string named = withoutNamespace(quotedBehind(fault.diagnostic.message, "attribute "));
    const std::string name = named.empty() ? attributeWithValue(element, fault.diagnostic.message) : named;
    if (name.empty()) {
      return false;
    }
    const auto place = m_text.attribute(element.start, name);
    moveTo(place ? place : m_text.tag(element.start), fault.diagnostic);
    fault.diagnostic.path += "/@" + name;
    fault.diagnostic.allowed = allowedAttribute(element, *m_typings[index].type, name);
    return true;
  }

  static std::string attributeWithValue(const Element& element, const std::string& message) {
    const std::string value = quotedBehind(message, "value ");
    const auto found = std::find_if(element.attributes.begin(), element.attributes.end(),
                                    [&](const AttributeText& attribute) { return attribute.value == value; });
    return found == element.attributes.end() ? "" : found->name;
  }

  static std::vector<Allowed> allowedAttribute(const Element& element, XSTypeDefinition& type,
                                               const std::string& name) {
    auto* use = attributeUse(type, name);
    if (use == nullptr) {
      return unusedAttributes(element, type);
    }
    if (use->getConstraintType() == xercesc_3_1::XSConstants::VALUE_CONSTRAINT_FIXED) {
      return {{"value", toText(use->getConstraintValue())}};
    }
    return allowedText(*use->getAttrDeclaration()->getTypeDefinition());
  }

  static std::vector<Allowed> unusedAttributes(const Element& element, XSTypeDefinition& type) {
    std::vector<Allowed> allowed;
    for (const std::string& name : attributeNames(type)) {
      const auto isIt = [&](const AttributeText& attribute) { return attribute.name == name; };
      if (std::none_of(element.attributes.begin(), element.attributes.end(), isIt)) {
        allowed.push_back({"attribute", name});
      }
    }
    return allowed;
  }

  void blameText(std::size_t index, Fault& fault) const {
    if (auto* type = textType(*m_typings[index].type)) {
      moveTo(m_text.tag(m_map.elements()[index].start), fault.diagnostic);
      fault.diagnostic.allowed = allowedText(*type);
    }
  }

  const DocumentMap m_map;
  const SourceText m_text;
  const SchemaModel* const m_model;
  const std::vector<Typing> m_typings;
  std::vector<Diagnostic> m_diagnostics;
  std::map<std::string, std::size_t> m_faults;
};

}  // namespace

Explanation explain(const std::vector<Problem>& problems, const std::string& document, const SchemaModel* model) {
  return Explainer(document, model).explain(problems);
}

}  // namespace DvRequest
