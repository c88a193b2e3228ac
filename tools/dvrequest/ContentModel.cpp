#include <tools/dvrequest/ContentModel.h>
#include <tools/dvrequest/Text.h>

#include <algorithm>
#include <utility>
#include <xercesc/framework/psvi/XSElementDeclaration.hpp>
#include <xercesc/framework/psvi/XSModelGroup.hpp>

namespace DvRequest {

using Expression = ContentModel::Expression;
using xercesc_3_1::XSModelGroup;
using xercesc_3_1::XSParticle;

/// Matching takes derivatives: what remains of an expression behind one element.
struct ContentModel::Node {
  enum class Kind { nothing, empty, element, wildcard, sequence, choice, all, repeat };

  Kind kind = Kind::empty;
  QualifiedName name;             ///< of an element
  std::vector<Expression> parts;  ///< two of a sequence, one of a repeat, any number of a choice or `all`
  std::size_t least = 1;          ///< of a repeat
  std::size_t most = 1;           ///< of a repeat
};

namespace {

using Node = ContentModel::Node;
using Kind = Node::Kind;

constexpr auto c_unbounded = static_cast<std::size_t>(-1);

Expression make(Kind kind, std::vector<Expression> parts = {}) {
  return std::make_shared<const Node>(Node{kind, {}, std::move(parts), 1, 1});
}

const Expression c_nothing = make(Kind::nothing);
const Expression c_empty = make(Kind::empty);

bool isNothing(const Expression& expression) { return expression->kind == Kind::nothing; }

Expression sequence(const Expression& first, const Expression& rest) {
  if (isNothing(first) || isNothing(rest)) {
    return c_nothing;
  }
  if (first->kind == Kind::empty || rest->kind == Kind::empty) {
    return first->kind == Kind::empty ? rest : first;
  }
  return make(Kind::sequence, {first, rest});
}

Expression choice(std::vector<Expression> parts) {
  parts.erase(std::remove_if(parts.begin(), parts.end(), isNothing), parts.end());
  if (parts.empty()) {
    return c_nothing;
  }
  return parts.size() == 1 ? parts.front() : make(Kind::choice, std::move(parts));
}

Expression repeat(const Expression& part, std::size_t least, std::size_t most) {
  if (most == 0) {
    return c_empty;
  }
  if (least == 1 && most == 1) {
    return part;
  }
  return std::make_shared<const Node>(Node{Kind::repeat, {}, {part}, least, most});
}

Expression all(std::vector<Expression> parts) { return parts.empty() ? c_empty : make(Kind::all, std::move(parts)); }

bool allowsNone(const Expression& expression) {
  const auto& parts = expression->parts;
  switch (expression->kind) {
    case Kind::empty:
      return true;
    case Kind::sequence:
    case Kind::all:
      return std::all_of(parts.begin(), parts.end(), allowsNone);
    case Kind::choice:
      return std::any_of(parts.begin(), parts.end(), allowsNone);
    case Kind::repeat:
      return expression->least == 0 || allowsNone(parts.front());
    case Kind::nothing:
    case Kind::element:
    case Kind::wildcard:
      return false;
  }
  return false;
}

Expression behind(const Expression& expression, const QualifiedName& name);

Expression behindSequence(const Node& node, const QualifiedName& name) {
  const Expression taken = sequence(behind(node.parts[0], name), node.parts[1]);
  return allowsNone(node.parts[0]) ? choice({taken, behind(node.parts[1], name)}) : taken;
}

Expression behindChoice(const Node& node, const QualifiedName& name) {
  std::vector<Expression> rests;
  for (const Expression& part : node.parts) {
    rests.push_back(behind(part, name));
  }
  return choice(std::move(rests));
}

Expression behindAll(const Node& node, const QualifiedName& name) {
  std::vector<Expression> rests;
  for (std::size_t index = 0; index < node.parts.size(); ++index) {
    std::vector<Expression> others = node.parts;
    others.erase(others.begin() + static_cast<std::ptrdiff_t>(index));
    rests.push_back(sequence(behind(node.parts[index], name), all(std::move(others))));
  }
  return choice(std::move(rests));
}

Expression behindRepeat(const Node& node, const QualifiedName& name) {
  const std::size_t least = node.least == 0 ? 0 : node.least - 1;
  const std::size_t most = node.most == c_unbounded ? c_unbounded : node.most - 1;
  return sequence(behind(node.parts.front(), name), repeat(node.parts.front(), least, most));
}

/// What may follow `name` where `expression` stood; nothing when `name` does not fit.
Expression behind(const Expression& expression, const QualifiedName& name) {
  switch (expression->kind) {
    case Kind::element:
      return expression->name == name ? c_empty : c_nothing;
    case Kind::wildcard:
      return c_empty;
    case Kind::sequence:
      return behindSequence(*expression, name);
    case Kind::choice:
      return behindChoice(*expression, name);
    case Kind::all:
      return behindAll(*expression, name);
    case Kind::repeat:
      return behindRepeat(*expression, name);
    case Kind::nothing:
    case Kind::empty:
      return c_nothing;
  }
  return c_nothing;
}

/// Adds the elements that `expression` may begin with.
void addFirst(const Expression& expression, std::vector<QualifiedName>& names) {
  if (expression->kind == Kind::element) {
    if (std::find(names.begin(), names.end(), expression->name) == names.end()) {
      names.push_back(expression->name);
    }
    return;
  }
  for (const Expression& part : expression->parts) {
    addFirst(part, names);
    if (expression->kind == Kind::sequence && !allowsNone(part)) {
      return;
    }
  }
}

Expression fromParticle(XSParticle* particle);

Expression fromGroup(const XSModelGroup& group) {
  std::vector<Expression> parts;
  auto* particles = group.getParticles();
  for (XMLSize_t index = 0; index < particles->size(); ++index) {
    parts.push_back(fromParticle(particles->elementAt(index)));
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
  const std::size_t most = particle->getMaxOccursUnbounded() ? c_unbounded : particle->getMaxOccurs();
  return repeat(fromTerm(*particle), particle->getMinOccurs(), most);
}

}  // namespace

bool operator==(const QualifiedName& left, const QualifiedName& right) {
  return left.name == right.name && left.space == right.space;
}

ContentModel::ContentModel(XSParticle* particle) : m_expression(fromParticle(particle)) {}

ContentModel::Mismatch ContentModel::match(const std::vector<QualifiedName>& children) const {
  Expression rest = m_expression;
  Mismatch result;
  for (; result.child < children.size(); ++result.child) {
    const Expression next = behind(rest, children[result.child]);
    if (isNothing(next)) {
      break;
    }
    rest = next;
  }
  result.mayEnd = allowsNone(rest);
  result.found = result.child < children.size() || !result.mayEnd;
  addFirst(rest, result.expected);
  return result;
}

}  // namespace DvRequest
