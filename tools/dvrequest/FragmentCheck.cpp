#include <tools/dvrequest/DocumentMap.h>
#include <tools/dvrequest/FragmentCheck.h>
#include <tools/dvrequest/Text.h>

#include <algorithm>
#include <map>
#include <optional>

namespace DvRequest {

namespace {

constexpr const char* c_schemaNamespace = "http://www.w3.org/2001/XMLSchema";

Problem error(const Place& place, const std::string& message) { return {"error", place, message}; }

/// The place behind `text`.
Place behind(const std::string& text) {
  Place place{1, 1};
  for (std::size_t index = 0; index < text.size(); ++index) {
    const bool isReturn = text[index] == '\r' && (index + 1 == text.size() || text[index + 1] != '\n');
    if (text[index] == '\n' || isReturn) {
      place = {place.line + 1, 1};
    } else {
      ++place.column;
    }
  }
  return place;
}

/// `place` as seen from `start`.
Place from(const Place& start, const Place& place) {
  if (place.line == 0) {
    return place;
  }
  return {place.line - start.line + 1, place.line == start.line ? place.column - start.column + 1 : place.column};
}

std::optional<Problem> findForeignByte(const std::string& text) {
  const auto found = std::find_if(text.begin(), text.end(), [](char byte) { return (byte & '\x80') != 0; });
  if (found == text.end()) {
    return std::nullopt;
  }
  return error(behind(std::string(text.begin(), found)),
               "a fragment holds ASCII characters only; write this one as a reference such as &#xE9;");
}

std::optional<Problem> findDeclaration(const std::string& text) {
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  if (start == std::string::npos || text.compare(start, 6, "<?xml ") != 0) {
    return std::nullopt;
  }
  return error(behind(text.substr(0, start)), "a fragment has no XML declaration; remove it");
}

std::optional<Problem> findSchemaElement(const DocumentMap& map, const Place& start) {
  for (const Element& element : map.elements()) {
    if (element.parent == 0U && element.name == "schema" && element.space == c_schemaNamespace) {
      return error(from(start, element.start),
                   "a fragment holds only what stands within xs:schema; remove the element and name the types of the "
                   "target namespace with the prefix dvrq");
    }
  }
  return std::nullopt;
}

/// What is wrong with the fragment whatever stands beside it.
std::optional<Problem> ownProblem(const Fragment& fragment) {
  const std::string& text = fragment.getSchemaNoHeader();
  if (auto problem = findForeignByte(text)) {
    return problem;
  }
  if (auto problem = findDeclaration(text)) {
    return problem;
  }
  const std::string document = fragment.getSchema();
  const Place start = behind(document.substr(0, document.find(text, document.find("<xs:schema"))));
  const DocumentMap map(document);
  if (map.brokenness()) {
    Problem problem = *map.brokenness();
    problem.place = from(start, problem.place);
    return problem;
  }
  return findSchemaElement(map, start);
}

Diagnostic toDiagnostic(const Problem& problem) {
  Diagnostic diagnostic;
  diagnostic.severity = problem.severity;
  diagnostic.place = diagnostic.logged = problem.place;
  diagnostic.message = problem.message;
  return diagnostic;
}

void add(const std::string& file, const Problem& problem, std::vector<Report>& reports) {
  auto report = std::find_if(reports.begin(), reports.end(), [&](const Report& known) { return known.file == file; });
  if (report == reports.end()) {
    report = reports.insert(report, Report{file, Verdict::badFragment, "The fragment is broken.", {}, {}});
  }
  report->diagnostics.push_back(toDiagnostic(problem));
}

/// Where each fragment begins in the combined document.
std::map<Place, std::string> startsOf(const std::vector<Fragment>& fragments) {
  std::map<Place, std::string> starts;
  const std::string footer = "</xs:schema>";
  std::string before = combinedSchema({});
  before.erase(before.size() - footer.size());
  for (const Fragment& fragment : fragments) {
    starts.emplace(behind(before), fragment.getFile());
    before += fragment.getSchemaNoHeader();
  }
  return starts;
}

}  // namespace

std::vector<Report> checkFragments(const std::vector<Fragment>& fragments, const SchemaModel& schema) {
  std::vector<Report> reports;
  for (const Fragment& fragment : fragments) {
    if (const auto problem = ownProblem(fragment)) {
      add(fragment.getFile(), *problem, reports);
    }
  }
  if (!reports.empty()) {
    return reports;
  }
  const std::map<Place, std::string> starts = startsOf(fragments);
  for (const Problem& problem : schema.problems()) {
    // The parser names the place behind what it has read, which may be the start of the next fragment.
    const auto next = starts.lower_bound(problem.place);
    if (next == starts.begin()) {
      add("(the schema as a whole)", error({}, problem.message), reports);
    } else {
      const auto& [start, file] = *std::prev(next);
      add(file, {problem.severity, from(start, problem.place), problem.message}, reports);
    }
  }
  return reports;
}

}  // namespace DvRequest
