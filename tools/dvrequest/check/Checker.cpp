#include <Platform/RemoteComputation/Service/RequestHandlingBase/PackageErrors.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <service/ExceptionHandling.h>
#include <tools/dvrequest/check/Checker.h>
#include <tools/dvrequest/check/Explanation.h>
#include <tools/dvrequest/check/ReadPackage.h>
#include <tools/dvrequest/support/Input.h>
#include <tools/dvrequest/support/Text.h>

#include <array>
#include <exception>
#include <optional>
#include <utility>
#include <xercesc/framework/MemBufInputSource.hpp>

namespace DvRequest {

namespace {

ReportedError toReportedError(const Drelvan::PackageErrors::Report& report) {
  constexpr std::array<const char*, 3> severities{"warning", "error", "fatal error"};
  return {severities.at(static_cast<std::size_t>(report.severity)),
          {static_cast<long>(report.line), static_cast<long>(report.column)},
          report.message};
}

/// The errors that a failed parse reported; empty when an exception ended the parse, whose text goes to `reason`.
std::optional<ReportedErrors> reportedErrors(const Drelvan::DvExceptionNested& failure, std::string& reason) {
  reason = "no reason";
  if (failure.getNested() == nullptr) {
    return std::nullopt;
  }
  try {
    std::rethrow_exception(failure.getNested());
  } catch (const Drelvan::PackageErrors& errors) {
    ReportedErrors reported{errors.getCount(), {}, {}};
    for (const Drelvan::PackageErrors::Report& report : errors.getReports()) {
      reported.reports.push_back(toReportedError(report));
    }
    const std::string message = failure.what();
    reported.last = errors.getCount() == reported.reports.size()
                        ? reported.reports.back()
                        : ReportedError{"fatal error", {}, message.substr(message.find(": ") + 2)};
    return reported;
  } catch (const std::exception& exception) {
    reason = exception.what();
  } catch (...) {
    // Nothing is known of it.
  }
  return std::nullopt;
}

}  // namespace

Checker::Checker(SchemaModel& schema, bool validate) : m_schema(schema), m_reader(schema), m_validate(validate) {}

Report Checker::check(const std::string& name) {
  try {
    return check(name, readAll(name));
  } catch (const Unreadable& exception) {
    Report report;
    report.file = name;
    report.verdict = Verdict::unreadable;
    report.message = exception.what();
    return report;
  }
}

Report Checker::check(const std::string& name, const std::string& content) {
  Report report;
  report.file = name;
  const std::u16string systemId = toWide(name);
  const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(content.data()), content.size(),
                                              systemId.c_str());
  try {
    report.package = readPackage(Drelvan::PackageDocument::fromSource(source, m_validate));
    report.verdict = m_validate ? Verdict::valid : Verdict::wellFormed;
  } catch (const Drelvan::DvExceptionNested& exception) {
    report.message = exception.what();
    explainFailure(exception, content, report);
  }
  return report;
}

void Checker::explainFailure(const Drelvan::DvExceptionNested& failure, const std::string& content, Report& report) {
  std::string reason;
  const std::optional<ReportedErrors> reported = reportedErrors(failure, reason);
  if (!reported) {
    Diagnostic diagnostic;
    diagnostic.severity = "error";
    diagnostic.message = failure.what();
    diagnostic.hint = "parser message: " + reason;
    report.verdict = Verdict::refused;
    report.diagnostics.push_back(std::move(diagnostic));
    return;
  }
  Explanation explanation = explain(SourceText(content, report.file), m_validate, *reported, m_schema, m_reader);
  report.verdict = explanation.verdict;
  report.diagnostics = std::move(explanation.diagnostics);
}

}  // namespace DvRequest
