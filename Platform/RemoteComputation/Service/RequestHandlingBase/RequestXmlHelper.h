#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/Service_RequestHandlingBase_export.h>
#include <service/FileHandling.h>
#include <service/Xerces.h>

#include <boost/thread/mutex.hpp>
#include <cstddef>
#include <memory>
#include <string>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
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
/// and nothing of the failed document is kept. The failure may outlive the instance: of the parser library's own
/// exceptions it nests the text, as a `std::runtime_error`; any other exception of an input source it nests as it is.
/// What comes from outside a parse (the set-up, locks, exhausted memory) passes through as it is.
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
  /// The parser with limits on what one document may cost and on what documents leave behind. A document that exceeds
  /// one is reported to the error handler like any other problem.
  class Parser final : public xercesc_3_1::XercesDOMParser {
   public:
    Parser();
    ~Parser() override;

    /// Loads and caches the schema. When this or what follows of the set-up fails, it can be called again.
    void loadSchema(const xercesc_3_1::InputSource& source);
    /// Begins to enforce the limits; called once the schema is loaded.
    void protect();
    /// As the base does, within the limits.
    void parse(const xercesc_3_1::InputSource& source);

    void error(unsigned int code, const XMLCh* domain, ErrTypes type, const XMLCh* text, const XMLCh* systemId,
               const XMLCh* publicId, XMLFileLoc line, XMLFileLoc column) override;
    void startElement(const xercesc_3_1::XMLElementDecl& declaration, unsigned int uri, const XMLCh* prefix,
                      const xercesc_3_1::RefVectorOf<xercesc_3_1::XMLAttr>& attributes, XMLSize_t attributeCount,
                      bool isEmpty, bool isRoot) override;
    void endElement(const xercesc_3_1::XMLElementDecl& declaration, unsigned int uri, bool isRoot,
                    const XMLCh* prefix) override;
    void doctypeDecl(const xercesc_3_1::DTDElementDecl& root, const XMLCh* publicId, const XMLCh* systemId,
                     bool hasInternalSubset, bool hasExternalSubset) override;
    void attDef(const xercesc_3_1::DTDElementDecl& element, const xercesc_3_1::DTDAttDef& attribute,
                bool ignoring) override;
    void entityDecl(const xercesc_3_1::DTDEntityDecl& entity, bool isParameterEntity, bool isIgnored) override;

   private:
    struct State;
    class CountedSource;
    class CountedStream;
    class Muted;

    void forgetFailedSetUp();
    void useUris(xercesc_3_1::XMLStringPool& uris);
    /// Frees what the scanner has kept of the documents so far.
    void renewScanner();
    void renewScannerOrLater();
    void growElementStates();
    /// Has the scanner read `document` without telling anyone of it.
    void scanUnheard(const std::string& document);
    /// As the base's startElement, within the limits.
    void startChecked(const xercesc_3_1::XMLElementDecl& declaration, unsigned int uri, const XMLCh* prefix,
                      const xercesc_3_1::RefVectorOf<xercesc_3_1::XMLAttr>& attributes, XMLSize_t attributeCount,
                      bool isEmpty, bool isRoot);
    void checkNamespaces(const xercesc_3_1::RefVectorOf<xercesc_3_1::XMLAttr>& attributes, XMLSize_t count);
    void checkUndeclared(const xercesc_3_1::XMLElementDecl& declaration, bool isRoot);
    void checkNamedType(const xercesc_3_1::XMLElementDecl& declaration,
                        const xercesc_3_1::RefVectorOf<xercesc_3_1::XMLAttr>& attributes, XMLSize_t count);
    bool namesType(const xercesc_3_1::RefVectorOf<xercesc_3_1::XMLAttr>& attributes, XMLSize_t count) const;
    void forgetUndeclaredElements();
    /// Refuses the document when `count` is above `most`.
    void limit(std::size_t count, std::size_t most, const char* what);
    void refuseCutOff();
    [[noreturn]] void refuseExcess(std::size_t most, const char* what);
    /// Reports `message` at the place that the parser has reached, and leaves the parse.
    [[noreturn]] void refuse(const std::string& message);

    std::unique_ptr<State> m_state;
    /// The number of open elements.
    std::size_t m_depth = 0;
    /// Elements are looked at down to this depth. Deeper ones only where something of their own calls for it, since
    /// every element pays for this.
    std::size_t m_checkedDepth = 0;
  };

  RequestXmlHelper();

  void initParser();
  struct Outcome;
  Outcome tryParse(const xercesc_3_1::InputSource& source, bool validate);
  Outcome tryParse(const char* text);
  /// Runs the parser; whatever it throws becomes the failure of `outcome`.
  void runParser(const xercesc_3_1::InputSource& source, bool validate, Outcome& outcome);

  static std::shared_ptr<RequestXmlHelper> s_instance;
  static boost::mutex s_instanceMutex;

  std::string m_schemas;
  boost::mutex m_parseMutex;
  Parser m_parser;
  bool m_parserInitialized = false;
  XmlErrorHandler* m_errorHandler = nullptr;
};

}  // namespace Drelvan
