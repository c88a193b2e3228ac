#include "ParserSetUp.h"

#include <service/Xerces.h>

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/validators/common/Grammar.hpp>

namespace benchmarks {

namespace {

using xercesc_3_1::MemBufInputSource;
using xercesc_3_1::XercesDOMParser;

/// Notes that something was reported, and no more.
class ErrorFlag final : public xercesc_3_1::ErrorHandler {
 public:
  void warning(const xercesc_3_1::SAXParseException&) override { m_raised = true; }
  void error(const xercesc_3_1::SAXParseException&) override { m_raised = true; }
  void fatalError(const xercesc_3_1::SAXParseException&) override { m_raised = true; }
  void resetErrors() override { m_raised = false; }
  bool isRaised() const { return m_raised; }

 private:
  bool m_raised = false;
};

MemBufInputSource sourceOf(const std::string& text, const char* systemId) {
  return {reinterpret_cast<const XMLByte*>(text.data()), text.size(), systemId};
}

}  // namespace

Platform::Platform() { xercesc_3_1::XMLPlatformUtils::Initialize(); }
Platform::~Platform() { xercesc_3_1::XMLPlatformUtils::Terminate(); }

struct Parser::State {
  ErrorFlag errors;
  XercesDOMParser parser;
};

Parser::Parser(const std::string& schema) : m_state(std::make_unique<State>()) {
  XercesDOMParser& parser = m_state->parser;
  parser.setDoSchema(true);
  parser.setDoNamespaces(true);
  parser.setValidationScheme(XercesDOMParser::Val_Always);
  parser.setValidationSchemaFullChecking(true);
  parser.setIncludeIgnorableWhitespace(false);
  parser.useCachedGrammarInParse(true);
  parser.loadGrammar(sourceOf(schema, ""), xercesc_3_1::Grammar::SchemaGrammarType, true);
  parser.setErrorHandler(&m_state->errors);
}

Parser::~Parser() = default;

xercesc_3_1::DOMDocument* Parser::parse(const std::string& package) {
  m_state->errors.resetErrors();
  m_state->parser.parse(sourceOf(package, "package"));
  if (m_state->errors.isRaised()) {
    m_state->parser.resetDocumentPool();
    return nullptr;
  }
  return m_state->parser.adoptDocument();
}

}  // namespace benchmarks
