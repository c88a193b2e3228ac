#include <tools/dvrequest/check/ContentModel.h>
#include <tools/dvrequest/check/SchemaModel.h>
#include <tools/dvrequest/support/Text.h>

#include <algorithm>
#include <utility>
#include <xercesc/framework/psvi/XSElementDeclaration.hpp>
#include <xercesc/framework/psvi/XSModelGroup.hpp>

namespace DvRequest {

using Expression = ContentModel::Expression;
using xercesc_3_1::XSModelGroup;
using xercesc_3_1::XSParticle;

/// Matching takes derivatives: what remains of an expression after one element.
struct ContentModel::Node {
  enum class Kind { emptySet, empty, element, wildcard, sequence, choice, all, repeat };

  Kind kind = Kind::empty;
  QualifiedName name;             ///< of an element
  std::vector<Expression> parts;  ///< two of a sequence, one of a repeat, any number of a choice or `all`
  std::size_t minOccurs = 1;      ///< of a repeat
  std::size_t maxOccurs = 1;      ///< of a repeat
};

namespace {

using Node = ContentModel::Node;
using Kind = Node::Kind;

constexpr auto c_unbounded = static_cast<std::size_t>(-1);

Expression make(Kind kind, std::vector<Expression> parts = {}) {
  return std::make_shared<const Node>(Node{kind, {}, std::move(parts), 1, 1});
}

const Expression c_emptySet = make(Kind::emptySet);
const Expression c_empty = make(Kind::empty);

bool isEmptySet(const Expression& expression) { return expression->kind == Kind::emptySet; }

Expression sequence(const Expression& first, const Expression& rest) {
  if (isEmptySet(first) || isEmptySet(rest)) {
    return c_emptySet;
  }
  if (first->kind == Kind::empty || rest->kind == Kind::empty) {
    return first->kind == Kind::empty ? rest : first;
  }
  return make(Kind::sequence, {first, rest});
}

Expression choice(std::vector<Expression> parts) {
  parts.erase(std::remove_if(parts.begin(), parts.end(), isEmptySet), parts.end());
  if (parts.empty()) {
    return c_emptySet;
  }
  return parts.size() == 1 ? parts.front() : make(Kind::choice, std::move(parts));
}

Expression repeat(const Expression& part, std::size_t minOccurs, std::size_t maxOccurs) {
  if (maxOccurs == 0) {
    return c_empty;
  }
  if (minOccurs == 1 && maxOccurs == 1) {
    return part;
  }
  return std::make_shared<const Node>(Node{Kind::repeat, {}, {part}, minOccurs, maxOccurs});
}

Expression all(std::vector<Expression> parts) { return parts.empty() ? c_empty : make(Kind::all, std::move(parts)); }

bool isNullable(const Expression& expression) {
  const auto& parts = expression->parts;
  switch (expression->kind) {
    case Kind::empty:
      return true;
    case Kind::sequence:
    case Kind::all:
      return std::all_of(parts.begin(), parts.end(), isNullable);
    case Kind::choice:
      return std::any_of(parts.begin(), parts.end(), isNullable);
    case Kind::repeat:
      return expression->minOccurs == 0 || isNullable(parts.front());
    case Kind::emptySet:
    case Kind::element:
    case Kind::wildcard:
      return false;
  }
  return false;
}

Expression derivative(const Expression& expression, const QualifiedName& name);

Expression deriveSequence(const Node& node, const QualifiedName& name) {
  const Expression taken = sequence(derivative(node.parts[0], name), node.parts[1]);
  return isNullable(node.parts[0]) ? choice({taken, derivative(node.parts[1], name)}) : taken;
}

Expression deriveChoice(const Node& node, const QualifiedName& name) {
  std::vector<Expression> rests;
  for (const Expression& part : node.parts) {
    rests.push_back(derivative(part, name));
  }
  return choice(std::move(rests));
}

Expression deriveAll(const Node& node, const QualifiedName& name) {
  std::vector<Expression> rests;
  for (std::size_t index = 0; index < node.parts.size(); ++index) {
    std::vector<Expression> others = node.parts;
    others.erase(others.begin() + static_cast<std::ptrdiff_t>(index));
    rests.push_back(sequence(derivative(node.parts[index], name), all(std::move(others))));
  }
  return choice(std::move(rests));
}

Expression deriveRepeat(const Node& node, const QualifiedName& name) {
  const std::size_t minOccurs = node.minOccurs == 0 ? 0 : node.minOccurs - 1;
  const std::size_t maxOccurs = node.maxOccurs == c_unbounded ? c_unbounded : node.maxOccurs - 1;
  return sequence(derivative(node.parts.front(), name), repeat(node.parts.front(), minOccurs, maxOccurs));
}

/// What may follow `name` where `expression` stood; the empty set when `name` does not fit.
Expression derivative(const Expression& expression, const QualifiedName& name) {
  switch (expression->kind) {
    case Kind::element:
      return expression->name == name ? c_empty : c_emptySet;
    case Kind::wildcard:
      return c_empty;
    case Kind::sequence:
      return deriveSequence(*expression, name);
    case Kind::choice:
      return deriveChoice(*expression, name);
    case Kind::all:
      return deriveAll(*expression, name);
    case Kind::repeat:
      return deriveRepeat(*expression, name);
    case Kind::emptySet:
    case Kind::empty:
      return c_emptySet;
  }
  return c_emptySet;
}

/// Adds the elements that `expression` may begin with.
void firstSet(const Expression& expression, std::vector<QualifiedName>& names) {
  if (expression->kind == Kind::element) {
    if (std::find(names.begin(), names.end(), expression->name) == names.end()) {
      names.push_back(expression->name);
    }
    return;
  }
  for (const Expression& part : expression->parts) {
    firstSet(part, names);
    if (expression->kind == Kind::sequence && !isNullable(part)) {
      return;
    }
  }
}

Expression fromParticle(XSParticle* particle);

Expression fromGroup(const XSModelGroup& group) {
  std::vector<Expression> parts;
  for (XSParticle* part : elementsOf(group.getParticles())) {
    parts.push_back(fromParticle(part));
  }
  if (group.getCompositor() == XSModelGroup::COMPOSITOR_CHOICE) {
    return choice(std::move(parts));
  }
  if (group.getCompositor() == XSModelGroup::COMPOSITOR_ALL) {
    return all(std::move(parts));
  }
  Expression result = c_empty;
  for (auto part = parts.rbegin(); part != parts.rend(); ++part) {
    result = sequence(*part, result);
  }
  return result;
}

Expression fromTerm(XSParticle& particle) {
  switch (particle.getTermType()) {
    case XSParticle::TERM_ELEMENT: {
      const auto* element = particle.getElementTerm();
      return std::make_shared<const Node>(
          Node{Kind::element, {toText(element->getNamespace()), toText(element->getName())}, {}, 1, 1});
    }
    case XSParticle::TERM_MODELGROUP:
      return fromGroup(*particle.getModelGroupTerm());
    case XSParticle::TERM_WILDCARD:
      return make(Kind::wildcard);
    case XSParticle::TERM_EMPTY:
      break;
  }
  return c_empty;
}

Expression fromParticle(XSParticle* particle) {
  if (particle == nullptr) {
    return c_empty;
  }
  const std::size_t maxOccurs = particle->getMaxOccursUnbounded() ? c_unbounded : particle->getMaxOccurs();
  return repeat(fromTerm(*particle), particle->getMinOccurs(), maxOccurs);
}

}  // namespace

bool operator==(const QualifiedName& left, const QualifiedName& right) {
  return left.name == right.name && left.space == right.space;
}

ContentModel::ContentModel(XSParticle* particle) : m_rest(fromParticle(particle)) {}

bool ContentModel::take(const QualifiedName& child) {
  Expression rest = derivative(m_rest, child);
  if (isEmptySet(rest)) {
    return false;
  }
  m_rest = std::move(rest);
  return true;
}

std::vector<QualifiedName> ContentModel::expected() const {
  std::vector<QualifiedName> names;
  firstSet(m_rest, names);
  return names;
}

bool ContentModel::mayEnd() const { return isNullable(m_rest); }

}  // namespace DvRequest
