#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <service/ExceptionHandling.h>
#include <tools/dvrequest/Checker.h>
#include <tools/dvrequest/Explanation.h>
#include <tools/dvrequest/Input.h>
#include <tools/dvrequest/Text.h>

#include <memory>
#include <utility>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>

namespace DvRequest {

namespace {

using Drelvan::RequestXmlHelper;

struct ReleaseDocument {
  void operator()(xercesc_3_1::DOMDocument* document) const { document->release(); }
};

/// For a refusal that says nothing of a place.
Diagnostic withoutPlace(const std::string& message) {
  Diagnostic diagnostic;
  diagnostic.severity = "error";
  diagnostic.message = message;
  return diagnostic;
}

}  // namespace

Checker::Checker(ParserPlatform& platform, const std::vector<Fragment>& fragments, const SchemaModel& schema,
                 bool validate)
    : m_platform(platform), m_schema(schema), m_validate(validate) {
  RequestXmlHelper& helper = RequestXmlHelper::getInstance();
  for (const Fragment& fragment : fragments) {
    helper.addSchema(fragment);
  }
}

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
  m_platform.log().take();
  try {
    const std::unique_ptr<xercesc_3_1::DOMDocument, ReleaseDocument> document(
        RequestXmlHelper::getInstance().parse(source, m_validate));
    report.verdict = m_validate ? Verdict::valid : Verdict::wellFormed;
    report.package = readPackage(*document);
  } catch (const Drelvan::DvExceptionNested& exception) {
    Explanation explanation = explain(m_platform.log().take(), content, m_validate ? &m_schema : nullptr);
    report.verdict = explanation.isBroken ? Verdict::notWellFormed : Verdict::invalid;
    report.message = exception.what();
    report.diagnostics = std::move(explanation.diagnostics);
    if (report.diagnostics.empty()) {
      report.diagnostics.push_back(withoutPlace(report.message));
    }
  }
  return report;
}

}  // namespace DvRequest
