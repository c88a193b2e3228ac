#include <service/Xerces.h>

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/validators/common/Grammar.hpp>

#include "Packages.h"
#include "Peers.h"

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

/// Keeps the platform started.
class Platform {
 public:
  Platform() { xercesc_3_1::XMLPlatformUtils::Initialize(); }
  ~Platform() { xercesc_3_1::XMLPlatformUtils::Terminate(); }
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;
};

/// A parser with the library's settings and `schema` as its grammar.
class Parser {
 public:
  explicit Parser(const std::string& schema) {
    m_parser.setDoSchema(true);
    m_parser.setDoNamespaces(true);
    m_parser.setValidationScheme(XercesDOMParser::Val_Always);
    m_parser.setValidationSchemaFullChecking(true);
    m_parser.setIncludeIgnorableWhitespace(false);
    m_parser.useCachedGrammarInParse(true);
    m_parser.loadGrammar(sourceOf(schema, ""), xercesc_3_1::Grammar::SchemaGrammarType, true);
    m_parser.setErrorHandler(&m_errors);
  }

  bool accepts(const std::string& package) {
    m_errors.resetErrors();
    m_parser.parse(sourceOf(package, "package"));
    if (m_errors.isRaised()) {
      m_parser.resetDocumentPool();
      return false;
    }
    m_parser.adoptDocument()->release();
    return true;
  }

 private:
  ErrorFlag m_errors;
  XercesDOMParser m_parser;
};

class CachedParser final : public Peer {
 public:
  explicit CachedParser(const std::string& schema) : m_parser(schema) {}
  bool accepts(const std::string& package) override { return m_parser.accepts(package); }

 private:
  Platform m_platform;
  Parser m_parser;
};

class ParserPerPackage final : public Peer {
 public:
  explicit ParserPerPackage(std::string schema) : m_schema(std::move(schema)) {}
  bool accepts(const std::string& package) override { return Parser(m_schema).accepts(package); }

 private:
  Platform m_platform;
  std::string m_schema;
};

}  // namespace

std::unique_ptr<Peer> makeCachedParser(int numberedSchemas) {
  return std::make_unique<CachedParser>(combinedSchema(numberedSchemas));
}

std::unique_ptr<Peer> makeParserPerPackage(int numberedSchemas) {
  return std::make_unique<ParserPerPackage>(combinedSchema(numberedSchemas));
}

}  // namespace benchmarks
