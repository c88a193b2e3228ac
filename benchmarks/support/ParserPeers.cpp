#include <utility>

#include "Packages.h"
#include "ParserSetUp.h"
#include "Peers.h"

namespace benchmarks {

namespace {

bool acceptedBy(Parser& parser, const std::string& package) {
  xercesc_3_1::DOMDocument* document = parser.parse(package);
  if (document == nullptr) {
    return false;
  }
  document->release();
  return true;
}

class CachedParser final : public Peer {
 public:
  explicit CachedParser(const std::string& schema) : m_parser(schema) {}
  bool accepts(const std::string& package) override { return acceptedBy(m_parser, package); }

 private:
  Platform m_platform;
  Parser m_parser;
};

class ParserPerPackage final : public Peer {
 public:
  explicit ParserPerPackage(std::string schema) : m_schema(std::move(schema)) {}
  bool accepts(const std::string& package) override {
    Parser parser(m_schema);
    return acceptedBy(parser, package);
  }

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
