#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <service/ExceptionHandling.h>
#include <tools/dvrequest/Checker.h>
#include <tools/dvrequest/Input.h>
#include <tools/dvrequest/Text.h>

#include <memory>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>

namespace DvRequest {

namespace {

using Drelvan::RequestXmlHelper;

struct ReleaseDocument {
  void operator()(xercesc_3_1::DOMDocument* document) const { document->release(); }
};

bool isNotWellFormed(const std::vector<Problem>& problems) {
  return !problems.empty() && problems.back().severity == "fatal error";
}

Diagnostic toDiagnostic(const Problem& problem) {
  Diagnostic diagnostic;
  diagnostic.severity = problem.severity;
  diagnostic.line = diagnostic.loggedLine = problem.line;
  diagnostic.column = diagnostic.loggedColumn = problem.column;
  diagnostic.message = problem.message;
  return diagnostic;
}

}  // namespace

Checker::Checker(const std::vector<Fragment>& fragments, bool validate) : m_validate(validate) {
  RequestXmlHelper& helper = RequestXmlHelper::getInstance();
  for (const Fragment& fragment : fragments) {
    helper.addSchema(fragment);
  }
}

Checker::~Checker() { RequestXmlHelper::reset(true); }

Report Checker::check(const std::string& name) {
  try {
    return parse(name, readAll(name));
  } catch (const Unreadable& problem) {
    Report report;
    report.file = name;
    report.verdict = Verdict::unreadable;
    report.message = problem.what();
    return report;
  }
}

Report Checker::parse(const std::string& name, const std::string& content) {
  Report report;
  report.file = name;
  const std::u16string systemId = toWide(name);
  const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(content.data()), content.size(),
                                              systemId.c_str());
  m_log.take();
  try {
    const std::unique_ptr<xercesc_3_1::DOMDocument, ReleaseDocument> document(
        RequestXmlHelper::getInstance().parse(source, m_validate));
    report.verdict = m_validate ? Verdict::valid : Verdict::wellFormed;
    report.package = readPackage(*document);
  } catch (const Drelvan::DvExceptionNested& exception) {
    const std::vector<Problem> problems = m_log.take();
    report.verdict = isNotWellFormed(problems) ? Verdict::notWellFormed : Verdict::invalid;
    report.message = exception.what();
    for (const Problem& problem : problems) {
      report.diagnostics.push_back(toDiagnostic(problem));
    }
  }
  return report;
}

}  // namespace DvRequest
