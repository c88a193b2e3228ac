#include <tools/dvrequest/check/TypeTree.h>
#include <tools/dvrequest/support/Text.h>

#include <algorithm>
#include <utility>
#include <vector>
#include <xercesc/framework/psvi/XSAttributeUse.hpp>
#include <xercesc/framework/psvi/XSElementDeclaration.hpp>
#include <xercesc/framework/psvi/XSModelGroup.hpp>
#include <xercesc/framework/psvi/XSParticle.hpp>
#include <xercesc/framework/psvi/XSSimpleTypeDefinition.hpp>

namespace DvRequest {

namespace {

using xercesc_3_1::XSModelGroup;
using xercesc_3_1::XSParticle;
using xercesc_3_1::XSTypeDefinition;

constexpr std::size_t c_nameWidth = 30;
constexpr std::size_t c_countWidth = 6;

std::string padded(std::string text, std::size_t width) {
  text.resize(std::max(text.size() + 1, width), ' ');
  return text;
}

/// Such as 1, 0..1 or 1..*.
std::string occurrences(const XSParticle& particle) {
  const std::string least = std::to_string(particle.getMinOccurs());
  const std::string most = particle.getMaxOccursUnbounded() ? "*" : std::to_string(particle.getMaxOccurs());
  return least == most ? least : least + ".." + most;
}

std::string describe(XSTypeDefinition& type) {
  std::string text = isBuiltIn(type) ? "" : typeName(type);
  if (auto* simple = textType(type)) {
    std::string values;
    for (const Allowed& allowed : allowedText(*simple)) {
      values += (values.empty() ? "" : ", ") + std::string(allowed.kind == "pattern" ? "pattern " : "");
      values += allowed.kind == "value" ? "'" + allowed.text + "'" : allowed.text;
    }
    text += (text.empty() ? "" : ": ") + values;
  }
  return text;
}

class TreeWriter {
 public:
  std::string take() { return std::move(m_text); }

  void line(const std::string& name, const std::string& count, const std::string& content) {
    std::string text =
        padded(std::string(2 * m_depth, ' ') + name, c_nameWidth) + padded(count, c_countWidth) + content;
    m_text += text.substr(0, text.find_last_not_of(' ') + 1) + "\n";
  }

  bool hasMet(const XSTypeDefinition& type) const { return contains(m_met, type); }

  void type(XSTypeDefinition& type) {
    m_met.push_back(&type);
    m_open.push_back(&type);
    ++m_depth;
    for (xercesc_3_1::XSAttributeUse* use : attributesOf(type)) {
      attribute(*use);
    }
    if (auto* content = contentOf(type)) {
      particle(*content);
    }
    --m_depth;
    m_open.pop_back();
  }

 private:
  void attribute(xercesc_3_1::XSAttributeUse& use) {
    m_met.push_back(&typeOf(use));
    std::string content = describe(typeOf(use));
    if (use.getConstraintType() != xercesc_3_1::XSConstants::VALUE_CONSTRAINT_NONE) {
      const bool isFixed = use.getConstraintType() == xercesc_3_1::XSConstants::VALUE_CONSTRAINT_FIXED;
      content += std::string(isFixed ? ", always '" : ", by default '") + toText(use.getConstraintValue()) + "'";
    }
    line("@" + nameOf(use), use.getRequired() ? "1" : "0..1", content);
  }

  void particle(XSParticle& particle) {
    if (particle.getTermType() == XSParticle::TERM_WILDCARD) {
      line("(any element)", occurrences(particle), "");
    } else if (particle.getTermType() == XSParticle::TERM_ELEMENT) {
      element(*particle.getElementTerm(), occurrences(particle));
    } else if (particle.getTermType() == XSParticle::TERM_MODELGROUP) {
      group(*particle.getModelGroupTerm(), occurrences(particle));
    }
  }

  void element(xercesc_3_1::XSElementDeclaration& element, const std::string& count) {
    auto& type = *element.getTypeDefinition();
    const bool isOpen = contains(m_open, type);
    line(toText(element.getName()), count, describe(type) + (isOpen ? ", as above" : ""));
    if (!isOpen) {
      this->type(type);
    }
  }

  void group(const XSModelGroup& group, const std::string& count) {
    const bool isChoice = group.getCompositor() == XSModelGroup::COMPOSITOR_CHOICE;
    const bool isAll = group.getCompositor() == XSModelGroup::COMPOSITOR_ALL;
    const bool isShown = isChoice || isAll || count != "1";
    if (isShown) {
      line(isChoice ? "(one of)" : isAll ? "(in any order)" : "(in this order)", count, "");
      ++m_depth;
    }
    for (XSParticle* part : elementsOf(group.getParticles())) {
      particle(*part);
    }
    m_depth -= isShown ? 1 : 0;
  }

  std::string m_text;
  std::size_t m_depth = 0;
  std::vector<const XSTypeDefinition*> m_open;
  std::vector<const XSTypeDefinition*> m_met;
};

}  // namespace

bool holds(XSTypeDefinition& whole, const XSTypeDefinition& part) {
  TreeWriter tree;
  tree.type(whole);
  return tree.hasMet(part);
}

std::string typeTree(const SchemaModel& schema, const std::string& name) {
  XSTypeDefinition* type = schema.rootType(name);
  const bool isRoot = type != nullptr;
  type = isRoot ? type : schema.type(name);
  if (type == nullptr) {
    return {};
  }
  TreeWriter tree;
  auto* base = type->getBaseType();
  const bool isDerived = base != nullptr && !isBuiltIn(*base) && base != type;
  tree.line((isRoot ? "root element " : "") + name + (isDerived ? ", extends " + typeName(*base) : ""), "", "");
  tree.type(*type);
  return tree.take();
}

}  // namespace DvRequest
