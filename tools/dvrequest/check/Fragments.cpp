#include <tools/dvrequest/check/Fragments.h>
#include <tools/dvrequest/check/Hints.h>
#include <tools/dvrequest/check/SourceText.h>
#include <tools/dvrequest/support/Input.h>

#include <map>
#include <utility>

namespace DvRequest {

namespace {

class Fragment final : public Drelvan::AbstractRequestSchema {
 public:
  explicit Fragment(const std::string& file) { m_schema = readAll(file); }
};

std::vector<Drelvan::AbstractRequestSchema> readFragments(const std::vector<std::string>& files) {
  std::vector<Drelvan::AbstractRequestSchema> fragments;
  fragments.reserve(files.size());
  for (const std::string& file : files) {
    fragments.push_back(Fragment(file));
  }
  return fragments;
}

Diagnostic toDiagnostic(const Drelvan::PackageSchema::Error& error) {
  Diagnostic diagnostic;
  diagnostic.severity = "error";
  diagnostic.place = diagnostic.logged = {static_cast<long>(error.line), static_cast<long>(error.column)};
  diagnostic.message = error.message;
  return diagnostic;
}

}  // namespace

Fragments::Fragments(const std::vector<std::string>& files)
    : m_files(files), m_fragments(readFragments(files)), m_schema(m_fragments) {}

std::vector<Report> Fragments::check() const {
  const SourceText schema(combined());
  std::map<std::string, Report> reports;
  for (const Drelvan::PackageSchema::Error& error : m_schema.check()) {
    const std::string file = error.fragment ? m_files[*error.fragment] : "(the schema as a whole)";
    Report& report = reports[file];
    report.file = file;
    report.verdict = Verdict::badFragment;
    report.message = "The fragment is broken.";
    report.diagnostics.push_back(toDiagnostic(error));
    if (error.fragment) {
      Diagnostic& diagnostic = report.diagnostics.back();
      const SourceText source(m_fragments[*error.fragment].getSchemaNoHeader());
      if (const auto offset = source.offset(diagnostic.place)) {
        diagnostic.source = source.excerpt(*offset);
        diagnostic.hint = hintOnPrefix(source, *offset, schema);
      }
    }
  }
  std::vector<Report> result;
  result.reserve(reports.size());
  for (auto& [file, report] : reports) {
    result.push_back(std::move(report));
  }
  return result;
}

}  // namespace DvRequest
