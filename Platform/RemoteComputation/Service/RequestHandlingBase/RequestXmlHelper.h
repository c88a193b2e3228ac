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

/// The validating XML parser of a process.
///
/// States: the first `getInstance` initialises Xerces-C and registers the base schema; the program adds its own
/// fragments with `addSchema`; the first parse compiles all fragments into one schema, after which none can be added.
/// `reset` destroys the instance: no thread may parse during the call, and references to the instance become invalid.
/// Every document must have been released before `reset(true)`.
///
/// Threads: any number of threads may parse; parses are serialised. `addSchema` belongs to the single-threaded
/// start-up.
///
/// Every failed parse throws `DvExceptionNested` with the group "RequestHandling". The instance is usable afterwards,
/// and later documents are not affected by the failed one. For an invalid document the failure nests `PackageErrors`;
/// for an `XMLException` or `DOMException` its text, as a `std::runtime_error`; any other exception of an input source
/// is nested itself. The failure may outlive the instance and Xerces-C, unless it nests an exception of Xerces-C.
/// Exceptions from outside a parse (set-up, locks, exhausted memory) pass through unchanged.
class SERVICE_REQUESTHANDLINGBASE_EXPORT RequestXmlHelper {
 public:
  /// Records the errors that the parser reports; each is logged at ERROR with its position.
  ///
  /// Threads: used by one parse at a time. No callback throws, so that the parser continues as far as it can.
  class SERVICE_REQUESTHANDLINGBASE_EXPORT XmlErrorHandler : public xercesc_3_1::ErrorHandler {
   public:
    XmlErrorHandler();
    ~XmlErrorHandler() override;
    XmlErrorHandler(const XmlErrorHandler&) = delete;
    XmlErrorHandler& operator=(const XmlErrorHandler&) = delete;

    /// @{
    /// Stores the text of the error and logs it.
    void warning(const xercesc_3_1::SAXParseException& exception) override;
    void error(const xercesc_3_1::SAXParseException& exception) override;
    void fatalError(const xercesc_3_1::SAXParseException& exception) override;
    /// @}
    /// Removes what was recorded.
    void resetErrors() override;

    /// Whether anything, a warning included, was reported since the last reset.
    bool hasErrors() const;
    /// The text of the last reported error, without its position; "NO ERROR!" when there is none.
    std::string getErrorMessage() const;

   private:
    void record(const char* start, const char* signature, const xercesc_3_1::SAXParseException& exception);

    bool m_errorOccurred = false;
    std::string m_lastMessage;
  };

  ~RequestXmlHelper();
  RequestXmlHelper(const RequestXmlHelper&) = delete;
  RequestXmlHelper& operator=(const RequestXmlHelper&) = delete;

  /// The instance, created by the first call. The reference is valid until `reset`.
  static RequestXmlHelper& getInstance();

  /// Destroys the instance and then, with `terminateXerces`, terminates Xerces-C. Without an instance nothing happens.
  static void reset(bool terminateXerces);

  /// Registers a fragment. After the first parse it is ignored, with an entry at ERROR. The fragment is not checked; a
  /// broken one makes documents fail.
  void addSchema(const AbstractRequestSchema& schema);

  /// Whether the first parse has set the parser up.
  bool isParserInitialized() const;

  /// Parses `source`, and validates it if `validate`. The caller owns the document, which is never null, and must
  /// `release()` it.
  xercesc_3_1::DOMDocument* parse(const xercesc_3_1::InputSource& source, bool validate);
  /// Parses and validates the text up to its terminating NUL, which is not changed; null counts as empty. Result and
  /// failures as above.
  xercesc_3_1::DOMDocument* parse(char* input);
  /// Parses and validates the text, which ends at its first NUL if it holds one. Result and failures as above.
  xercesc_3_1::DOMDocument* parse(const std::string& input);
  /// Parses the named file. Result and failures as above; a missing file is a failure.
  xercesc_3_1::DOMDocument* parseFile(const FileName& file, bool validate);

 private:
  RequestXmlHelper();

  void initParser();
  /// Runs the parser and restores its settings. What it throws becomes a `DvExceptionNested`.
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
