#include <tests/support/Packages.h>
#include <tests/support/StockParser.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/XMLGrammarPoolImpl.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/validators/common/Grammar.hpp>

namespace TestSupport {

namespace {

using xercesc_3_1::XercesDOMParser;
using xercesc_3_1::XMLPlatformUtils;

class ErrorFlag final : public xercesc_3_1::ErrorHandler {
 public:
  void warning(const xercesc_3_1::SAXParseException&) override { m_isRaised = true; }
  void error(const xercesc_3_1::SAXParseException&) override { m_isRaised = true; }
  void fatalError(const xercesc_3_1::SAXParseException&) override { m_isRaised = true; }
  void resetErrors() override { m_isRaised = false; }
  bool isRaised() const { return m_isRaised; }

 private:
  bool m_isRaised = false;
};

xercesc_3_1::MemBufInputSource sourceOf(const std::string& text, const char* systemId) {
  return {reinterpret_cast<const XMLByte*>(text.data()), text.size(), systemId};
}

void setUp(XercesDOMParser& parser) {
  parser.setDoSchema(true);
  parser.setDoNamespaces(true);
  parser.setValidationScheme(XercesDOMParser::Val_Always);
  parser.setValidationSchemaFullChecking(true);
  parser.setIncludeIgnorableWhitespace(false);
  parser.useCachedGrammarInParse(true);
}

/// More levels of elements than the library accepts.
std::string manyLevels() {
  constexpr std::size_t levels = 1002;
  constexpr std::size_t declareEvery = 32;
  std::string text;
  for (std::size_t level = 0; level < levels; ++level) {
    text += level % declareEvery == 0 ? "<d xmlns='" + c_targetNamespace + "'>" : "<d>";
  }
  for (std::size_t level = 0; level < levels; ++level) {
    text += "</d>";
  }
  return text;
}

/// The scanner writes past its array of element states where elements outside the schema lie deep within each other,
/// unless it has grown it before, level by level.
void prepareForDepth(XercesDOMParser& parser, const std::string& text) {
  constexpr std::ptrdiff_t surelyHarmless = 15;
  if (std::count(text.begin(), text.end(), '<') > surelyHarmless) {
    static const std::string c_levels = manyLevels();
    parser.setValidationScheme(XercesDOMParser::Val_Never);
    parser.parse(sourceOf(c_levels, ""));
    parser.resetDocumentPool();
  }
}

}  // namespace

struct StockParser::State {
  xercesc_3_1::XMLGrammarPoolImpl grammars{XMLPlatformUtils::fgMemoryManager};
};

StockParser::StockParser(const std::string& schema) : m_state(std::make_unique<State>()) {
  ErrorFlag errors;
  XercesDOMParser parser(nullptr, XMLPlatformUtils::fgMemoryManager, &m_state->grammars);
  setUp(parser);
  parser.setErrorHandler(&errors);
  parser.loadGrammar(sourceOf(schema, ""), xercesc_3_1::Grammar::SchemaGrammarType, true);
  if (errors.isRaised()) {
    throw std::runtime_error("the schema is broken");
  }
  m_state->grammars.lockPool();
}

StockParser::~StockParser() { m_state->grammars.unlockPool(); }

Document StockParser::parse(const std::string& text, const char* systemId, bool validate) const {
  ErrorFlag errors;
  XercesDOMParser parser(nullptr, XMLPlatformUtils::fgMemoryManager, &m_state->grammars);
  setUp(parser);
  prepareForDepth(parser, text);
  parser.setValidationScheme(validate ? XercesDOMParser::Val_Always : XercesDOMParser::Val_Never);
  parser.setErrorHandler(&errors);
  try {
    parser.parse(sourceOf(text, systemId));
  } catch (...) {
    return nullptr;
  }
  return Document(errors.isRaised() ? nullptr : parser.adoptDocument());
}

}  // namespace TestSupport
