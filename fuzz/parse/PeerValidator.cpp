#include <fuzz/parse/PeerValidator.h>
#include <fuzz/support/Property.h>
#include <libxml/parser.h>
#include <libxml/xmlschemas.h>

#include <type_traits>

namespace Fuzz {

namespace {

template <auto release>
struct Releaser {
  template <typename T>
  void operator()(T* object) const {
    release(object);
  }
};

template <typename T, auto release>
using Owned = std::unique_ptr<T, Releaser<release>>;

using OwnedDocument = Owned<xmlDoc, xmlFreeDoc>;
using OwnedSchema = Owned<xmlSchema, xmlSchemaFree>;
using OwnedSchemaParser = Owned<xmlSchemaParserCtxt, xmlSchemaFreeParserCtxt>;
using OwnedValidation = Owned<xmlSchemaValidCtxt, xmlSchemaFreeValidCtxt>;

// The parameter's type changed between versions of libxml2.
template <typename Error>
void keepFirst(void* text, Error error) {
  auto& first = *static_cast<std::string*>(text);
  if (first.empty()) {
    first = error->message == nullptr ? "?" : error->message;
  }
}

}  // namespace

struct PeerValidator::Schema {
  OwnedSchema schema;
};

PeerValidator::PeerValidator(const std::string& schema) : m_schema(std::make_unique<Schema>()) {
  const OwnedSchemaParser parser(xmlSchemaNewMemParserCtxt(schema.data(), static_cast<int>(schema.size())));
  m_schema->schema.reset(xmlSchemaParse(parser.get()));
  require(m_schema->schema != nullptr, "libxml2 accepts the exported schema");
}

PeerValidator::~PeerValidator() = default;

std::string PeerValidator::objection(const std::string& document) {
  std::string first;
  xmlSetStructuredErrorFunc(&first, keepFirst);
  const OwnedDocument parsed(xmlReadMemory(document.data(), static_cast<int>(document.size()), "document", nullptr,
                                           XML_PARSE_NONET | XML_PARSE_HUGE));
  if (parsed == nullptr) {
    return first.empty() ? "not parsed" : first;
  }
  first.clear();
  const OwnedValidation validation(xmlSchemaNewValidCtxt(m_schema->schema.get()));
  xmlSchemaSetValidStructuredErrors(validation.get(), keepFirst, &first);
  if (xmlSchemaValidateDoc(validation.get(), parsed.get()) == 0) {
    return {};
  }
  return first.empty() ? "not valid" : first;
}

}  // namespace Fuzz
