// The life of the instance, the registry of fragments and the set-up of the parser.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperFixture.h>
#include <tests/support/InputSources.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>
#include <xercesc/util/PlatformUtils.hpp>

namespace {

using Drelvan::AbstractRequestSchema;
using Drelvan::BaseRequestHandlingSchema;
using Drelvan::FileName;
using Drelvan::RequestXmlHelper;
using RequestXmlHelperTests::addressOf;
using RequestXmlHelperTests::Entry;
using RequestXmlHelperTests::Fragment;
using RequestXmlHelperTests::HelperTest;
using RequestXmlHelperTests::takeEntries;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using TestSupport::Document;
using TestSupport::requestPackage;
using TestSupport::rootElement;
using xercesc_3_1::DOMDocument;
using xercesc_3_1::XMLPlatformUtils;
namespace Signature = RequestXmlHelperTests::Signature;

static_assert(!std::is_polymorphic_v<RequestXmlHelper>);
static_assert(!std::has_virtual_destructor_v<RequestXmlHelper>);
static_assert(!std::is_default_constructible_v<RequestXmlHelper>, "only getInstance makes one");
static_assert(!std::is_copy_constructible_v<RequestXmlHelper>);
static_assert(!std::is_copy_assignable_v<RequestXmlHelper>);
static_assert(!std::is_move_constructible_v<RequestXmlHelper>);
static_assert(!std::is_move_assignable_v<RequestXmlHelper>);
static_assert(std::is_destructible_v<RequestXmlHelper>, "the destructor is public");

template <typename Signature, typename Operation>
constexpr bool c_is = std::is_same_v<Signature, Operation>;
static_assert(c_is<RequestXmlHelper& (*)(), decltype(&RequestXmlHelper::getInstance)>);
static_assert(c_is<void (*)(bool), decltype(&RequestXmlHelper::reset)>);
static_assert(c_is<void (RequestXmlHelper::*)(const AbstractRequestSchema&), decltype(&RequestXmlHelper::addSchema)>);
static_assert(c_is<bool (RequestXmlHelper::*)() const, decltype(&RequestXmlHelper::isParserInitialized)>);
static_assert(c_is<DOMDocument* (RequestXmlHelper::*)(const FileName&, bool), decltype(&RequestXmlHelper::parseFile)>);
static_assert(c_is<DOMDocument*, decltype(std::declval<RequestXmlHelper&>().parse(
                                     std::declval<const xercesc_3_1::InputSource&>(), true))>);
static_assert(c_is<DOMDocument*, decltype(std::declval<RequestXmlHelper&>().parse(std::declval<char*>()))>);
static_assert(
    c_is<DOMDocument*, decltype(std::declval<RequestXmlHelper&>().parse(std::declval<const std::string&>()))>);

using RequestXmlHelperInstance = HelperTest;

std::string firstCharacters(const AbstractRequestSchema& schema) { return schema.getSchema().substr(0, 500); }

Entry added(const AbstractRequestSchema& schema) {
  return {"TRACE", Signature::c_addSchema, "Added schema:\n" + firstCharacters(schema) + "..."};
}

Entry parserInput(const std::string& text) { return {"TRACE", Signature::c_parseString, "Parser input:\n" + text}; }

const Entry c_initializing = {"TRACE", Signature::c_initParser, "Initializing parser..."};
const Entry c_initialized = {"TRACE", Signature::c_initParser, "Parser initialized."};
const Entry c_instanceReset = {"INFO", Signature::c_reset, "RequestXmlHelper instance reset."};
const Entry c_platformTerminated = {"INFO", Signature::c_reset, "Xerces-c terminated."};
const Entry c_tooLate = {"ERROR", Signature::c_addSchema, "Adding schema after parser has been initialized!"};

Fragment elementFragment(const std::string& name) {
  return Fragment("<xs:element name=\"" + name + "\" type=\"xs:string\"/>\n");
}

bool isDeclared(const std::string& name) {
  try {
    const Document document(RequestXmlHelper::getInstance().parse(rootElement(name, "text").text()));
    return true;
  } catch (const Drelvan::DvExceptionNested&) {
    return false;
  }
}

bool platformIsStarted() { return XMLPlatformUtils::fgMemoryManager != nullptr; }

TEST_F(RequestXmlHelperInstance, UnitHasOneLoggerFromTheStart) {
  int found = 0;
  for (const std::string& name : TestSupport::RecordingLog::loggers()) {
    found += RequestXmlHelperTests::endsWith(name, "/" + RequestXmlHelperTests::c_unit) ? 1 : 0;
  }
  EXPECT_EQ(found, 1);
}

TEST_F(RequestXmlHelperInstance, FirstCallCreatesTheInstanceWithTheBaseFragment) {
  const RequestXmlHelper& instance = RequestXmlHelper::getInstance();
  EXPECT_THAT(
      takeEntries(),
      ElementsAre(
          Entry{"TRACE", Signature::c_constructor, "Creating new RequestXmlHelper instance " + addressOf(&instance)},
          added(BaseRequestHandlingSchema()),
          Entry{"TRACE", Signature::c_getInstance, "Created new RequestXmlHelper instance " + addressOf(&instance)}));
  EXPECT_FALSE(instance.isParserInitialized());
}

TEST_F(RequestXmlHelperInstance, FurtherCallsReturnTheSameInstanceAndLogNothing) {
  const RequestXmlHelper* first = &RequestXmlHelper::getInstance();
  TestSupport::RecordingLog::clear();
  EXPECT_EQ(&RequestXmlHelper::getInstance(), first);
  EXPECT_EQ(&RequestXmlHelper::getInstance(), first);
  EXPECT_THAT(takeEntries(), IsEmpty());
}

TEST_F(RequestXmlHelperInstance, InstanceStaysWhenItsLastEntryFails) {
  throwAtEntry("Created new", std::runtime_error("no room for the log"));
  EXPECT_THROW(RequestXmlHelper::getInstance(), std::runtime_error);
  TestSupport::RecordingLog::onEntry(nullptr);
  TestSupport::RecordingLog::clear();
  RequestXmlHelper::getInstance();
  EXPECT_THAT(takeEntries(), IsEmpty());
  parseValid();
}

TEST_F(RequestXmlHelperInstance, NoInstanceRemainsWhenItsConstructionFails) {
  for (const char* start : {"Creating new", "Added schema"}) {
    SCOPED_TRACE(start);
    throwAtEntry(start, std::runtime_error("no room for the log"));
    EXPECT_THROW(RequestXmlHelper::getInstance(), std::runtime_error);
    TestSupport::RecordingLog::onEntry(nullptr);
    TestSupport::RecordingLog::clear();
    RequestXmlHelper::reset(true);
    EXPECT_THAT(takeEntries(), IsEmpty()) << "there was nothing to reset";
    XMLPlatformUtils::Terminate();
  }
  parseValid();
}

TEST_F(RequestXmlHelperInstance, ResetWithoutInstanceDoesNothing) {
  XMLPlatformUtils::Initialize();
  RequestXmlHelper::reset(false);
  RequestXmlHelper::reset(true);
  EXPECT_THAT(takeEntries(), IsEmpty());
  EXPECT_TRUE(platformIsStarted());
  XMLPlatformUtils::Terminate();
  EXPECT_FALSE(platformIsStarted());
}

TEST_F(RequestXmlHelperInstance, ResetLogsTheEndOfTheInstance) {
  RequestXmlHelper::getInstance();
  TestSupport::RecordingLog::clear();
  RequestXmlHelper::reset(false);
  EXPECT_THAT(takeEntries(), ElementsAre(c_instanceReset));
  EXPECT_TRUE(platformIsStarted());
  XMLPlatformUtils::Terminate();
}

TEST_F(RequestXmlHelperInstance, ResetWithTerminationEndsThePlatformAfterTheInstance) {
  RequestXmlHelper::getInstance();
  EXPECT_TRUE(platformIsStarted());
  TestSupport::RecordingLog::clear();
  RequestXmlHelper::reset(true);
  EXPECT_THAT(takeEntries(), ElementsAre(c_instanceReset, c_platformTerminated));
  EXPECT_FALSE(platformIsStarted());
  RequestXmlHelper::reset(true);
  EXPECT_THAT(takeEntries(), IsEmpty()) << "the second reset finds no instance";
}

TEST_F(RequestXmlHelperInstance, EveryCreationCountsAsOneStartOfThePlatform) {
  RequestXmlHelper::getInstance();
  RequestXmlHelper::reset(false);
  RequestXmlHelper::getInstance();
  RequestXmlHelper::reset(true);
  EXPECT_TRUE(platformIsStarted()) << "started twice, ended once";
  XMLPlatformUtils::Terminate();
  EXPECT_FALSE(platformIsStarted());
}

TEST_F(RequestXmlHelperInstance, InstanceAfterResetStartsAnew) {
  for (const bool terminate : {false, true}) {
    helper().addSchema(elementFragment("Early"));
    EXPECT_TRUE(isDeclared("Early"));
    EXPECT_TRUE(helper().isParserInitialized());
    RequestXmlHelper::reset(terminate);
    TestSupport::RecordingLog::clear();
    EXPECT_FALSE(helper().isParserInitialized());
    EXPECT_THAT(takeEntries(), ElementsAre(::testing::_, added(BaseRequestHandlingSchema()), ::testing::_));
    EXPECT_FALSE(isDeclared("Early"));
    parseValid();
    RequestXmlHelper::reset(terminate);
  }
  XMLPlatformUtils::Terminate();
  XMLPlatformUtils::Terminate();
}

TEST_F(RequestXmlHelperInstance, ParserWorksAfterManyResets) {
  for (int life = 0; life < 20; ++life) {
    parseValid();
    EXPECT_FALSE(isDeclared("Undeclared"));
    RequestXmlHelper::reset(true);
  }
}

TEST_F(RequestXmlHelperInstance, ProcessMayEndWithoutReset) {
  const auto parseAndEnd = [] {
    parseValid();
    EXPECT_FALSE(isDeclared("Undeclared"));
    std::exit(::testing::Test::HasFailure() ? 1 : 0);
  };
  EXPECT_EXIT(parseAndEnd(), ::testing::ExitedWithCode(0), "");
}

TEST_F(RequestXmlHelperInstance, AddedSchemaIsLoggedUpToFiveHundredCharacters) {
  const std::size_t envelope = Fragment("").getSchema().size();
  for (const std::size_t length : {envelope, std::size_t{499}, std::size_t{500}, std::size_t{501}, std::size_t{5000}}) {
    SCOPED_TRACE(length);
    const Fragment schema(std::string(length - envelope, '\n'));
    ASSERT_EQ(schema.getSchema().size(), length);
    helper();
    TestSupport::RecordingLog::clear();
    helper().addSchema(schema);
    const std::vector<Entry> entries = takeEntries();
    ASSERT_THAT(entries, ElementsAre(added(schema)));
    EXPECT_EQ(entries.front().message.size(),
              std::string("Added schema:\n").size() + std::min<std::size_t>(length, 500) + 3);
  }
}

TEST_F(RequestXmlHelperInstance, AddedFragmentsExtendTheGrammar) {
  helper().addSchema(elementFragment("First"));
  helper().addSchema(elementFragment("Second"));
  EXPECT_TRUE(isDeclared("First"));
  EXPECT_TRUE(isDeclared("Second"));
  EXPECT_FALSE(isDeclared("Third"));
  parseValid();
}

TEST_F(RequestXmlHelperInstance, NoSeparatorIsBetweenTwoFragments) {
  helper().addSchema(Fragment("<xs:element name=\"Jo"));
  helper().addSchema(Fragment("ined\" type=\"xs:string\"/>"));
  EXPECT_TRUE(isDeclared("Joined"));
}

TEST_F(RequestXmlHelperInstance, FragmentIsCopiedOnRegistration) {
  {
    Fragment schema = elementFragment("Copied");
    helper().addSchema(schema);
    schema = elementFragment("Replaced");
  }
  EXPECT_TRUE(isDeclared("Copied"));
  EXPECT_FALSE(isDeclared("Replaced"));
}

TEST_F(RequestXmlHelperInstance, SchemaAfterTheFirstParseIsRefused) {
  helper().addSchema(elementFragment("Early"));
  setUpParser();
  helper().addSchema(elementFragment("Late"));
  EXPECT_THAT(takeEntries(), ElementsAre(c_tooLate));
  EXPECT_FALSE(isDeclared("Late"));
  EXPECT_TRUE(isDeclared("Early"));
}

TEST_F(RequestXmlHelperInstance, SchemaAfterAFailedFirstParseIsRefusedToo) {
  EXPECT_FALSE(isDeclared("Late"));
  TestSupport::RecordingLog::clear();
  helper().addSchema(elementFragment("Late"));
  EXPECT_THAT(takeEntries(), ElementsAre(c_tooLate));
}

TEST_F(RequestXmlHelperInstance, FirstParseSetsTheParserUp) {
  helper();
  TestSupport::RecordingLog::clear();
  EXPECT_FALSE(helper().isParserInitialized());
  const std::string text = requestPackage().text();
  const Document first(helper().parse(text));
  EXPECT_THAT(takeEntries(), ElementsAre(parserInput(text), c_initializing, c_initialized));
  EXPECT_TRUE(helper().isParserInitialized());
  const Document second(helper().parse(text));
  EXPECT_THAT(takeEntries(), ElementsAre(parserInput(text)));
}

TEST_F(RequestXmlHelperInstance, EveryParseOperationSetsTheParserUp) {
  helper();
  TestSupport::RecordingLog::clear();
  std::string text = requestPackage().text();
  const Document fromBuffer(helper().parse(text.data()));
  EXPECT_THAT(takeEntries(), ElementsAre(c_initializing, c_initialized));
  RequestXmlHelper::reset(false);
  helper();
  TestSupport::RecordingLog::clear();
  const TestSupport::ScriptedSource source(text);
  const Document fromSource(helper().parse(source, false));
  EXPECT_THAT(takeEntries(), ElementsAre(c_initializing, c_initialized));
  EXPECT_TRUE(helper().isParserInitialized());
}

TEST_F(RequestXmlHelperInstance, FailedSetUpPassesThroughAndIsTriedAgain) {
  helper();
  TestSupport::RecordingLog::clear();
  throwAtEntry("Initializing parser...", std::runtime_error("no room for the log"));
  std::string text = requestPackage().text();
  const TestSupport::ScriptedSource source(text);
  EXPECT_THROW(helper().parse(text), std::runtime_error);
  EXPECT_THAT(takeEntries(), ElementsAre(parserInput(text))) << "no entry tells of a failure outside the parse";
  EXPECT_THROW(helper().parse(text.data()), std::runtime_error);
  EXPECT_THROW(helper().parse(source, true), std::runtime_error);
  EXPECT_THAT(takeEntries(), IsEmpty());
  EXPECT_FALSE(helper().isParserInitialized());

  TestSupport::RecordingLog::onEntry(nullptr);
  helper().addSchema(elementFragment("Registered"));
  EXPECT_THAT(takeEntries(), ElementsAre(added(elementFragment("Registered"))));
  const Document document(helper().parse(text));
  EXPECT_THAT(takeEntries(), ElementsAre(parserInput(text), c_initializing, c_initialized));
  EXPECT_TRUE(isDeclared("Registered"));
}

TEST_F(RequestXmlHelperInstance, FailedSetUpWithTheParsesOwnExceptionIsLoggedByTheOverloads) {
  helper();
  TestSupport::RecordingLog::clear();
  throwAtEntry("Initializing parser...", Drelvan::DvExceptionNested("log full", "Logging", "f", "file", 1));
  std::string text = requestPackage().text();
  const TestSupport::ScriptedSource source(text);
  const Entry inputString = {"TRACE", Signature::c_parseBuffer, "Input string:\n" + text};
  try {
    helper().parse(text);
    ADD_FAILURE() << "no exception";
  } catch (const Drelvan::DvExceptionNested& exception) {
    EXPECT_EQ(exception.getGroup(), "Logging") << "the same exception goes on";
  }
  EXPECT_THAT(takeEntries(),
              ElementsAre(parserInput(text), inputString,
                          Entry{"ERROR", Signature::c_parseString, "Input parsing error: log full\nInput:\n" + text}));
  EXPECT_THROW(helper().parse(text.data()), Drelvan::DvExceptionNested);
  EXPECT_THAT(takeEntries(), ElementsAre(inputString));
  EXPECT_THROW(helper().parse(source, true), Drelvan::DvExceptionNested);
  EXPECT_THAT(takeEntries(), IsEmpty());
}

TEST_F(RequestXmlHelperInstance, SetUpIsCompleteBeforeItsLastEntry) {
  throwAtEntry("Parser initialized.", std::runtime_error("no room for the log"));
  EXPECT_THROW(helper().parse(requestPackage().text()), std::runtime_error);
  TestSupport::RecordingLog::onEntry(nullptr);
  EXPECT_TRUE(helper().isParserInitialized());
  TestSupport::RecordingLog::clear();
  parseValid();
  EXPECT_EQ(takeEntries().size(), 1U) << "the input alone";
}

TEST_F(RequestXmlHelperInstance, FragmentThatIsNotWellFormedMakesEveryParseFail) {
  helper();
  TestSupport::RecordingLog::clear();
  helper().addSchema(Fragment("<xs:element name="));
  EXPECT_EQ(takeEntries().size(), 1U) << "the fragment is not checked when it is registered";
  EXPECT_ANY_THROW(helper().parse(requestPackage().text()));
  EXPECT_ANY_THROW(helper().parse(requestPackage().text()));
  RequestXmlHelper::reset(true);
  parseValid();
}

TEST_F(RequestXmlHelperInstance, FragmentWithAnUnknownTypeLeavesTheRestOfTheGrammar) {
  helper().addSchema(Fragment("<xs:element name=\"Odd\" type=\"dvrq:Unknown\"/>"));
  helper().addSchema(elementFragment("Sound"));
  TestSupport::RecordingLog::clear();
  parseValid();
  for (const Entry& entry : takeEntries()) {
    EXPECT_EQ(entry.level, "TRACE") << "problems of the grammar are not heard: " << entry;
  }
  EXPECT_TRUE(isDeclared("Sound"));
}

}  // namespace
