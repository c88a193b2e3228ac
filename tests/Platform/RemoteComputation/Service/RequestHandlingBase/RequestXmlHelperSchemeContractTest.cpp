// Which validation scheme the parser is given around a parse. The program defines Xerces-C's setter itself: its
// definition wins over that of Xerces-C, which it calls.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperFixture.h>
#include <tests/support/InputSources.h>

#include <stdexcept>
#include <string>
#include <vector>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/parsers/AbstractDOMParser.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/RuntimeException.hpp>

namespace {

using xercesc_3_1::AbstractDOMParser;

std::vector<AbstractDOMParser::ValSchemes> s_schemes;

#define REQUEST_XML_HELPER_TEXT_OF(name) #name
#define REQUEST_XML_HELPER_TEXT(name) REQUEST_XML_HELPER_TEXT_OF(name)

using SetScheme = void(AbstractDOMParser*, AbstractDOMParser::ValSchemes);

/// Xerces-C's definition.
SetScheme* hiddenSetScheme() {
  const std::string library = REQUEST_XML_HELPER_TEXT(XERCES_CPP_NAMESPACE);
  const std::string name =
      "_ZN" + std::to_string(library.size()) + library + "17AbstractDOMParser19setValidationSchemeENS0_10ValSchemesE";
  void* const found = dlsym(RTLD_NEXT, name.c_str());
  if (found == nullptr) {
    throw std::logic_error("Xerces-C does not define " + name);
  }
  return reinterpret_cast<SetScheme*>(found);
}

}  // namespace

void AbstractDOMParser::setValidationScheme(const ValSchemes scheme) {
  s_schemes.push_back(scheme);
  static SetScheme* const set = hiddenSetScheme();
  set(this, scheme);
}

namespace {

using RequestXmlHelperTests::HelperTest;
using ::testing::ElementsAre;

class RequestXmlHelperSchemeContractTest : public HelperTest {
 protected:
  void SetUp() override {
    HelperTest::SetUp();
    setUpParser();
    s_schemes.clear();
  }

  static void expectFailure(const xercesc_3_1::InputSource& source, bool validate) {
    EXPECT_THROW(helper().parse(source, validate), Drelvan::DvExceptionNested);
  }
};

TEST_F(RequestXmlHelperSchemeContractTest, IsChosenForAParseAndRestored) {
  const TestSupport::ScriptedSource source(TestSupport::requestPackage().text());
  TestSupport::Document(helper().parse(source, false));
  EXPECT_THAT(s_schemes, ElementsAre(AbstractDOMParser::Val_Never, AbstractDOMParser::Val_Always));
  s_schemes.clear();
  TestSupport::Document(helper().parse(source, true));
  EXPECT_THAT(s_schemes, ElementsAre(AbstractDOMParser::Val_Always, AbstractDOMParser::Val_Always));
}

TEST_F(RequestXmlHelperSchemeContractTest, IsRestoredAfterAReportedError) {
  expectFailure(TestSupport::ScriptedSource("<r>"), false);
  EXPECT_THAT(s_schemes, ElementsAre(AbstractDOMParser::Val_Never, AbstractDOMParser::Val_Always));
}

TEST_F(RequestXmlHelperSchemeContractTest, IsSetTwiceWhenTheParserIsSetUp) {
  Drelvan::RequestXmlHelper::reset(false);
  s_schemes.clear();
  const TestSupport::ScriptedSource source("<r/>");
  TestSupport::Document(helper().parse(source, false));
  ASSERT_GE(s_schemes.size(), 3U);
  s_schemes.resize(3);
  EXPECT_THAT(s_schemes,
              ElementsAre(AbstractDOMParser::Val_Always, AbstractDOMParser::Val_Always, AbstractDOMParser::Val_Never));
}

TEST_F(RequestXmlHelperSchemeContractTest, IsRestoredAfterAnExceptionOfXerces) {
  expectFailure(TestSupport::ScriptedSource("<r>",
                                            [] {
                                              throw xercesc_3_1::DOMException(
                                                  xercesc_3_1::DOMException::HIERARCHY_REQUEST_ERR, 0,
                                                  xercesc_3_1::XMLPlatformUtils::fgMemoryManager);
                                            }),
                false);
  EXPECT_THAT(s_schemes, ElementsAre(AbstractDOMParser::Val_Never, AbstractDOMParser::Val_Always));
  s_schemes.clear();
  throwAtEntry("XML fatal error",
               xercesc_3_1::RuntimeException(__FILE__, __LINE__, xercesc_3_1::XMLExcepts::Gen_ParseInProgress,
                                             xercesc_3_1::XMLPlatformUtils::fgMemoryManager));
  expectFailure(TestSupport::ScriptedSource("<r>"), false);
  EXPECT_THAT(s_schemes, ElementsAre(AbstractDOMParser::Val_Never, AbstractDOMParser::Val_Always));
}

TEST_F(RequestXmlHelperSchemeContractTest, IsRestoredAfterAnException) {
  expectFailure(TestSupport::ScriptedSource("<r>", [] { throw std::runtime_error("gone"); }), false);
  EXPECT_THAT(s_schemes, ElementsAre(AbstractDOMParser::Val_Never, AbstractDOMParser::Val_Always));
  s_schemes.clear();
  expectFailure(TestSupport::ScriptedSource("<r>", [] { throw 1; }), false);
  EXPECT_THAT(s_schemes, ElementsAre(AbstractDOMParser::Val_Never, AbstractDOMParser::Val_Always));
}

}  // namespace
