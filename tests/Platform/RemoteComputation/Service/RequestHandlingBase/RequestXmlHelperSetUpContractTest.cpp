// What the parser is given when it is set up, and what happens when that fails. The program defines Xerces-C's
// grammar loading itself: its definition replaces the library's and calls it.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperFixture.h>
#include <tests/support/InputSources.h>

#include <array>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/BinInputStream.hpp>
#include <xercesc/util/IOException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>

namespace {

using xercesc_3_1::Grammar;
using xercesc_3_1::InputSource;
using xercesc_3_1::XercesDOMParser;

/// One loading of a grammar: what is loaded, and how the parser stands.
struct Loading {
  std::string text;
  std::string systemId;
  Grammar::GrammarType type;
  bool toCache;
  bool doSchema;
  bool doNamespaces;
  bool fullChecking;
  bool includeIgnorableWhitespace;
  bool usesCachedGrammar;
  bool hasErrorHandler;
  XercesDOMParser::ValSchemes scheme;
};

std::vector<Loading> s_loadings;
std::function<void()> s_beforeLoading;

std::string textOf(const InputSource& source) {
  const std::unique_ptr<xercesc_3_1::BinInputStream> stream(source.makeStream());
  std::string text;
  std::array<XMLByte, 4096> block{};
  while (const XMLSize_t count = stream->readBytes(block.data(), block.size())) {
    text.append(reinterpret_cast<const char*>(block.data()), count);
  }
  return text;
}

#define REQUEST_XML_HELPER_TEXT_OF(name) #name
#define REQUEST_XML_HELPER_TEXT(name) REQUEST_XML_HELPER_TEXT_OF(name)

using LoadGrammar = Grammar*(XercesDOMParser*, const InputSource&, Grammar::GrammarType, bool);

/// Xerces-C's definition.
LoadGrammar* hiddenLoadGrammar() {
  const std::string library = REQUEST_XML_HELPER_TEXT(XERCES_CPP_NAMESPACE);
  const std::string name = "_ZN" + std::to_string(library.size()) + library +
                           "15XercesDOMParser11loadGrammarERKNS_11InputSourceENS_7Grammar11GrammarTypeEb";
  void* const found = dlsym(RTLD_NEXT, name.c_str());
  if (found == nullptr) {
    throw std::logic_error("Xerces-C does not define " + name);
  }
  return reinterpret_cast<LoadGrammar*>(found);
}

}  // namespace

Grammar* XercesDOMParser::loadGrammar(const InputSource& source, const Grammar::GrammarType type, const bool toCache) {
  s_loadings.push_back({textOf(source), TestSupport::toUtf8(source.getSystemId()), type, toCache, getDoSchema(),
                        getDoNamespaces(), getValidationSchemaFullChecking(), getIncludeIgnorableWhitespace(),
                        isUsingCachedGrammarInParse(), getErrorHandler() != nullptr, getValidationScheme()});
  if (s_beforeLoading) {
    s_beforeLoading();
  }
  static LoadGrammar* const load = hiddenLoadGrammar();
  return load(this, source, type, toCache);
}

namespace {

using Drelvan::BaseRequestHandlingSchema;
using RequestXmlHelperTests::Entry;
using RequestXmlHelperTests::Fragment;
using RequestXmlHelperTests::HelperTest;
using RequestXmlHelperTests::takeEntries;
using ::testing::ElementsAre;
using ::testing::SizeIs;
using TestSupport::Document;
namespace Signature = RequestXmlHelperTests::Signature;

const std::string c_start =
    "<?xml version=\"1.0\" encoding=\"us-ascii\"?>\n"
    "<xs:schema xmlns:dvrq =\"http://drelvan.example/schemas/DVRequests.xsd\" elementFormDefault=\"qualified\" "
    "targetNamespace=\"http://drelvan.example/schemas/DVRequests.xsd\" "
    "xmlns:xs=\"http://www.w3.org/2001/XMLSchema\">\n";
const std::string c_end = "</xs:schema>";

class RequestXmlHelperSetUpContractTest : public HelperTest {
 protected:
  void SetUp() override {
    HelperTest::SetUp();
    s_loadings.clear();
    s_beforeLoading = nullptr;
  }
  void TearDown() override {
    s_beforeLoading = nullptr;
    HelperTest::TearDown();
  }

  static std::string base() { return BaseRequestHandlingSchema().getSchemaNoHeader(); }
};

TEST_F(RequestXmlHelperSetUpContractTest, NothingIsLoadedBeforeTheFirstParse) {
  helper().addSchema(Fragment("<!-- added -->"));
  EXPECT_THAT(s_loadings, SizeIs(0));
}

TEST_F(RequestXmlHelperSetUpContractTest, BaseFragmentAloneIsOneDocument) {
  parseValid();
  ASSERT_THAT(s_loadings, SizeIs(1));
  EXPECT_EQ(s_loadings.front().text, c_start + base() + c_end);
}

TEST_F(RequestXmlHelperSetUpContractTest, FragmentsAreConcatenatedWithoutSeparator) {
  const std::string first = "<xs:element name=\"First\" type=\"xs:string\"/>";
  const std::string second = "<!-- no component -->";
  helper().addSchema(Fragment(first));
  helper().addSchema(Fragment(""));
  helper().addSchema(Fragment(second));
  parseValid();
  ASSERT_THAT(s_loadings, SizeIs(1));
  EXPECT_EQ(s_loadings.front().text, c_start + base() + first + second + c_end);
}

TEST_F(RequestXmlHelperSetUpContractTest, FragmentAddedTooLateIsNotLoaded) {
  parseValid();
  helper().addSchema(Fragment("<!-- late -->"));
  parseValid();
  EXPECT_THAT(s_loadings, SizeIs(1));
}

TEST_F(RequestXmlHelperSetUpContractTest, GrammarIsLoadedOncePerInstance) {
  parseValid();
  parseValid();
  EXPECT_THROW(helper().parse(TestSupport::brokenDocument()), Drelvan::DvExceptionNested);
  parseValid();
  EXPECT_THAT(s_loadings, SizeIs(1));
  Drelvan::RequestXmlHelper::reset(true);
  helper().addSchema(Fragment("<!-- of the second life -->"));
  parseValid();
  ASSERT_THAT(s_loadings, SizeIs(2));
  EXPECT_EQ(s_loadings.back().text, c_start + base() + "<!-- of the second life -->" + c_end);
}

TEST_F(RequestXmlHelperSetUpContractTest, GrammarIsAnXmlSchemaFromMemoryToBeCached) {
  parseValid();
  ASSERT_THAT(s_loadings, SizeIs(1));
  EXPECT_EQ(s_loadings.front().systemId, "");
  EXPECT_EQ(s_loadings.front().type, Grammar::SchemaGrammarType);
  EXPECT_TRUE(s_loadings.front().toCache);
}

TEST_F(RequestXmlHelperSetUpContractTest, ParserIsConfiguredBeforeTheGrammarIsLoaded) {
  parseValid();
  ASSERT_THAT(s_loadings, SizeIs(1));
  const Loading& loading = s_loadings.front();
  EXPECT_TRUE(loading.doSchema);
  EXPECT_TRUE(loading.doNamespaces);
  EXPECT_TRUE(loading.fullChecking);
  EXPECT_FALSE(loading.includeIgnorableWhitespace);
  EXPECT_TRUE(loading.usesCachedGrammar);
  EXPECT_EQ(loading.scheme, XercesDOMParser::Val_Always);
  EXPECT_FALSE(loading.hasErrorHandler) << "problems of the grammar are not heard";
}

TEST_F(RequestXmlHelperSetUpContractTest, GrammarIsLoadedBetweenTheEntriesOfTheSetUp) {
  helper();
  TestSupport::RecordingLog::clear();
  bool initialized = true;
  std::vector<Entry> before;
  s_beforeLoading = [&] {
    before = takeEntries();
    initialized = helper().isParserInitialized();
  };
  const TestSupport::ScriptedSource source(TestSupport::requestPackage().text());
  const Document document(helper().parse(source, true));
  EXPECT_THAT(before, ElementsAre(Entry{"TRACE", Signature::c_initParser, "Initializing parser..."}));
  EXPECT_FALSE(initialized);
  EXPECT_THAT(takeEntries(), ElementsAre(Entry{"TRACE", Signature::c_initParser, "Parser initialized."}));
}

/// A failing first parse, the state it leaves, and the next parse.
template <typename Exception>
void expectPassesThrough(const std::function<void()>& throwIt) {
  Drelvan::RequestXmlHelper::reset(true);
  Drelvan::RequestXmlHelper& helper = Drelvan::RequestXmlHelper::getInstance();
  helper.addSchema(Fragment("<xs:element name=\"Kept\" type=\"xs:string\"/>"));
  TestSupport::RecordingLog::clear();
  s_loadings.clear();
  s_beforeLoading = throwIt;
  std::string text = TestSupport::rootElement("Kept", "text").text();
  const TestSupport::ScriptedSource source(text);
  EXPECT_THROW(helper.parse(text), Exception);
  EXPECT_THROW(helper.parse(text.data()), Exception);
  EXPECT_THROW(helper.parse(source, true), Exception);
  EXPECT_FALSE(helper.isParserInitialized());
  const Entry initializing = {"TRACE", Signature::c_initParser, "Initializing parser..."};
  EXPECT_THAT(takeEntries(), ElementsAre(Entry{"TRACE", Signature::c_parseString, "Parser input:\n" + text},
                                         initializing, initializing, initializing));
  s_beforeLoading = nullptr;
  const Document document(helper.parse(text));
  EXPECT_TRUE(helper.isParserInitialized());
  ASSERT_THAT(s_loadings, SizeIs(4));
  EXPECT_EQ(s_loadings.back().text, s_loadings.front().text) << "the same fragments";
  EXPECT_EQ(TestSupport::rootName(document), "Kept");
}

TEST_F(RequestXmlHelperSetUpContractTest, ExceptionsOfLoadingPassThroughAndTheNextParseTriesAgain) {
  expectPassesThrough<xercesc_3_1::XMLException>([] {
    throw xercesc_3_1::IOException(__FILE__, __LINE__, xercesc_3_1::XMLExcepts::File_CouldNotReadFromFile,
                                   xercesc_3_1::XMLPlatformUtils::fgMemoryManager);
  });
  expectPassesThrough<xercesc_3_1::SAXParseException>([] {
    throw xercesc_3_1::SAXParseException(TestSupport::WideText("m").get(), nullptr, TestSupport::WideText("s").get(), 1,
                                         1);
  });
  expectPassesThrough<std::runtime_error>([] { throw std::runtime_error("no memory"); });
  expectPassesThrough<xercesc_3_1::OutOfMemoryException>([] { throw xercesc_3_1::OutOfMemoryException(); });
  expectPassesThrough<int>([] { throw 42; });
}

TEST_F(RequestXmlHelperSetUpContractTest, FailureBeforeTheLoadingIsTriedAgainToo) {
  helper().addSchema(Fragment("<xs:element name=\"Kept\" type=\"xs:string\"/>"));
  throwAtEntry("Initializing parser...", std::runtime_error("log full"));
  EXPECT_THROW(helper().parse(TestSupport::requestPackage().text()), std::runtime_error);
  EXPECT_THAT(s_loadings, SizeIs(0));
  TestSupport::RecordingLog::onEntry(nullptr);
  const Document document(helper().parse(TestSupport::rootElement("Kept").text()));
  EXPECT_THAT(s_loadings, SizeIs(1));
}

}  // namespace
