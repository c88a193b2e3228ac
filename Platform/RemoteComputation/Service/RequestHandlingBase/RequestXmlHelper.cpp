#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <service/ExceptionHandling.h>
#include <service/Logging.h>
#include <service/System.h>

#include <boost/locale/encoding_utf.hpp>
#include <cstdint>
#include <cstring>
#include <exception>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/framework/LocalFileInputSource.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/util/BinFileInputStream.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/validators/common/Grammar.hpp>

namespace Drelvan {

namespace {

using xercesc_3_1::DOMDocument;
using xercesc_3_1::XMLPlatformUtils;

Logging s_logger(__FILE__);

constexpr const char* c_group = "RequestHandling";
constexpr const char* c_parse = "Drelvan::RequestXmlHelper::parse";
constexpr const char* c_parseFile = "Drelvan::RequestXmlHelper::parseFile";
constexpr const XMLCh* c_memorySystemId = u"'inMemory_pseudoXMLfile'";
constexpr std::size_t c_loggedSchemaLength = 500;

constexpr const char* c_constructorSignature = "__cdecl Drelvan::RequestXmlHelper::RequestXmlHelper(void)";
constexpr const char* c_getInstanceSignature =
    "class Drelvan::RequestXmlHelper &__cdecl Drelvan::RequestXmlHelper::getInstance(void)";
constexpr const char* c_resetSignature = "void __cdecl Drelvan::RequestXmlHelper::reset(bool)";
constexpr const char* c_addSchemaSignature =
    "void __cdecl Drelvan::RequestXmlHelper::addSchema(const class Drelvan::AbstractRequestSchema &)";
constexpr const char* c_initParserSignature = "void __cdecl Drelvan::RequestXmlHelper::initParser(void)";
constexpr const char* c_parseSourceSignature =
    "class xercesc_3_1::DOMDocument *__cdecl Drelvan::RequestXmlHelper::parse("
    "const class xercesc_3_1::InputSource &,bool)";
constexpr const char* c_parseBufferSignature =
    "class xercesc_3_1::DOMDocument *__cdecl Drelvan::RequestXmlHelper::parse(char *)";
constexpr const char* c_parseStringSignature =
    "class xercesc_3_1::DOMDocument *__cdecl Drelvan::RequestXmlHelper::parse("
    "const class std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> > &)";
constexpr const char* c_parseFileSignature =
    "class xercesc_3_1::DOMDocument *__cdecl Drelvan::RequestXmlHelper::parseFile("
    "const class Drelvan::FileName &,bool)";
constexpr const char* c_warningSignature =
    "void __cdecl Drelvan::RequestXmlHelper::XmlErrorHandler::warning("
    "const class xercesc_3_1::SAXParseException &)";
constexpr const char* c_errorSignature =
    "void __cdecl Drelvan::RequestXmlHelper::XmlErrorHandler::error("
    "const class xercesc_3_1::SAXParseException &)";
constexpr const char* c_fatalErrorSignature =
    "void __cdecl Drelvan::RequestXmlHelper::XmlErrorHandler::fatalError("
    "const class xercesc_3_1::SAXParseException &)";

/// Xerces-C's text as UTF-8. Depends neither on the locale nor on a started platform, and never fails: an
/// incomplete surrogate pair, which messages truncated by Xerces-C may contain, is left out.
std::string toText(const XMLCh* text) {
  if (text == nullptr) {
    return {};
  }
  return boost::locale::conv::utf_to_utf<char>(text, text + xercesc_3_1::XMLString::stringLen(text));
}

std::string addressOf(const void* object) {
  std::ostringstream stream;
  stream << object;
  return stream.str();
}

/// `first` and `second` in one allocation, which matters for inputs of many megabytes.
std::string joined(std::string_view first, std::string_view second) {
  std::string text;
  text.reserve(first.size() + second.size());
  text.append(first).append(second);
  return text;
}

/// The start and the end of the schema document of all fragments.
class SchemaEnvelope final : public AbstractRequestSchema {
 public:
  std::string around(const std::string& fragments) const { return m_header + fragments + m_footer; }
};

void startPlatform() {
  const boost::mutex::scoped_lock lock(XercesInitializationMutex::getMutex());
  XMLPlatformUtils::Initialize();
}

/// A file. Xerces-C names it by its text, with the parts of its path resolved, and opens what it names; the bytes of
/// that name are its UTF-8, whatever the locale makes of them. A name that is not UTF-8 has no text: it is opened by
/// its bytes, and what can be read of it serves for the messages.
class NamedFileInputSource final : public xercesc_3_1::LocalFileInputSource {
 public:
  explicit NamedFileInputSource(const std::string& name)
      : LocalFileInputSource(boost::locale::conv::utf_to_utf<char16_t>(name).c_str(),
                             XMLPlatformUtils::fgMemoryManager),
        m_bytes(isUtf8(name) ? toText(getSystemId()) : name) {}

  xercesc_3_1::BinInputStream* makeStream() const override {
    auto stream = std::make_unique<xercesc_3_1::BinFileInputStream>(m_bytes.c_str(), XMLPlatformUtils::fgMemoryManager);
    return stream->getIsOpen() ? stream.release() : nullptr;
  }

 private:
  static bool isUtf8(const std::string& name) {
    try {
      boost::locale::conv::utf_to_utf<char16_t>(name, boost::locale::conv::stop);
      return true;
    } catch (const boost::locale::conv::conversion_error&) {
      return false;
    }
  }

  const std::string m_bytes;
};

[[noreturn]] void fail(const std::string& logText, const std::string& message, int line) {
  s_logger.logDEBUG(logText, __FILE__, c_parseSourceSignature, line);
  throw DvExceptionNested(message.c_str(), c_group, c_parse, __FILE__, line);
}

/// The failure for an exception of Xerces-C. It nests the text only: programs keep failures, but that exception must
/// not outlive Xerces-C.
[[noreturn]] void failWithText(const char* message, const std::string& text, int line) {
  try {
    throw std::runtime_error(text);
  } catch (const std::runtime_error&) {
    fail(message + (": " + text), message, line);
  }
}

}  // namespace

RequestXmlHelper::XmlErrorHandler::XmlErrorHandler() = default;

RequestXmlHelper::XmlErrorHandler::~XmlErrorHandler() = default;

void RequestXmlHelper::XmlErrorHandler::warning(const xercesc_3_1::SAXParseException& exception) {
  record("XML warning at file ", c_warningSignature, exception);
}

void RequestXmlHelper::XmlErrorHandler::error(const xercesc_3_1::SAXParseException& exception) {
  record("XML error at file ", c_errorSignature, exception);
}

void RequestXmlHelper::XmlErrorHandler::fatalError(const xercesc_3_1::SAXParseException& exception) {
  record("XML fatal error at file ", c_fatalErrorSignature, exception);
}

void RequestXmlHelper::XmlErrorHandler::resetErrors() {
  m_errorOccurred = false;
  m_lastMessage.clear();
}

bool RequestXmlHelper::XmlErrorHandler::hasErrors() const { return m_errorOccurred; }

std::string RequestXmlHelper::XmlErrorHandler::getErrorMessage() const {
  return m_errorOccurred ? m_lastMessage : "NO ERROR!";
}

void RequestXmlHelper::XmlErrorHandler::record(const char* start, const char* signature,
                                               const xercesc_3_1::SAXParseException& exception) {
  m_errorOccurred = true;
  std::string message = toText(exception.getMessage());
  s_logger.logERROR(start + toText(exception.getSystemId()) + ", line " + std::to_string(exception.getLineNumber()) +
                        ", char " + std::to_string(exception.getColumnNumber()) + "\n  Message: " + message,
                    __FILE__, signature, __LINE__);
  m_lastMessage = std::move(message);
}

std::shared_ptr<RequestXmlHelper> RequestXmlHelper::s_instance;
boost::mutex RequestXmlHelper::s_instanceMutex;

RequestXmlHelper& RequestXmlHelper::getInstance() {
  const boost::mutex::scoped_lock lock(s_instanceMutex);
  if (s_instance != nullptr) {
    return *s_instance;
  }
  try {
    startPlatform();
  } catch (const xercesc_3_1::XMLException& exception) {
    s_logger.logERROR("Error during Xerces-c initialization: " + toText(exception.getMessage()), __FILE__,
                      c_getInstanceSignature, __LINE__);
  }
  s_instance.reset(new RequestXmlHelper());
  s_logger.logTRACE("Created new RequestXmlHelper instance " + addressOf(s_instance.get()), __FILE__,
                    c_getInstanceSignature, __LINE__);
  return *s_instance;
}

void RequestXmlHelper::reset(bool terminateXerces) {
  const boost::mutex::scoped_lock lock(s_instanceMutex);
  if (s_instance == nullptr) {
    return;
  }
  s_instance.reset();
  s_logger.logINFO("RequestXmlHelper instance reset.", __FILE__, c_resetSignature, __LINE__);
  if (!terminateXerces) {
    return;
  }
  const boost::mutex::scoped_lock platformLock(XercesInitializationMutex::getMutex());
  try {
    XMLPlatformUtils::Terminate();
    s_logger.logINFO("Xerces-c terminated.", __FILE__, c_resetSignature, __LINE__);
  } catch (const xercesc_3_1::XMLException& exception) {
    s_logger.logERROR("Error during Xerces-c termination: " + toText(exception.getMessage()), __FILE__,
                      c_resetSignature, __LINE__);
  }
}

RequestXmlHelper::RequestXmlHelper() {
  s_logger.logTRACE("Creating new RequestXmlHelper instance " + addressOf(this), __FILE__, c_constructorSignature,
                    __LINE__);
  addSchema(BaseRequestHandlingSchema());
}

RequestXmlHelper::~RequestXmlHelper() {
  delete m_errorHandler;
  m_errorHandler = nullptr;
}

void RequestXmlHelper::addSchema(const AbstractRequestSchema& schema) {
  if (m_parserInitialized) {
    s_logger.logERROR("Adding schema after parser has been initialized!", __FILE__, c_addSchemaSignature, __LINE__);
    return;
  }
  m_schemas += schema.getSchemaNoHeader();
  s_logger.logTRACE("Added schema:\n" + schema.getSchema().substr(0, c_loggedSchemaLength) + "...", __FILE__,
                    c_addSchemaSignature, __LINE__);
}

bool RequestXmlHelper::isParserInitialized() const { return m_parserInitialized; }

void RequestXmlHelper::initParser() {
  s_logger.logTRACE("Initializing parser...", __FILE__, c_initParserSignature, __LINE__);
  m_parser.setDoSchema(true);
  m_parser.setDoNamespaces(true);
  m_parser.setValidationScheme(xercesc_3_1::XercesDOMParser::Val_Always);
  m_parser.setValidationScheme(xercesc_3_1::XercesDOMParser::Val_Always);
  m_parser.setValidationSchemaFullChecking(true);
  m_parser.setIncludeIgnorableWhitespace(false);
  const std::string schema = SchemaEnvelope().around(m_schemas);
  m_parser.useCachedGrammarInParse(true);
  // Fixed with the other steps of the set-up; has no effect.
  [[maybe_unused]] const BaseRequestHandlingSchema unused;
  const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(schema.data()), schema.size(), "", false,
                                              XMLPlatformUtils::fgMemoryManager);
  m_parser.loadSchema(source);
  if (m_errorHandler == nullptr) {
    m_errorHandler = new XmlErrorHandler();
  }
  m_parser.setErrorHandler(m_errorHandler);
  m_parser.enableLimits();
  m_parserInitialized = true;
  s_logger.logTRACE("Parser initialized.", __FILE__, c_initParserSignature, __LINE__);
}

DOMDocument* RequestXmlHelper::parse(const xercesc_3_1::InputSource& source, bool validate) {
  const boost::mutex::scoped_lock lock(m_parseMutex);
  if (!m_parserInitialized) {
    initParser();
  }
  m_errorHandler->resetErrors();
  runParser(source, validate);
  if (m_errorHandler->hasErrors()) {
    failWithErrors();
  }
  return m_parser.adoptDocument();
}

void RequestXmlHelper::runParser(const xercesc_3_1::InputSource& source, bool validate) {
  const auto scheme = m_parser.getValidationScheme();
  m_parser.setValidationScheme(validate ? xercesc_3_1::XercesDOMParser::Val_Always
                                        : xercesc_3_1::XercesDOMParser::Val_Never);
  const auto recover = [&] {
    m_parser.setValidationScheme(scheme);
    m_parser.resetDocumentPool();
  };
  try {
    m_parser.parse(source);
  } catch (const xercesc_3_1::XMLException& exception) {
    recover();
    failWithText("XMLException parsing input", toText(exception.getMessage()), __LINE__);
  } catch (const xercesc_3_1::DOMException& exception) {
    recover();
    failWithText("DOMException parsing input", toText(exception.getMessage()), __LINE__);
  } catch (const std::exception& exception) {
    recover();
    // The other exceptions of Xerces-C share the second of its two texts.
    fail(std::string("Exception parsing input: ") + exception.what(), "DOMException parsing input", __LINE__);
  } catch (...) {
    recover();
    fail("Unknown exception parsing input.", "Unknown exception parsing input.", __LINE__);
  }
  m_parser.setValidationScheme(scheme);
}

void RequestXmlHelper::failWithErrors() {
  m_parser.resetDocumentPool();
  const std::string message = "Errors occurred while parsing input: " + m_errorHandler->getErrorMessage();
  try {
    throw m_parser.takeErrors();
  } catch (const PackageErrors&) {
    fail(message, message, __LINE__);
  }
}

DOMDocument* RequestXmlHelper::parse(char* input) {
  const char* text = input == nullptr ? "" : input;
  const auto length = static_cast<std::uint32_t>(std::strlen(text));
  const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text), length, c_memorySystemId, false,
                                              XMLPlatformUtils::fgMemoryManager);
  try {
    return parse(source, true);
  } catch (const DvExceptionNested&) {
    s_logger.logTRACE(joined("Input string:\n", text), __FILE__, c_parseBufferSignature, __LINE__);
    throw;
  }
}

DOMDocument* RequestXmlHelper::parse(const std::string& input) {
  constexpr std::string_view logged = "Parser input:\n";
  // Parses the copy that is in the text of the log entry: inputs may have many megabytes.
  std::string copy = joined(logged, input);
  s_logger.logTRACE(copy, __FILE__, c_parseStringSignature, __LINE__);
  try {
    return parse(copy.data() + logged.size());
  } catch (const DvExceptionNested& failure) {
    s_logger.logERROR(joined(std::string("Input parsing error: ") + failure.what() + "\nInput:\n", input), __FILE__,
                      c_parseStringSignature, __LINE__);
    throw;
  }
}

DOMDocument* RequestXmlHelper::parseFile(const FileName& file, bool validate) {
  if (!FileUtilities::exists(file, false)) {
    s_logger.logWARN("File dosn't exist: " + file.toString(), __FILE__, c_parseFileSignature, __LINE__);
    throw DvExceptionNested("File doesn't exist.", c_group, c_parseFile, __FILE__, __LINE__);
  }
  const NamedFileInputSource source(file.toString());
  return parse(source, validate);
}

}  // namespace Drelvan
