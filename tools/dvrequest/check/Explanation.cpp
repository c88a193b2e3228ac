#include <tools/dvrequest/check/Explanation.h>
#include <tools/dvrequest/check/Hints.h>
#include <tools/dvrequest/support/Text.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <xercesc/framework/XMLErrorCodes.hpp>
#include <xercesc/framework/XMLValidityCodes.hpp>
#include <xercesc/framework/psvi/XSAttributeUse.hpp>
#include <xercesc/util/XMLExceptMsgs.hpp>

namespace DvRequest {

namespace {

using xercesc_3_1::XMLErrs;
using xercesc_3_1::XMLExcepts;
using xercesc_3_1::XMLValid;
using xercesc_3_1::XSAttributeUse;
using xercesc_3_1::XSTypeDefinition;

constexpr std::size_t c_maxShownSteps = 40;

constexpr const char* c_schemaHint =
    "a service validates by the schema that it was built with, follows no xsi:schemaLocation, and refuses the "
    "document; remove the attribute";

template <typename... Codes>
bool isAnyOf(const ReadError& error, Codes... codes) {
  return (isValidity(error, codes) || ...);
}

bool isUndeclared(const ReadError& error) {
  return isAnyOf(error, XMLValid::ElementNotDefined, XMLValid::GrammarNotFound, XMLValid::ElementNotQualified,
                 XMLValid::ElementNotUnQualified);
}

bool isBadType(const ReadError& error) {
  return isAnyOf(error, XMLValid::BadXsiType, XMLValid::NonDerivedXsiType, XMLValid::NoAbstractInXsiType,
                 XMLValid::NoUseAbstractType, XMLValid::NoDirectUseAbstractElement, XMLValid::ElemNoSubforBlock,
                 XMLValid::TypeNoSubforBlock);
}

bool isContent(const ReadError& error) {
  return isAnyOf(error, XMLValid::ElementNotValidForContent, XMLValid::EmptyNotValidForContent,
                 XMLValid::NotEnoughElemsForCM);
}

/// Whether a well-formed document can have this error.
bool canBeWellFormed(const ReadError& error) {
  const bool isOfSource =
      error.kind == ReadError::Kind::exception &&
      (error.code == XMLExcepts::Scan_CouldNotOpenSource || error.code == XMLExcepts::Gen_CouldNotOpenDTD ||
       error.code == XMLExcepts::Gen_CouldNotOpenExtEntity);
  return error.reported.severity == "warning" || isOfSource || isSyntax(error, XMLErrs::EntityExpansionLimitExceeded);
}

/// An element in the path of another one.
struct Step {
  std::shared_ptr<Step> parent;
  std::string name;
  std::size_t number = 1;                     ///< among the siblings of its name
  std::map<std::string, std::size_t> counts;  ///< of the children, by name
};

/// Such as /DV_Request/request[2]; numbers only among siblings of one name.
std::string pathOf(const Step* step) {
  std::vector<std::string> steps;
  for (; step != nullptr; step = step->parent.get()) {
    const bool isOnly = step->parent == nullptr || step->parent->counts.at(step->name) == 1;
    steps.push_back("/" + step->name + (isOnly ? "" : "[" + std::to_string(step->number) + "]"));
  }
  if (steps.size() > c_maxShownSteps) {
    steps.erase(steps.begin() + c_maxShownSteps / 2, steps.end() - c_maxShownSteps / 2);
    steps.insert(steps.begin() + c_maxShownSteps / 2, "/...");
  }
  std::string path;
  std::for_each(steps.rbegin(), steps.rend(), [&](const std::string& text) { path += text; });
  return path;
}

/// A diagnostic whose place and path are not final.
struct Draft {
  Diagnostic diagnostic;
  std::shared_ptr<Step> step;
  std::string attribute;
  std::optional<std::size_t> offset;
  std::optional<std::size_t> reached;  ///< the byte that the parser had reached
};

/// A child that does not fit where it stands.
struct Misplaced {
  std::shared_ptr<Step> step;
  std::size_t start = 0;
  std::optional<std::size_t> draft;
};

/// An open element.
struct Level {
  ReadElement element;
  std::shared_ptr<Step> step;
  std::optional<ContentModel> model;  ///< of what may follow; stays as it is after a misplaced child
  std::optional<Misplaced> misplaced;
  // The drafts of errors that further errors are folded into:
  std::optional<std::size_t> cause;  ///< the element, or one around it, is not declared or has a wrong type
  std::optional<std::size_t> empty;  ///< it must be empty
  std::optional<std::size_t> text;   ///< it must not hold text
  std::optional<std::size_t> hint;   ///< it names a schema
};

bool mustBeEmpty(const Level& level) { return level.element.type != nullptr && isEmpty(level.element.type); }

const ReadAttribute* find(const ReadElement& element, const std::string& name) {
  const auto found = std::find_if(element.attributes.begin(), element.attributes.end(),
                                  [&](const ReadAttribute& attribute) { return attribute.name == name; });
  return found == element.attributes.end() ? nullptr : &*found;
}

/// The declared attributes that a start tag does not have, in the order of their declaration.
std::vector<std::string> absentAttributes(const ReadElement& element, bool requiredOnly) {
  std::vector<std::string> names;
  if (element.type != nullptr) {
    for (XSAttributeUse* use : attributesOf(*element.type)) {
      if ((use->getRequired() || !requiredOnly) && find(element, nameOf(*use)) == nullptr) {
        names.push_back(nameOf(*use));
      }
    }
  }
  return names;
}

std::vector<std::string> invalidAttributes(const ReadElement& element) {
  std::vector<std::string> names;
  for (const ReadAttribute& attribute : element.attributes) {
    if (attribute.isInvalid) {
      names.push_back(attribute.name);
    }
  }
  return names;
}

/// Takes the first of `names`; empty when there is none.
std::string takeFirst(std::vector<std::string>& names) {
  if (names.empty()) {
    return {};
  }
  std::string first = std::move(names.front());
  names.erase(names.begin());
  return first;
}

std::vector<Allowed> allowedAttribute(const ReadElement& element, XSAttributeUse* declared) {
  if (declared == nullptr) {
    std::vector<Allowed> allowed;
    for (const std::string& name : absentAttributes(element, false)) {
      allowed.push_back({"attribute", name});
    }
    return allowed;
  }
  if (declared->getConstraintType() == xercesc_3_1::XSConstants::VALUE_CONSTRAINT_FIXED) {
    return {{"value", toText(declared->getConstraintValue())}};
  }
  return allowedText(typeOf(*declared));
}

/// What fits after the children of `parent` so far, instead of an element of the name `found`.
std::vector<Allowed> allowedNext(const Level& parent, const std::string& found) {
  std::vector<Allowed> allowed;
  const std::vector<QualifiedName> expected = parent.model->expected();
  allowed.reserve(expected.size());
  for (const QualifiedName& name : expected) {
    allowed.push_back({"element", name.name});
  }
  if (parent.model->mayEnd()) {
    allowed.push_back({"end", parent.element.name.name});
  }
  const auto same =
      std::find_if(expected.begin(), expected.end(), [&](const QualifiedName& name) { return name.name == found; });
  if (same != expected.end()) {
    allowed.push_back({"namespace", same->space});
  }
  return allowed;
}

class Explainer final : public ReadHandler {
 public:
  Explainer(const SourceText& source, const ReportedErrors& reported, const SchemaModel& schema)
      : m_source(source), m_reported(reported), m_schema(schema) {}

  void start(const ReadElement& element, const std::vector<ReadError>& errors) override {
    if (errors.empty()) {
      endAfterRejection(element.reached);
    }
    open(element);
    std::vector<std::string> missing = absentAttributes(element, true);
    std::vector<std::string> invalid = invalidAttributes(element);
    for (const ReadError& error : errors) {
      Level& level = m_levels.back();
      count(error);
      if (error.reported.severity == "warning") {
        blameSchemaHint(error, level);
      } else if (level.cause) {
        fold(*level.cause);
      } else if (isUndeclared(error)) {
        blameUndeclared(error, level);
      } else if (isBadType(error)) {
        blameType(error, level);
      } else {
        const bool isMissing = isValidity(error, XMLValid::RequiredAttrNotProvided);
        blameAttribute(error, level, takeFirst(isMissing ? missing : invalid));
      }
    }
  }

  void end(const EndTag& tag, const std::string& text, const std::vector<ReadError>& errors) override {
    for (const ReadError& error : errors) {
      Level& level = m_levels.back();
      count(error);
      if (level.cause) {
        fold(*level.cause);
      } else if (isContent(error)) {
        blameContent(error, level, tag.start);
      } else {
        blameValue(error, level, text);
      }
    }
    endAfterRejection(tag.reached);
    m_closed = m_levels.back().step;
    m_closedAt = tag.reached;
    m_levels.pop_back();
  }

  void error(const ReadError& error) override {
    count(error);
    if (error.reported.severity == "fatal error") {
      blameSyntax(error);
    } else if (error.reported.severity == "warning") {
      const std::size_t last = std::max(error.offset, std::size_t{1}) - 1;
      const std::size_t tag = m_source.text().rfind('<', last);
      addSchemaHint(error, innermost(), std::min(tag, last), error.offset);
    } else if (isValidity(error, XMLValid::NoCharDataInCM) && !m_levels.empty()) {
      blameText(error, m_levels.back());
    } else {
      add(error, innermost());
    }
  }

  /// `limit` is the byte at which the reader met a limit of the library.
  Explanation result(const std::optional<std::size_t>& limit) {
    if (m_count < m_reported.count) {
      addRejection(limit);
    }
    Explanation explanation;
    explanation.verdict = m_isMalformed ? Verdict::notWellFormed : m_isInvalid ? Verdict::invalid : Verdict::refused;
    finish(explanation.diagnostics);
    return explanation;
  }

 private:
  /// Ends the reading at an error that the library did not report: it had refused the document before.
  void count(const ReadError& error) {
    const bool isStored = m_count < m_reported.reports.size();
    const bool isLast = m_count + 1 >= m_reported.count;
    const std::string* message = isStored ? &m_reported.reports[m_count].message
                                 : isLast ? &m_reported.last.message
                                          : &error.reported.message;
    if (m_count == m_reported.count || *message != error.reported.message) {
      throw EndOfReading();
    }
    ++m_count;
    m_reached = error.offset;
    m_isInvalid = m_isInvalid || error.reported.severity == "error";
    m_isMalformed = m_isMalformed || (error.reported.severity == "fatal error" && !canBeWellFormed(error));
  }

  /// Ends the reading of a document that was refused before `reached`, for a reason of the library's own.
  void endAfterRejection(const Place& reached) const {
    const Place& last = m_reported.last.place;
    if (m_count + 1 == m_reported.count && last.line != 0 && last < reached) {
      throw EndOfReading();
    }
  }

  std::shared_ptr<Step> stepAt(const Place& place) const { return place == m_closedAt ? m_closed : innermost(); }

  std::shared_ptr<Step> innermost() const { return m_levels.empty() ? nullptr : m_levels.back().step; }

  /// Adds the library's own reason for refusing the document.
  void addRejection(const std::optional<std::size_t>& limit) {
    ReportedError error = m_reported.last;
    const bool isKnown = error.place.line != 0;
    if (!isKnown && limit) {
      error.place = m_source.place(*limit);
    }
    Draft& draft = add(error, error.place.line == 0 ? nullptr : stepAt(error.place));
    if (!isKnown && !limit) {
      draft.offset = m_reached;
      draft.diagnostic.hint = "this is the position of the previous error; the rejected part follows it";
    }
  }

  void open(const ReadElement& element) {
    Level level;
    level.element = element;
    level.step = std::make_shared<Step>();
    level.step->name = element.name.name;
    if (!m_levels.empty()) {
      Level& parent = m_levels.back();
      level.cause = parent.cause;
      level.step->parent = parent.step;
      level.step->number = ++parent.step->counts[element.name.name];
      if (parent.model && !parent.misplaced && !parent.model->take(element.name)) {
        parent.misplaced = Misplaced{level.step, element.start, std::nullopt};
      }
    }
    if (element.type != nullptr) {
      level.model = modelOf(*element.type);
    }
    m_levels.push_back(std::move(level));
  }

  const ContentModel& modelOf(XSTypeDefinition& type) {
    const auto known = m_models.find(&type);
    if (known != m_models.end()) {
      return known->second;
    }
    return m_models.emplace(&type, ContentModel(contentOf(type))).first->second;
  }

  Level* parentLevel() { return m_levels.size() < 2 ? nullptr : &m_levels[m_levels.size() - 2]; }

  Draft& add(const ReadError& error, const std::shared_ptr<Step>& step) {
    Draft& draft = add(error.reported, step);
    draft.reached = error.offset;
    return draft;
  }

  Draft& add(const ReportedError& error, const std::shared_ptr<Step>& step) {
    Draft draft;
    draft.diagnostic.severity = error.severity;
    draft.diagnostic.place = draft.diagnostic.logged = error.place;
    draft.diagnostic.message = error.message;
    draft.step = step;
    m_drafts.push_back(std::move(draft));
    return m_drafts.back();
  }

  void fold(std::size_t draft) { ++m_drafts[draft].diagnostic.consequences; }

  /// Folds an error into `draft`; when that is not set, sets it to the draft that is added next.
  bool isFirst(std::optional<std::size_t>& draft) {
    if (draft) {
      fold(*draft);
      return false;
    }
    draft = m_drafts.size();
    return true;
  }

  void blameSchemaHint(const ReadError& error, Level& level) {
    if (isFirst(level.hint)) {
      addSchemaHint(error, level.step, level.element.start, level.element.content);
    }
  }

  /// Blames the attribute of the start tag from `begin` to `end` that names a schema.
  void addSchemaHint(const ReadError& error, const std::shared_ptr<Step>& step, std::size_t begin, std::size_t end) {
    Draft& draft = add(error, step);
    draft.offset = begin;
    draft.diagnostic.hint = c_schemaHint;
    for (const char* name : {"schemaLocation", "noNamespaceSchemaLocation"}) {
      if (const auto found = m_source.attribute(begin, end, name)) {
        draft.offset = found;
        draft.attribute = name;
      }
    }
  }

  void blameUndeclared(const ReadError& error, Level& level) {
    Level* parent = parentLevel();
    if (parent != nullptr && mustBeEmpty(*parent)) {
      blameEmpty(error, *parent);
      level.cause = parent->empty;
      return;
    }
    level.cause = m_drafts.size();
    Draft& draft = add(error, level.step);
    draft.offset = level.element.start;
    if (parent == nullptr) {
      draft.diagnostic.allowed = allowedRoots(level.element.name.name);
    } else if (parent->misplaced && parent->misplaced->step == level.step) {
      parent->misplaced->draft = level.cause;
      draft.diagnostic.allowed = allowedNext(*parent, level.element.name.name);
    }
  }

  std::vector<Allowed> allowedRoots(const std::string& name) const {
    const std::string space = m_schema.spaceOfRoot(name);
    return space.empty() ? m_schema.roots() : std::vector<Allowed>{{"namespace", space}};
  }

  void blameType(const ReadError& error, Level& level) {
    const ReadElement& element = level.element;
    level.cause = m_drafts.size();
    Draft& draft = add(error, level.step);
    draft.offset = m_source.attribute(element.start, element.content, "type").value_or(element.start);
    if (element.declared != nullptr) {
      draft.diagnostic.allowed = m_schema.typesFrom(*element.declared);
    }
  }

  void blameAttribute(const ReadError& error, const Level& level, const std::string& name) {
    const ReadElement& element = level.element;
    Draft& draft = add(error, level.step);
    draft.offset = element.start;
    if (name.empty() || element.type == nullptr) {
      return;
    }
    draft.attribute = name;
    draft.offset = m_source.attribute(element.start, element.content, name).value_or(element.start);
    const auto uses = attributesOf(*element.type);
    const auto use = std::find_if(uses.begin(), uses.end(), [&](const auto* one) { return nameOf(*one) == name; });
    draft.diagnostic.allowed = allowedAttribute(element, use == uses.end() ? nullptr : *use);
    const ReadAttribute* attribute = find(element, name);
    if (attribute != nullptr && use != uses.end()) {
      draft.diagnostic.hint = hintOnValue(attribute->value, error.reported.message, typeOf(**use));
    }
  }

  /// Blames an element that must hold nothing; most often it names no type, or the wrong one.
  void blameEmpty(const ReadError& error, Level& level) {
    if (!isFirst(level.empty)) {
      return;
    }
    Draft& draft = add(error, level.step);
    draft.offset = level.element.start;
    auto& allowed = draft.diagnostic.allowed = m_schema.typesFrom(*level.element.type);
    const auto isCurrent = [&](const Allowed& one) { return one.text == typeName(*level.element.type); };
    allowed.erase(std::remove_if(allowed.begin(), allowed.end(), isCurrent), allowed.end());
    allowed.insert(allowed.begin(), {"end", level.element.name.name});
  }

  void blameContent(const ReadError& error, Level& level, std::size_t tag) {
    if (mustBeEmpty(level)) {
      blameEmpty(error, level);
    } else if (level.misplaced && level.misplaced->draft) {
      fold(*level.misplaced->draft);
    } else {
      const bool isMissing = !level.misplaced;
      Draft& draft = add(error, isMissing ? level.step : level.misplaced->step);
      draft.offset = isMissing ? tag : level.misplaced->start;
      if (level.model) {
        draft.diagnostic.allowed = allowedNext(level, isMissing ? "" : level.misplaced->step->name);
      }
      draft.diagnostic.hint = hintOnContent(level);
    }
  }

  /// Xerces-C names the content of the declared type, also where `xsi:type` names another one.
  static std::string hintOnContent(const Level& level) {
    const ReadElement& element = level.element;
    if (element.declared == nullptr || element.declared == element.type) {
      return {};
    }
    return "the message shows the content of the declared type " + typeName(*element.declared) +
           "; what counts is that of " + typeName(*element.type) + ", which xsi:type names";
  }

  void blameValue(const ReadError& error, const Level& level, const std::string& text) {
    Draft& draft = add(error, level.step);
    draft.offset = level.element.start;
    auto* type = level.element.type == nullptr ? nullptr : textType(*level.element.type);
    if (type != nullptr) {
      draft.diagnostic.allowed = allowedText(*type);
      draft.diagnostic.hint = hintOnValue(text, error.reported.message, *type);
    }
  }

  void blameText(const ReadError& error, Level& level) {
    if (level.cause) {
      fold(*level.cause);
    } else if (mustBeEmpty(level)) {
      blameEmpty(error, level);
    } else if (isFirst(level.text)) {
      add(error, level.step);
    }
  }

  void blameSyntax(const ReadError& error) {
    const ReadElement* open = m_levels.empty() ? nullptr : &m_levels.back().element;
    Draft& draft = add(error, innermost());
    const Hint hint = hintOnSyntax(error, m_source, open);
    draft.diagnostic.hint = hint.text;
    draft.offset = hint.offset;
    if (open != nullptr && isSyntax(error, XMLErrs::ExpectedEndOfTagX)) {
      draft.diagnostic.allowed.push_back({"end", open->name.name});
    }
  }

  void finish(std::vector<Diagnostic>& diagnostics) {
    std::stable_sort(m_drafts.begin(), m_drafts.end(), [](const Draft& left, const Draft& right) {
      return left.offset.value_or(0) < right.offset.value_or(0);
    });
    for (Draft& draft : m_drafts) {
      Diagnostic& diagnostic = draft.diagnostic;
      diagnostic.path = pathOf(draft.step.get()) + (draft.attribute.empty() ? "" : "/@" + draft.attribute);
      diagnostic.place = draft.offset ? m_source.place(*draft.offset) : diagnostic.place;
      const auto shown = draft.offset    ? draft.offset
                         : draft.reached ? draft.reached
                                         : m_source.offset(diagnostic.place);
      diagnostic.source = shown ? m_source.excerpt(*shown) : Excerpt();
      diagnostics.push_back(std::move(diagnostic));
    }
    std::stable_sort(diagnostics.begin(), diagnostics.end(),
                     [](const Diagnostic& left, const Diagnostic& right) { return left.place < right.place; });
  }

  const SourceText& m_source;
  const ReportedErrors& m_reported;
  const SchemaModel& m_schema;
  std::vector<Level> m_levels;
  std::shared_ptr<Step> m_closed;  ///< the element that was closed last
  Place m_closedAt;
  std::vector<Draft> m_drafts;
  std::map<const XSTypeDefinition*, ContentModel> m_models;
  std::size_t m_count = 0;
  std::size_t m_reached = 0;  ///< the byte after what had been read at the last error
  bool m_isInvalid = false;
  bool m_isMalformed = false;
};

}  // namespace

Explanation explain(const SourceText& source, bool validate, const ReportedErrors& reported, const SchemaModel& schema,
                    PackageReader& reader) {
  Explainer explainer(source, reported, schema);
  return explainer.result(reader.read(source, validate, explainer));
}

}  // namespace DvRequest
