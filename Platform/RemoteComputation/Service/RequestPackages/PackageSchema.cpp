#include <Platform/RemoteComputation/Service/RequestPackages/PackageSchema.h>
#include <Platform/RemoteComputation/Service/RequestPackages/Text.h>
#include <Platform/RemoteComputation/Service/RequestPackages/schema/ContentSize.h>
#include <Platform/RemoteComputation/Service/RequestPackages/schema/FragmentMap.h>
#include <service/System.h>
#include <service/Xerces.h>

#include <algorithm>
#include <boost/thread/mutex.hpp>
#include <string_view>
#include <tuple>
#include <utility>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/validators/common/Grammar.hpp>

namespace Drelvan {

namespace {

using Private::FragmentMap;
using Private::Place;
using xercesc_3_1::SAXParseException;
using xercesc_3_1::XercesDOMParser;
using xercesc_3_1::XMLPlatformUtils;
using Error = PackageSchema::Error;

/// The opening and the closing of a schema document.
class Envelope final : public AbstractRequestSchema {
 public:
  const std::string& getHeader() const { return m_header; }
  const std::string& getFooter() const { return m_footer; }
};

/// Starts Xerces-C and ends it; it counts its users.
class Platform {
 public:
  Platform() {
    const boost::mutex::scoped_lock lock(XercesInitializationMutex::getMutex());
    XMLPlatformUtils::Initialize();
  }
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;
  ~Platform() {
    try {
      const boost::mutex::scoped_lock lock(XercesInitializationMutex::getMutex());
      XMLPlatformUtils::Terminate();
    } catch (...) {
      // Xerces-C then stays initialised, which is harmless.
    }
  }
};

/// An error of the compilation, with its place in the whole document.
struct Report {
  Place place;
  std::string message;
};

class Reports final : public xercesc_3_1::ErrorHandler {
 public:
  void warning(const SAXParseException& exception) override { add(exception); }
  void error(const SAXParseException& exception) override { add(exception); }
  void fatalError(const SAXParseException& exception) override { add(exception); }
  void resetErrors() override {}

  const std::vector<Report>& getAll() const { return m_reports; }

 private:
  void add(const SAXParseException& exception) {
    m_reports.push_back(
        {{exception.getLineNumber(), exception.getColumnNumber()}, Private::toUtf8(exception.getMessage())});
  }

  std::vector<Report> m_reports;
};

std::optional<Error> ownError(std::size_t fragment, const std::string& text, std::size_t offset,
                              const std::string& message) {
  const Place place = Private::placeOf(text, offset);
  return Error{fragment, place.line, place.column, message};
}

/// What a fragment must not hold, found without a parser.
std::optional<Error> findForeignText(std::size_t fragment, const std::string& text) {
  const auto foreign =
      std::find_if(text.begin(), text.end(), [](char byte) { return (byte & '\x80') != 0 || byte == 0; });
  if (foreign != text.end()) {
    return ownError(fragment, text, static_cast<std::size_t>(foreign - text.begin()),
                    "a fragment holds ASCII characters only; write others as references such as &#xE9;");
  }
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  if (start != std::string::npos && text.compare(start, 6, "<?xml ") == 0) {
    return ownError(fragment, text, start, "a fragment has no XML declaration; remove it");
  }
  return std::nullopt;
}

/// What a top-level element of a fragment must not be.
const char* structuralError(const std::string& tag) {
  if (tag == "schema") {
    return "a fragment is the content of xs:schema; remove the xs:schema element, and use the prefix dvrq for types of "
           "the target namespace";
  }
  if (tag == "include" || tag == "import" || tag == "redefine") {
    return "xs:include, xs:import and xs:redefine are not supported; register the other schema as a fragment";
  }
  return nullptr;
}

std::optional<Error> findStructuralError(std::size_t fragment, const FragmentMap& map) {
  if (map.getError()) {
    return Error{fragment, map.getErrorPlace().line, map.getErrorPlace().column, *map.getError()};
  }
  for (const Private::SchemaElement& element : map.getElements()) {
    const char* const error = element.parent == 0 ? structuralError(element.tag) : nullptr;
    if (error != nullptr && &element != &map.getElements().front()) {
      return Error{fragment, element.place.line, element.place.column, error};
    }
  }
  return std::nullopt;
}

/// The texts between quotes in a message.
std::vector<std::string> quotedTexts(const std::string& message) {
  std::vector<std::string> texts;
  for (std::size_t start = message.find('\''); start != std::string::npos;) {
    const std::size_t end = message.find('\'', start + 1);
    if (end == std::string::npos) {
      break;
    }
    texts.push_back(message.substr(start + 1, end - start - 1));
    start = message.find('\'', end + 1);
  }
  return texts;
}

/// A complex type in the fragments.
struct FoundType {
  std::size_t fragment;
  Place place;
  std::string description;
};

/// The top-level component of that name.
std::optional<FoundType> findNamedType(const std::vector<FragmentMap>& maps, const std::string& name) {
  for (std::size_t index = 1; index < maps.size(); ++index) {
    for (const Private::SchemaElement& element : maps[index].getElements()) {
      if (element.parent == 0 && !element.name.empty() && element.name == name) {
        return FoundType{index, element.place, "complex type '" + name + "'"};
      }
    }
  }
  return std::nullopt;
}

/// Whether an element of that name stands somewhere within `ancestor`.
bool holds(const std::vector<Private::SchemaElement>& elements, std::size_t ancestor, const std::string& name) {
  return std::any_of(elements.begin(), elements.end(), [&](const Private::SchemaElement& element) {
    if (element.tag != "element" || (element.name != name && element.reference != name)) {
      return false;
    }
    std::size_t above = element.parent;
    while (above > ancestor) {
      above = elements[above].parent;
    }
    return above == ancestor;
  });
}

/// The only type without a name that holds elements of both names; nothing when there are several.
std::optional<FoundType> findAnonymousType(const std::vector<FragmentMap>& maps, const std::string& first,
                                           const std::string& second) {
  std::optional<FoundType> found;
  for (std::size_t index = 1; index < maps.size(); ++index) {
    const auto& elements = maps[index].getElements();
    for (std::size_t type = 0; type < elements.size(); ++type) {
      const bool isAnonymous = elements[type].tag == "complexType" && elements[type].name.empty();
      if (!isAnonymous || !holds(elements, type, first) || !holds(elements, type, second)) {
        continue;
      }
      if (found) {
        return std::nullopt;
      }
      found = {index, elements[type].place,
               "the complex type of the element '" + elements[elements[type].parent].name + "'"};
    }
  }
  return found;
}

/// Places an error that has no place, by the type that its message names: "complex type 'T' ... 'a' and 'b'".
Error placeByType(const std::vector<FragmentMap>& maps, const std::string& message) {
  const std::vector<std::string> names = quotedTexts(message);
  const std::string type = names.empty() ? std::string() : "complex type '" + names[0] + "'";
  if (names.empty() || message.compare(0, type.size(), type) != 0) {
    return {std::nullopt, 0, 0, message};
  }
  const bool isAnonymous = names[0].compare(0, 2, "__") == 0;
  const auto found =
      isAnonymous && names.size() > 2 ? findAnonymousType(maps, names[1], names[2]) : findNamedType(maps, names[0]);
  const std::string rest = message.substr(type.size());
  if (!found) {
    return {std::nullopt, 0, 0, (isAnonymous ? "a complex type without a name" : type) + rest};
  }
  return {found->fragment, found->place.line, found->place.column, found->description + rest};
}

/// One check, from the fragments to their errors.
class Check {
 public:
  explicit Check(const std::vector<AbstractRequestSchema>& fragments) {
    m_texts.push_back(BaseRequestHandlingSchema().getSchemaNoHeader());
    for (const AbstractRequestSchema& fragment : fragments) {
      m_texts.push_back(fragment.getSchemaNoHeader());
    }
  }

  std::vector<Error> run() {
    checkFragments();
    if (m_errors.empty()) {
      m_errors = Private::ContentSize(m_maps).check();
    }
    if (m_errors.empty()) {
      compile();
    }
    return std::move(m_errors);
  }

 private:
  void checkFragments() {
    const Envelope envelope;
    for (std::size_t index = 0; index < m_texts.size(); ++index) {
      auto error = findForeignText(index, m_texts[index]);
      if (!error) {
        m_maps.emplace_back(envelope.getHeader(), m_texts[index], envelope.getFooter());
        error = findStructuralError(index, m_maps.back());
      }
      if (error) {
        m_errors.push_back(*std::move(error));
      }
    }
  }

  void compile() {
    const Envelope envelope;
    std::string document = envelope.getHeader();
    std::vector<std::size_t> starts;
    for (const std::string& text : m_texts) {
      starts.push_back(document.size());
      document += text;
    }
    document += envelope.getFooter();
    Reports reports;
    load(document, reports);
    for (const Report& report : reports.getAll()) {
      add(report, document, starts);
    }
  }

  void load(const std::string& document, Reports& reports) {
    XercesDOMParser parser;
    parser.setDoSchema(true);
    parser.setDoNamespaces(true);
    parser.setValidationScheme(XercesDOMParser::Val_Always);
    parser.setValidationSchemaFullChecking(true);
    parser.setDisableDefaultEntityResolution(true);
    parser.setErrorHandler(&reports);
    const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(document.data()), document.size(), "");
    try {
      parser.loadGrammar(source, xercesc_3_1::Grammar::SchemaGrammarType);
    } catch (const xercesc_3_1::OutOfMemoryException&) {
      throw std::bad_alloc();
    } catch (const xercesc_3_1::XMLException& exception) {
      m_errors.push_back({std::nullopt, 0, 0, Private::toUtf8(exception.getMessage())});
    }
  }

  void add(const Report& report, std::string_view document, const std::vector<std::size_t>& starts) {
    Error error{std::nullopt, 0, 0, report.message};
    if (report.place.line == 0) {
      error = placeByType(m_maps, report.message);
    } else {
      const std::size_t offset = Private::startOfTag(document, Private::offsetOf(document, report.place));
      const auto next = std::upper_bound(starts.begin(), starts.end(), offset);
      if (next != starts.begin()) {
        const auto index = static_cast<std::size_t>(next - starts.begin()) - 1;
        const Place place = Private::placeOf(m_texts[index], offset - starts[index]);
        error = {index, place.line, place.column, report.message};
      }
    }
    m_errors.push_back(std::move(error));
  }

  std::vector<std::string> m_texts;  ///< the base schema's first
  std::vector<FragmentMap> m_maps;
  std::vector<Error> m_errors;  ///< their fragments count the texts
};

/// Fragment numbers as the caller counts them: without the base schema.
void countWithoutBase(Error& error) {
  if (error.fragment) {
    error.fragment = *error.fragment == 0 ? std::nullopt : std::optional<std::size_t>(*error.fragment - 1);
  }
  if (!error.fragment) {
    error.line = error.column = 0;
  }
}

bool isBefore(const Error& left, const Error& right) {
  const auto place = [](const Error& error) {
    return std::tuple(!error.fragment, error.fragment.value_or(0), error.line, error.column);
  };
  return place(left) < place(right);
}

}  // namespace

PackageSchema::PackageSchema(std::initializer_list<AbstractRequestSchema> fragments) : m_fragments(fragments) {}

PackageSchema::PackageSchema(const std::vector<AbstractRequestSchema>& fragments) : m_fragments(fragments) {}

std::string PackageSchema::getText() const {
  const Envelope envelope;
  std::string text = envelope.getHeader() + BaseRequestHandlingSchema().getSchemaNoHeader();
  for (const AbstractRequestSchema& fragment : m_fragments) {
    text += fragment.getSchemaNoHeader();
  }
  return text + envelope.getFooter();
}

std::vector<Error> PackageSchema::check() const {
  const Platform platform;
  std::vector<Error> errors = Check(m_fragments).run();
  std::for_each(errors.begin(), errors.end(), countWithoutBase);
  std::stable_sort(errors.begin(), errors.end(), isBefore);
  return errors;
}

std::string PackageSchema::describeErrors() const {
  std::string text;
  for (const Error& error : check()) {
    text += error.fragment ? "fragment " + std::to_string(*error.fragment + 1) : "the schema as a whole";
    if (error.line != 0) {
      text += ", line " + std::to_string(error.line) + ", column " + std::to_string(error.column);
    }
    text += ": " + error.message + "\n";
  }
  return text;
}

}  // namespace Drelvan
