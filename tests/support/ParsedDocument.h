#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <gtest/gtest.h>
#include <tests/support/Documents.h>

#include <string>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>

namespace TestSupport {

/// A document that the library made of `xml`, without validation.
class ParsedDocument {
 public:
  explicit ParsedDocument(const std::string& xml) : m_document(parse(xml)) {}

  xercesc_3_1::DOMDocument* document() const { return m_document.get(); }
  xercesc_3_1::DOMElement* root() const { return m_document->getDocumentElement(); }

 private:
  static xercesc_3_1::DOMDocument* parse(const std::string& xml) {
    Drelvan::RequestXmlHelper& parser = Drelvan::RequestXmlHelper::getInstance();  // starts Xerces-C
    const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), "test");
    return parser.parse(source, false);
  }

  Document m_document;
};

/// Ends the parser when all tests of the program have run.
class ParserEnvironment : public ::testing::Environment {
 public:
  void TearDown() override { Drelvan::RequestXmlHelper::reset(true); }
};

inline ::testing::Environment* const parserEnvironment = ::testing::AddGlobalTestEnvironment(new ParserEnvironment);

}  // namespace TestSupport
