#include <libxml/parser.h>
#include <libxml/xmlschemas.h>

#include <memory>
#include <stdexcept>

#include "Packages.h"
#include "Peers.h"

namespace benchmarks {

namespace {

template <typename Type, void (*Free)(Type*)>
struct FreedBy {
  void operator()(Type* object) const { Free(object); }
};

template <typename Type, void (*Free)(Type*)>
using Owned = std::unique_ptr<Type, FreedBy<Type, Free>>;

using Document = Owned<xmlDoc, xmlFreeDoc>;
using SchemaSource = Owned<xmlSchemaParserCtxt, xmlSchemaFreeParserCtxt>;
using Schema = Owned<xmlSchema, xmlSchemaFree>;
using Validation = Owned<xmlSchemaValidCtxt, xmlSchemaFreeValidCtxt>;

Schema compiled(const std::string& text) {
  const SchemaSource source(xmlSchemaNewMemParserCtxt(text.data(), static_cast<int>(text.size())));
  Schema schema(xmlSchemaParse(source.get()));
  if (schema == nullptr) {
    throw std::runtime_error("libxml2 does not accept the schema");
  }
  return schema;
}

/// Takes a message and drops it.
void ignore(void*, const char*, ...) {}

class Libxml2 final : public Peer {
 public:
  explicit Libxml2(const std::string& schema)
      : m_schema(compiled(schema)), m_validation(xmlSchemaNewValidCtxt(m_schema.get())) {
    xmlSchemaSetValidErrors(m_validation.get(), ignore, ignore, nullptr);
  }

  bool accepts(const std::string& package) override {
    constexpr int options = XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NONET;
    const Document document(
        xmlReadMemory(package.data(), static_cast<int>(package.size()), "package", nullptr, options));
    return document != nullptr && xmlSchemaValidateDoc(m_validation.get(), document.get()) == 0;
  }

 private:
  Schema m_schema;
  Validation m_validation;
};

}  // namespace

std::unique_ptr<Peer> makeLibxml2(int numberedSchemas) {
  return std::make_unique<Libxml2>(combinedSchema(numberedSchemas));
}

}  // namespace benchmarks
