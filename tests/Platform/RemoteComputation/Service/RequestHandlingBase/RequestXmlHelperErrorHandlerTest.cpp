// The error handler's callbacks, called as the parser calls them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperFixture.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/PlatformUtils.hpp>

namespace {

using Drelvan::RequestXmlHelper;
using RequestXmlHelperTests::Entry;
using RequestXmlHelperTests::takeEntries;
using ::testing::ElementsAre;
using TestSupport::WideText;
using xercesc_3_1::ErrorHandler;
using xercesc_3_1::SAXParseException;
using xercesc_3_1::XMLPlatformUtils;
using Handler = RequestXmlHelper::XmlErrorHandler;
namespace Signature = RequestXmlHelperTests::Signature;

static_assert(std::is_convertible_v<Handler*, ErrorHandler*>, "a public base");
static_assert(std::has_virtual_destructor_v<Handler>);
static_assert(std::is_default_constructible_v<Handler>);
static_assert(std::is_same_v<decltype(&Handler::hasErrors), bool (Handler::*)() const>);
static_assert(std::is_same_v<decltype(&Handler::getErrorMessage), std::string (Handler::*)() const>);

class RequestXmlHelperErrorHandler : public ::testing::Test {
 protected:
  void SetUp() override {
    XMLPlatformUtils::Initialize();
    TestSupport::RecordingLog::clear();
  }
  void TearDown() override {
    TestSupport::RecordingLog::onEntry(nullptr);
    TestSupport::RecordingLog::clear();
    XMLPlatformUtils::Terminate();
  }

  static SAXParseException problem(const std::string& message, const std::string& systemId = "package.xml",
                                   XMLFileLoc line = 7, XMLFileLoc column = 12) {
    return SAXParseException(WideText(message).get(), nullptr, WideText(systemId).get(), line, column);
  }
};

TEST_F(RequestXmlHelperErrorHandler, FreshHandlerHasNoErrors) {
  const Handler handler;
  EXPECT_FALSE(handler.hasErrors());
  EXPECT_EQ(handler.getErrorMessage(), "NO ERROR!");
}

TEST_F(RequestXmlHelperErrorHandler, EveryCallbackLogsAtErrorWithItsOwnStartAndSignature) {
  Handler handler;
  handler.warning(problem("odd"));
  handler.error(problem("wrong", "b.xml", 1, 0));
  handler.fatalError(problem("broken", "'inMemory_pseudoXMLfile'", 0, 3));
  EXPECT_THAT(
      takeEntries(),
      ElementsAre(
          Entry{"ERROR", Signature::c_warning, "XML warning at file package.xml, line 7, char 12\n  Message: odd"},
          Entry{"ERROR", Signature::c_error, "XML error at file b.xml, line 1, char 0\n  Message: wrong"},
          Entry{"ERROR", Signature::c_fatalError,
                "XML fatal error at file 'inMemory_pseudoXMLfile', line 0, char 3\n  Message: broken"}));
}

TEST_F(RequestXmlHelperErrorHandler, EveryCallbackCountsAndKeepsTheLastMessageOnly) {
  using Callback = void (ErrorHandler::*)(const SAXParseException&);
  for (const Callback callback : {&ErrorHandler::warning, &ErrorHandler::error, &ErrorHandler::fatalError}) {
    Handler handler;
    (handler.*callback)(problem("first"));
    EXPECT_TRUE(handler.hasErrors());
    EXPECT_EQ(handler.getErrorMessage(), "first");
    (handler.*callback)(problem("second"));
    EXPECT_TRUE(handler.hasErrors());
    EXPECT_EQ(handler.getErrorMessage(), "second");
  }
}

TEST_F(RequestXmlHelperErrorHandler, MessageIsReturnedAsACopy) {
  Handler handler;
  handler.error(problem("first"));
  const std::string message = handler.getErrorMessage();
  handler.error(problem("second"));
  EXPECT_EQ(message, "first");
}

TEST_F(RequestXmlHelperErrorHandler, EmptyMessageIsAnErrorToo) {
  Handler handler;
  handler.error(problem(""));
  EXPECT_TRUE(handler.hasErrors());
  EXPECT_EQ(handler.getErrorMessage(), "");
  EXPECT_THAT(takeEntries(), ElementsAre(Entry{"ERROR", Signature::c_error,
                                               "XML error at file package.xml, line 7, char 12\n  Message: "}));
}

TEST_F(RequestXmlHelperErrorHandler, ResetForgetsEverything) {
  Handler handler;
  handler.fatalError(problem("broken"));
  TestSupport::RecordingLog::clear();
  handler.resetErrors();
  EXPECT_FALSE(handler.hasErrors());
  EXPECT_EQ(handler.getErrorMessage(), "NO ERROR!");
  EXPECT_TRUE(takeEntries().empty());
  handler.warning(problem("odd"));
  EXPECT_EQ(handler.getErrorMessage(), "odd");
}

TEST_F(RequestXmlHelperErrorHandler, CallbacksAreReachedThroughTheParsersInterface) {
  Handler handler;
  ErrorHandler& interface = handler;
  interface.warning(problem("odd"));
  EXPECT_EQ(handler.getErrorMessage(), "odd");
  interface.resetErrors();
  EXPECT_FALSE(handler.hasErrors());
}

TEST_F(RequestXmlHelperErrorHandler, PositionsAreWrittenInFull) {
  Handler handler;
  handler.error(problem("far", "a", 4294967296U, std::numeric_limits<XMLFileLoc>::max()));
  EXPECT_THAT(takeEntries(),
              ElementsAre(Entry{"ERROR", Signature::c_error,
                                "XML error at file a, line 4294967296, char " +
                                    std::to_string(std::numeric_limits<XMLFileLoc>::max()) + "\n  Message: far"}));
}

TEST_F(RequestXmlHelperErrorHandler, TextsAreUtf8) {
  const std::string text = "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80";
  Handler handler;
  handler.error(problem(text, "/" + text + ".xml"));
  EXPECT_EQ(handler.getErrorMessage(), text);
  EXPECT_THAT(takeEntries(),
              ElementsAre(Entry{"ERROR", Signature::c_error,
                                "XML error at file /" + text + ".xml, line 7, char 12\n  Message: " + text}));
}

TEST_F(RequestXmlHelperErrorHandler, HalfOfASurrogatePairIsLeftOut) {
  const XMLCh cut[] = {u'c', u'u', u't', 0xD83D, 0};
  Handler handler;
  handler.error(SAXParseException(cut, nullptr, WideText("a").get(), 1, 1));
  EXPECT_EQ(handler.getErrorMessage(), "cut");
}

TEST_F(RequestXmlHelperErrorHandler, MissingTextsCountAsEmpty) {
  Handler handler;
  handler.error(SAXParseException(nullptr, nullptr, nullptr, 1, 2));
  EXPECT_TRUE(handler.hasErrors());
  EXPECT_EQ(handler.getErrorMessage(), "");
  EXPECT_THAT(takeEntries(),
              ElementsAre(Entry{"ERROR", Signature::c_error, "XML error at file , line 1, char 2\n  Message: "}));
}

TEST_F(RequestXmlHelperErrorHandler, ProblemCountsEvenWhenItCannotBeLogged) {
  TestSupport::RecordingLog::onEntry([](const auto&) { throw std::runtime_error("no room for the log"); });
  Handler handler;
  EXPECT_THROW(handler.error(problem("wrong")), std::runtime_error);
  EXPECT_TRUE(handler.hasErrors());
}

TEST_F(RequestXmlHelperErrorHandler, HandlersAreIndependent) {
  Handler first;
  const Handler second;
  first.error(problem("wrong"));
  EXPECT_FALSE(second.hasErrors());
}

}  // namespace
