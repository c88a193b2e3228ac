#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/PackageParser.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/Service_RequestHandlingBase_export.h>
#include <service/FileHandling.h>
#include <service/Xerces.h>

#include <boost/thread/mutex.hpp>
#include <memory>
#include <string>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/InputSource.hpp>
#include <xercesc/sax/SAXParseException.hpp>

namespace Drelvan {

/// The one validating XML parser of a process.
///
/// Life: the first `getInstance` starts the parser library's platform and registers the base schema; the program adds
/// its own fragments with `addSchema`; the first parse joins all fragments into one grammar, and from then on none can
/// be added. `reset` ends the instance; nothing may parse, hold the reference or keep a parsed document meanwhile, and
/// every document must have been released before `reset(true)`.
///
/// Threads: any number of threads may parse; parses follow each other. `addSchema` belongs to the single-threaded
/// start-up.
///
/// Every failed parse throws `DvExceptionNested` with the group "RequestHandling"; the instance is usable afterwards,
/// and nothing of the failed document is kept. The failure may outlive the instance. Where the document was reported
/// invalid, it nests `PackageErrors`; of an exception of Xerces-C it nests the text, as a `std::runtime_error`; any
/// other exception of an input source it nests as it is. What comes from outside a parse (the set-up, locks, exhausted
/// memory) passes through as it is.
class SERVICE_REQUESTHANDLINGBASE_EXPORT RequestXmlHelper {
 public:
  /// Records the problems that the parser reports; each is logged at ERROR with its position.
  ///
  /// Threads: used by one parse at a time. No callback throws, so the parser goes on as far as it can.
  class SERVICE_REQUESTHANDLINGBASE_EXPORT XmlErrorHandler : public xercesc_3_1::ErrorHandler {
   public:
    XmlErrorHandler();
    ~XmlErrorHandler() override;
    XmlErrorHandler(const XmlErrorHandler&) = delete;
    XmlErrorHandler& operator=(const XmlErrorHandler&) = delete;

    /// @{
    /// Keeps the text of the problem and logs it.
    void warning(const xercesc_3_1::SAXParseException& exception) override;
    void error(const xercesc_3_1::SAXParseException& exception) override;
    void fatalError(const xercesc_3_1::SAXParseException& exception) override;
    /// @}
    /// Forgets what was reported.
    void resetErrors() override;

    /// Whether anything, a warning included, was reported since the last reset.
    bool hasErrors() const;
    /// The text of the last reported problem, without its position; "NO ERROR!" when there is none.
    std::string getErrorMessage() const;

   private:
    void record(const char* start, const char* signature, const xercesc_3_1::SAXParseException& exception);

    bool m_errorOccurred = false;
    std::string m_lastMessage;
  };

  ~RequestXmlHelper();
  RequestXmlHelper(const RequestXmlHelper&) = delete;
  RequestXmlHelper& operator=(const RequestXmlHelper&) = delete;

  /// The instance, made by the first call. The reference is good until `reset`.
  static RequestXmlHelper& getInstance();

  /// Destroys the instance, if there is one, and then, with `terminateXerces`, ends the parser library's platform.
  /// Without an instance nothing happens at all.
  static void reset(bool terminateXerces);

  /// Registers a fragment. After the first parse it is refused: an ERROR entry says so, and nothing else happens.
  /// The fragment is not checked; a broken one shows as failing documents.
  void addSchema(const AbstractRequestSchema& schema);

  /// Whether the first parse has set the parser up.
  bool isParserInitialized() const;

  /// Parses `source`, validating or not. The caller owns the document and must `release()` it; never null.
  xercesc_3_1::DOMDocument* parse(const xercesc_3_1::InputSource& source, bool validate);
  /// Parses and validates the text up to its terminating NUL, which is not changed; null counts as empty. Result and
  /// failures as above.
  xercesc_3_1::DOMDocument* parse(char* input);
  /// Parses and validates the text, which ends at its first NUL if it holds one. Result and failures as above.
  xercesc_3_1::DOMDocument* parse(const std::string& input);
  /// Parses the named file. Result and failures as above; a missing file is a failure too.
  xercesc_3_1::DOMDocument* parseFile(const FileName& file, bool validate);

 private:
  RequestXmlHelper();

  void initParser();
  /// Runs the parser, whose settings are the same again afterwards. What it throws becomes a `DvExceptionNested`.
  void runParser(const xercesc_3_1::InputSource& source, bool validate);
  [[noreturn]] void failWithErrors();

  static std::shared_ptr<RequestXmlHelper> s_instance;
  static boost::mutex s_instanceMutex;

  std::string m_schemas;
  boost::mutex m_parseMutex;
  PackageParser m_parser;
  bool m_parserInitialized = false;
  XmlErrorHandler* m_errorHandler = nullptr;
};

}  // namespace Drelvan
