#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestNamespace.h>
#include <fuzz/parse/PeerValidator.h>
#include <fuzz/support/Property.h>
#include <libxml/parser.h>
#include <libxml/xmlschemas.h>

#include <algorithm>
#include <iterator>
#include <string_view>

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

constexpr std::string_view c_globalElements[] = {"DV_RequestPackage", "DV_ReplyPackage", "DV_Request", "DV_Reply",
                                                 "DV_RequestScript",  "DV_ReplyScript",  "note",       "remark",
                                                 "shortRemark",       "amount",          "ledger"};

std::string_view textOf(const xmlChar* text) {
  return text == nullptr ? std::string_view() : std::string_view(reinterpret_cast<const char*>(text));
}

bool isGlobal(const xmlNode& element) {
  return element.ns != nullptr && textOf(element.ns->href) == Drelvan::c_requestNamespace &&
         std::count(std::begin(c_globalElements), std::end(c_globalElements), textOf(element.name)) != 0;
}

/// Whether the element is of the one type with a lax wildcard for elements.
bool hasLaxWildcard(const xmlNode& element) {
  for (const xmlAttr* attribute = element.properties; attribute != nullptr; attribute = attribute->next) {
    if (textOf(attribute->name) == "type" && attribute->children != nullptr &&
        textOf(attribute->children->content).find("OpenRequest") != std::string_view::npos) {
      return true;
    }
  }
  return false;
}

bool isUnassessed(const xmlNode* node) {
  for (; node != nullptr && node->parent != nullptr && node->parent->type == XML_ELEMENT_NODE; node = node->parent) {
    if (node->type == XML_ELEMENT_NODE && !isGlobal(*node) && hasLaxWildcard(*node->parent)) {
      return true;
    }
  }
  return false;
}

// The parameter's type changed between versions of libxml2.
template <typename Error>
void keepFirst(void* objection, Error error) {
  auto& first = *static_cast<Objection*>(objection);
  if (!first.isRaised()) {
    first.message = error->message == nullptr ? "?" : error->message;
    first.unassessed = isUnassessed(static_cast<const xmlNode*>(error->node));
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

Objection PeerValidator::objection(const std::string& document) {
  Objection first;
  xmlSetStructuredErrorFunc(&first, keepFirst);
  const OwnedDocument parsed(xmlReadMemory(document.data(), static_cast<int>(document.size()), "document", nullptr,
                                           XML_PARSE_NONET | XML_PARSE_HUGE));
  if (parsed == nullptr) {
    return first.isRaised() ? first : Objection{"not parsed"};
  }
  first = {};
  const OwnedValidation validation(xmlSchemaNewValidCtxt(m_schema->schema.get()));
  xmlSchemaSetValidStructuredErrors(validation.get(), keepFirst, &first);
  if (xmlSchemaValidateDoc(validation.get(), parsed.get()) == 0) {
    return {};
  }
  return first.isRaised() ? first : Objection{"not valid"};
}

}  // namespace Fuzz
