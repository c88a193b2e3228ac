#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/PackageErrors.h>
#include <service/Xerces.h>

#include <memory>
#include <string>
#include <xercesc/parsers/XercesDOMParser.hpp>

namespace Drelvan {

namespace Parsing {
class GrammarPool;
}

/// @cond INTERNAL

/// The grammar pool of a `PackageParser`: a base class, so that it is constructed before Xerces-C's parser and
/// destroyed after it.
class PackageParserPool {
 protected:
  PackageParserPool();
  ~PackageParserPool();

  std::unique_ptr<Parsing::GrammarPool> m_grammarPool;
};

/// The parser of `RequestXmlHelper`. Not exported: programs cannot call it.
///
/// Xerces-C's parser, with limits on the cost of a document and on what remains of it, and with a faster construction
/// of the same tree. An exceeded limit is reported to the error handler like any other error.
///
/// Threads: one at a time.
class PackageParser final : private PackageParserPool, public xercesc_3_1::XercesDOMParser {
 public:
  PackageParser();
  ~PackageParser() override;

  /// Loads and caches the schema. Can be called again when this or a later step of the set-up failed.
  void loadSchema(const xercesc_3_1::InputSource& source);
  /// Starts to enforce the limits; called once the schema is loaded.
  void enableLimits();
  /// As the base class, within the limits.
  void parse(const xercesc_3_1::InputSource& source);
  /// The errors of the last document, if any; to be called once.
  PackageErrors takeErrors();

  void error(unsigned int code, const XMLCh* domain, ErrTypes type, const XMLCh* text, const XMLCh* systemId,
             const XMLCh* publicId, XMLFileLoc line, XMLFileLoc column) override;
  void startDocument() override;
  void startElement(const xercesc_3_1::XMLElementDecl& declaration, unsigned int uri, const XMLCh* prefix,
                    const xercesc_3_1::RefVectorOf<xercesc_3_1::XMLAttr>& attributes, XMLSize_t attributeCount,
                    bool isEmpty, bool isRoot) override;
  void endElement(const xercesc_3_1::XMLElementDecl& declaration, unsigned int uri, bool isRoot,
                  const XMLCh* prefix) override;
  void docCharacters(const XMLCh* characters, XMLSize_t length, bool isCdata) override;
  void doctypeDecl(const xercesc_3_1::DTDElementDecl& root, const XMLCh* publicId, const XMLCh* systemId,
                   bool hasInternalSubset, bool hasExternalSubset) override;
  void attDef(const xercesc_3_1::DTDElementDecl& element, const xercesc_3_1::DTDAttDef& attribute,
              bool ignoring) override;
  void entityDecl(const xercesc_3_1::DTDEntityDecl& entity, bool isParameterEntity, bool isIgnored) override;

 private:
  struct Parts;

  void undoSetUp();
  /// Frees what the scanner stored of earlier documents.
  void renewScanner();
  void renewScannerIfLarge();
  bool isScannerLarge() const;
  void prepareScanner();
  /// Reports why the document is rejected, at the scanner's position.
  void reportRejection(const std::string& message);

  std::unique_ptr<Parts> m_parts;
};

/// @endcond

}  // namespace Drelvan
