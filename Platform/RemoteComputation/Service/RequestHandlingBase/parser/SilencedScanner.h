#pragma once

#include <service/Xerces.h>

#include <string>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/XMLDocumentHandler.hpp>
#include <xercesc/framework/XMLErrorReporter.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/validators/DTD/DocTypeHandler.hpp>

namespace Drelvan::Parsing {

/// Silences the scanner of a parser for documents whose events are not needed, as long as this object exists.
class SilencedScanner {
 public:
  template <typename Parser>
  SilencedScanner(xercesc_3_1::XMLScanner& scanner, Parser& parser)
      : m_scanner(scanner),
        m_documents(parser),
        m_doctypes(parser),
        m_reporter(parser),
        m_scheme(scanner.getValidationScheme()) {
    set(nullptr, nullptr, nullptr, xercesc_3_1::XMLScanner::Val_Never);
  }
  SilencedScanner(const SilencedScanner&) = delete;
  SilencedScanner& operator=(const SilencedScanner&) = delete;
  ~SilencedScanner() { set(&m_documents, &m_doctypes, &m_reporter, m_scheme); }

  void scan(const std::string& document) {
    const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(document.data()), document.size(), "",
                                                false, xercesc_3_1::XMLPlatformUtils::fgMemoryManager);
    m_scanner.scanDocument(source);
  }

 private:
  void set(xercesc_3_1::XMLDocumentHandler* documents, xercesc_3_1::DocTypeHandler* doctypes,
           xercesc_3_1::XMLErrorReporter* reporter, xercesc_3_1::XMLScanner::ValSchemes scheme) {
    m_scanner.setDocHandler(documents);
    m_scanner.setDocTypeHandler(doctypes);
    m_scanner.setErrorReporter(reporter);
    m_scanner.setValidationScheme(scheme);
  }

  xercesc_3_1::XMLScanner& m_scanner;
  xercesc_3_1::XMLDocumentHandler& m_documents;
  xercesc_3_1::DocTypeHandler& m_doctypes;
  xercesc_3_1::XMLErrorReporter& m_reporter;
  const xercesc_3_1::XMLScanner::ValSchemes m_scheme;
};

}  // namespace Drelvan::Parsing
