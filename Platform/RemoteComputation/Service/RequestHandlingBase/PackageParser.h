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

/// The grammar pool of a `PackageParser`: a base, since Xerces-C's parser must begin after it and end before it.
class PackageParserPool {
 protected:
  PackageParserPool();
  ~PackageParserPool();

  std::unique_ptr<Parsing::GrammarPool> m_grammarPool;
};

/// The parser of `RequestXmlHelper`; of no use to programs, which cannot call it: none of it is exported.
///
/// Xerces-C's parser, with limits on what one document may cost and on what documents leave behind, and with a faster
/// way to the same tree. A document that exceeds a limit is reported to the error handler like any other error.
///
/// Threads: one at a time.
class PackageParser final : private PackageParserPool, public xercesc_3_1::XercesDOMParser {
 public:
  PackageParser();
  ~PackageParser() override;

  /// Loads and caches the schema. When this or what follows of the set-up fails, it can be called again.
  void loadSchema(const xercesc_3_1::InputSource& source);
  /// Begins to enforce the limits; called once the schema is loaded.
  void enableLimits();
  /// As the base does, within the limits.
  void parse(const xercesc_3_1::InputSource& source);
  /// What was reported of the document parsed last, if anything was; to be called once.
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
  /// Frees what the scanner has kept of the documents so far.
  void renewScanner();
  void renewScannerIfLarge();
  void prepareScanner();
  /// Reports that the document is refused, at the place that the scanner has reached.
  void reportRefusal(const std::string& message);

  std::unique_ptr<Parts> m_parts;
};

/// @endcond

}  // namespace Drelvan
