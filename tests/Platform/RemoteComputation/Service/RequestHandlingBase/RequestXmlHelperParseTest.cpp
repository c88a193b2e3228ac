// The parse operations: documents, failures, and what each leaves in the log.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/PackageErrors.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperFixture.h>
#include <tests/support/InputSources.h>

#include <cstring>
#include <exception>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/util/IOException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/RuntimeException.hpp>

namespace {

using Drelvan::DvExceptionNested;
using Drelvan::RequestXmlHelper;
using RequestXmlHelperTests::Entry;
using RequestXmlHelperTests::expectParseFailure;
using RequestXmlHelperTests::Fragment;
using RequestXmlHelperTests::HelperTest;
using RequestXmlHelperTests::messageOf;
using RequestXmlHelperTests::reportedMessages;
using RequestXmlHelperTests::takeEntries;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;
using TestSupport::attribute;
using TestSupport::brokenDocument;
using TestSupport::Document;
using TestSupport::NoStreamSource;
using TestSupport::replyPackage;
using TestSupport::requestPackage;
using TestSupport::rootElement;
using TestSupport::rootName;
using TestSupport::ScriptedSource;
using TestSupport::WideText;
using xercesc_3_1::DOMDocument;
namespace Signature = RequestXmlHelperTests::Signature;

const std::string c_errors = "Errors occurred while parsing input: ";

/// Well-formed, and against the grammar in one place, which the parser reports once.
std::string wrongDocument() { return requestPackage().without("requestClientId").text(); }

Entry parserInput(const std::string& text) { return {"TRACE", Signature::c_parseString, "Parser input:\n" + text}; }
Entry inputString(const std::string& text) { return {"TRACE", Signature::c_parseBuffer, "Input string:\n" + text}; }
Entry failure(const std::string& message) { return {"DEBUG", Signature::c_parseSource, message}; }
Entry inputError(const std::string& message, const std::string& text) {
  return {"ERROR", Signature::c_parseString, "Input parsing error: " + message + "\nInput:\n" + text};
}

class RequestXmlHelperParse : public HelperTest {
 protected:
  void SetUp() override {
    HelperTest::SetUp();
    setUpParser();
  }

  /// The parser validates what is to be validated, and nothing else.
  static void expectUsable() {
    TestSupport::RecordingLog::onEntry(nullptr);
    parseValid();
    EXPECT_THROW(helper().parse(wrongDocument()), DvExceptionNested);
    const ScriptedSource wrong(wrongDocument());
    EXPECT_THROW(helper().parse(wrong, true), DvExceptionNested);
    const Document unvalidated(helper().parse(wrong, false));
    EXPECT_EQ(rootName(unvalidated), "DV_RequestPackage");
    TestSupport::RecordingLog::clear();
  }
};

// --- Documents ---------------------------------------------------------------------------------------------------

TEST_F(RequestXmlHelperParse, StringYieldsADocumentAndLogsItsInput) {
  const std::string text = replyPackage().with("serial", "42").text();
  const Document document(helper().parse(text));
  EXPECT_EQ(rootName(document), "DV_ReplyPackage");
  EXPECT_EQ(attribute(document->getDocumentElement(), "serial"), "42");
  EXPECT_THAT(takeEntries(), ElementsAre(parserInput(text)));
}

TEST_F(RequestXmlHelperParse, BufferYieldsADocumentLogsNothingAndIsNotChanged) {
  const std::string text = requestPackage().text();
  std::string buffer(text);
  const Document document(helper().parse(buffer.data()));
  EXPECT_EQ(rootName(document), "DV_RequestPackage");
  EXPECT_EQ(buffer, text);
  EXPECT_THAT(takeEntries(), IsEmpty());
}

TEST_F(RequestXmlHelperParse, SourceYieldsADocumentAndLogsNothing) {
  const ScriptedSource source(requestPackage().text());
  for (const bool validate : {false, true}) {
    const Document document(helper().parse(source, validate));
    EXPECT_EQ(rootName(document), "DV_RequestPackage");
  }
  EXPECT_THAT(takeEntries(), IsEmpty());
}

TEST_F(RequestXmlHelperParse, DocumentsAreIndependentAndTheCallers) {
  Document first(helper().parse(requestPackage().with("serial", "1").text()));
  const Document second(helper().parse(requestPackage().with("serial", "2").text()));
  EXPECT_NE(first.get(), second.get());
  EXPECT_THROW(helper().parse(wrongDocument()), DvExceptionNested);
  EXPECT_EQ(attribute(first->getDocumentElement(), "serial"), "1");
  first->getDocumentElement()->setAttribute(WideText("serial").get(), WideText("changed").get());
  first.reset();
  EXPECT_EQ(attribute(second->getDocumentElement(), "serial"), "2");
  const Document third(helper().parse(requestPackage().with("serial", "3").text()));
  EXPECT_EQ(attribute(second->getDocumentElement(), "serial"), "2");
  EXPECT_EQ(attribute(third->getDocumentElement(), "serial"), "3");
}

TEST_F(RequestXmlHelperParse, DocumentsOutliveTheInstance) {
  const Document document(helper().parse(requestPackage().text()));
  RequestXmlHelper::reset(false);
  EXPECT_EQ(rootName(document), "DV_RequestPackage");
  helper();
}

TEST_F(RequestXmlHelperParse, DeclaredEncodingsAndByteOrderMarksAreUnderstood) {
  const std::string package = requestPackage().with("origin", "\xC3\xA4").text();
  const std::string latin = requestPackage().with("origin", "\xE4").text();
  for (const std::string& text :
       {package, "\xEF\xBB\xBF" + package, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + package,
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + latin}) {
    const Document document(helper().parse(text));
    EXPECT_EQ(attribute(document->getDocumentElement(), "origin"), "\xC3\xA4");
  }
}

TEST_F(RequestXmlHelperParse, TextEndsAtItsFirstNul) {
  const std::string text = requestPackage().text() + std::string(1, '\0') + "<<<";
  const Document fromString(helper().parse(text));
  EXPECT_EQ(rootName(fromString), "DV_RequestPackage");
  EXPECT_THAT(takeEntries(), ElementsAre(parserInput(text))) << "the log shows all of it";
  std::string buffer(text);
  const Document fromBuffer(helper().parse(buffer.data()));
  EXPECT_EQ(rootName(fromBuffer), "DV_RequestPackage");
}

TEST_F(RequestXmlHelperParse, LongDocumentsAreParsedWhole) {
  const std::size_t count = 20000;
  std::string content;
  for (std::size_t index = 0; index < count; ++index) {
    content += TestSupport::request().text();
  }
  const Document document(helper().parse(rootElement("DV_RequestScript", content).text()));
  EXPECT_EQ(document->getDocumentElement()->getChildElementCount(), count);
}

// --- Validation --------------------------------------------------------------------------------------------------

TEST_F(RequestXmlHelperParse, WithoutValidationTheGrammarDoesNotMatter) {
  for (const std::string& text : {wrongDocument(), TestSupport::undeclaredDocument(), requestPackage("text").text()}) {
    SCOPED_TRACE(text);
    const ScriptedSource source(text);
    const Document document(helper().parse(source, false));
    EXPECT_NE(document->getDocumentElement(), nullptr);
    EXPECT_THAT(takeEntries(), IsEmpty());
    std::string buffer(text);
    EXPECT_THROW(helper().parse(source, true), DvExceptionNested);
    EXPECT_THROW(helper().parse(buffer.data()), DvExceptionNested);
    EXPECT_THROW(helper().parse(text), DvExceptionNested);
    takeEntries();
  }
}

TEST_F(RequestXmlHelperParse, WithoutValidationTheFormStillMatters) {
  const ScriptedSource source(brokenDocument());
  EXPECT_THROW(helper().parse(source, false), DvExceptionNested);
  const std::vector<Entry> entries = takeEntries();
  ASSERT_THAT(entries, SizeIs(2));
  EXPECT_EQ(entries[0].signature, Signature::c_fatalError);
  EXPECT_EQ(entries[1], failure(c_errors + messageOf(entries[0].message)));
}

TEST_F(RequestXmlHelperParse, ValidationOfOneParseDoesNotAffectTheNext) {
  const ScriptedSource wrong(wrongDocument());
  const ScriptedSource broken(brokenDocument());
  for (const bool validate : {false, true, false, false, true, true}) {
    EXPECT_THROW(helper().parse(broken, validate), DvExceptionNested);
    expectUsable();
    if (validate) {
      EXPECT_THROW(helper().parse(wrong, validate), DvExceptionNested);
    } else {
      EXPECT_NO_THROW(Document(helper().parse(wrong, validate)));
    }
    expectUsable();
  }
}

TEST_F(RequestXmlHelperParse, FirstParseMayGoWithoutValidation) {
  RequestXmlHelper::reset(true);
  helper();
  {
    const ScriptedSource wrong(wrongDocument());
    const Document document(helper().parse(wrong, false));
    EXPECT_EQ(rootName(document), "DV_RequestPackage");
  }
  expectUsable();
}

// --- Reported problems -------------------------------------------------------------------------------------------

TEST_F(RequestXmlHelperParse, FailingStringLeavesFiveEntriesInOrder) {
  const std::string text = wrongDocument();
  std::string caught;
  try {
    helper().parse(text);
  } catch (const DvExceptionNested& exception) {
    caught = exception.what();
  }
  const std::vector<Entry> entries = takeEntries();
  ASSERT_THAT(entries, SizeIs(5));
  EXPECT_EQ(entries[1].level, "ERROR");
  EXPECT_EQ(entries[1].signature, Signature::c_error);
  EXPECT_THAT(entries[1].message, StartsWith("XML error at file 'inMemory_pseudoXMLfile', line 1, char "));
  EXPECT_THAT(messageOf(entries[1].message), HasSubstr("requestClientId"));
  const std::string message = c_errors + messageOf(entries[1].message);
  EXPECT_EQ(caught, message);
  EXPECT_THAT(entries, ElementsAre(parserInput(text), entries[1], failure(message), inputString(text),
                                   inputError(message, text)));
}

TEST_F(RequestXmlHelperParse, FailingBufferLeavesThreeEntriesInOrder) {
  std::string text = wrongDocument();
  EXPECT_THROW(helper().parse(text.data()), DvExceptionNested);
  EXPECT_EQ(text, wrongDocument());
  const std::vector<Entry> entries = takeEntries();
  ASSERT_THAT(entries, SizeIs(3));
  EXPECT_THAT(entries[0].message, StartsWith("XML error at file 'inMemory_pseudoXMLfile', line 1, char "));
  EXPECT_THAT(entries, ElementsAre(entries[0], failure(c_errors + messageOf(entries[0].message)), inputString(text)));
}

TEST_F(RequestXmlHelperParse, FailingSourceLeavesTwoEntriesInOrder) {
  const ScriptedSource source(wrongDocument(), nullptr, "request.xml");
  EXPECT_THROW(helper().parse(source, true), DvExceptionNested);
  const std::vector<Entry> entries = takeEntries();
  ASSERT_THAT(entries, SizeIs(2));
  EXPECT_EQ(entries[0].signature, Signature::c_error);
  EXPECT_THAT(entries[0].message, StartsWith("XML error at file request.xml, line 1, char "));
  EXPECT_EQ(entries[1], failure(c_errors + messageOf(entries[0].message)));
}

TEST_F(RequestXmlHelperParse, ExceptionNamesItsSourceLocation) {
  const auto parse = [] { return helper().parse(wrongDocument()); };
  std::string message;
  try {
    parse();
  } catch (const DvExceptionNested& exception) {
    message = exception.what();
  }
  const DvExceptionNested exception = expectParseFailure(parse, message);
  EXPECT_THROW(std::rethrow_exception(exception.getNested()), Drelvan::PackageErrors);
}

TEST_F(RequestXmlHelperParse, SeveralErrorsAreAllLoggedAndTheLastIsThrown) {
  const std::string text = requestPackage().without("requestClientId").with("serial", "x").with("clientId", "y").text();
  EXPECT_THROW(helper().parse(text), DvExceptionNested);
  const std::vector<Entry> entries = takeEntries();
  const std::vector<std::string> messages = reportedMessages(entries);
  ASSERT_THAT(messages, SizeIs(::testing::Ge(3)));
  EXPECT_NE(messages.front(), messages.back());
  ASSERT_THAT(entries, SizeIs(messages.size() + 4));
  const std::string message = c_errors + messages.back();
  EXPECT_EQ(entries[messages.size() + 1], failure(message));
  EXPECT_EQ(entries.back(), inputError(message, text));
  for (std::size_t index = 1; index <= messages.size(); ++index) {
    EXPECT_EQ(entries[index].signature, Signature::c_error);
    EXPECT_EQ(entries[index].level, "ERROR");
  }
}

TEST_F(RequestXmlHelperParse, PositionsAreThoseOfTheText) {
  const std::string text = requestPackage("\n\n   " + TestSupport::request().with("id", "bad").text() + "\n").text();
  EXPECT_THROW(helper().parse(text), DvExceptionNested);
  const std::vector<Entry> entries = takeEntries();
  ASSERT_GE(entries.size(), 2U);
  EXPECT_THAT(entries[1].message,
              StartsWith("XML error at file 'inMemory_pseudoXMLfile', line 3, char 23\n  Message: "));
}

TEST_F(RequestXmlHelperParse, BrokenTextIsAFatalErrorOfTheInput) {
  const std::vector<std::string> texts = {brokenDocument(), "", "text", "<a></b>", "<a>", "<a/><b/>", "<a b=c/>"};
  for (const std::string& text : texts) {
    SCOPED_TRACE(text);
    EXPECT_THROW(helper().parse(text), DvExceptionNested);
    const std::vector<Entry> entries = takeEntries();
    ASSERT_THAT(entries, SizeIs(::testing::Ge(5)));
    const Entry& last = entries[entries.size() - 4];
    EXPECT_EQ(last.signature, Signature::c_fatalError);
    EXPECT_THAT(last.message, StartsWith("XML fatal error at file 'inMemory_pseudoXMLfile', line 1, char "));
    const std::string message = c_errors + messageOf(last.message);
    EXPECT_EQ(entries[entries.size() - 3], failure(message));
    EXPECT_EQ(entries[entries.size() - 2], inputString(text));
    EXPECT_EQ(entries[entries.size() - 1], inputError(message, text));
  }
  expectUsable();
}

TEST_F(RequestXmlHelperParse, NullBufferCountsAsEmpty) {
  EXPECT_THROW(helper().parse(static_cast<char*>(nullptr)), DvExceptionNested);
  const std::vector<Entry> entries = takeEntries();
  ASSERT_THAT(entries, SizeIs(3));
  EXPECT_EQ(entries[0].signature, Signature::c_fatalError);
  EXPECT_EQ(entries[2], inputString(""));
  expectUsable();
}

TEST_F(RequestXmlHelperParse, FailingTextWithANulIsLoggedWhole) {
  const std::string start = wrongDocument();
  const std::string text = start + std::string(1, '\0') + "rest";
  EXPECT_THROW(helper().parse(text), DvExceptionNested);
  const std::vector<Entry> entries = takeEntries();
  ASSERT_THAT(entries, SizeIs(5));
  EXPECT_EQ(entries[0], parserInput(text));
  EXPECT_EQ(entries[3], inputString(start)) << "the buffer ends at the NUL";
  EXPECT_EQ(entries[4], inputError(c_errors + messageOf(entries[1].message), text));
}

TEST_F(RequestXmlHelperParse, WarningAloneFailsTheParse) {
  const std::string text = "<?xml version=\"1.0\" encoding=\"UTF-16\"?>" + requestPackage().text();
  EXPECT_THROW(helper().parse(text), DvExceptionNested);
  const std::vector<Entry> entries = takeEntries();
  ASSERT_THAT(entries, SizeIs(5));
  EXPECT_EQ(entries[1].level, "ERROR");
  EXPECT_EQ(entries[1].signature, Signature::c_warning);
  EXPECT_THAT(entries[1].message, StartsWith("XML warning at file 'inMemory_pseudoXMLfile', line 1, char "));
  EXPECT_EQ(entries[2], failure(c_errors + messageOf(entries[1].message)));
  expectUsable();
}

TEST_F(RequestXmlHelperParse, WarningFailsAnUnvalidatedParseToo) {
  const ScriptedSource source("<?xml version=\"1.0\" encoding=\"UTF-16\"?>" + requestPackage().text());
  EXPECT_THROW(helper().parse(source, false), DvExceptionNested);
  ASSERT_THAT(reportedMessages(takeEntries()), SizeIs(1));
}

TEST_F(RequestXmlHelperParse, ErrorAfterAWarningIsTheLastProblem) {
  const std::string text = "<?xml version=\"1.0\" encoding=\"UTF-16\"?>" + wrongDocument();
  EXPECT_THROW(helper().parse(text), DvExceptionNested);
  const std::vector<Entry> entries = takeEntries();
  ASSERT_THAT(entries, SizeIs(6));
  EXPECT_EQ(entries[1].signature, Signature::c_warning);
  EXPECT_EQ(entries[2].signature, Signature::c_error);
  EXPECT_EQ(entries[3], failure(c_errors + messageOf(entries[2].message)));
}

TEST_F(RequestXmlHelperParse, ErrorsOfOneParseDoNotAffectTheNext) {
  EXPECT_THROW(helper().parse(wrongDocument()), DvExceptionNested);
  TestSupport::RecordingLog::clear();
  parseValid();
  EXPECT_THAT(takeEntries(), SizeIs(1));
  EXPECT_THROW(helper().parse(brokenDocument()), DvExceptionNested);
  EXPECT_THAT(reportedMessages(takeEntries()), SizeIs(1));
}

TEST_F(RequestXmlHelperParse, MessagesAreUtf8) {
  const std::string name = "\xC3\xA4\xE2\x82\xAC";
  const std::string text = requestPackage().with(name, "value").text();
  EXPECT_THROW(helper().parse(text), DvExceptionNested);
  const std::vector<Entry> entries = takeEntries();
  ASSERT_THAT(reportedMessages(entries), SizeIs(1));
  EXPECT_THAT(reportedMessages(entries).front(), HasSubstr(name));
  EXPECT_THAT(entries.back().message, HasSubstr(reportedMessages(entries).front()));
}

TEST_F(RequestXmlHelperParse, ManyFailuresInARowLeaveTheParserUsable) {
  for (int round = 0; round < 200; ++round) {
    EXPECT_THROW(helper().parse(round % 2 == 0 ? wrongDocument() : brokenDocument()), DvExceptionNested);
  }
  expectUsable();
}

// --- Exceptions of the source and of the log ---------------------------------------------------------------------

struct Thrown {
  const char* what;
  std::function<void()> throwIt;
  std::string logText;
  std::string message;
};

void throwDomException() {
  throw xercesc_3_1::DOMException(xercesc_3_1::DOMException::HIERARCHY_REQUEST_ERR, 0,
                                  xercesc_3_1::XMLPlatformUtils::fgMemoryManager);
}

std::string domMessage() {
  try {
    throwDomException();
  } catch (const xercesc_3_1::DOMException& exception) {
    return TestSupport::toUtf8(exception.getMessage());
  }
  return "";
}

std::vector<Thrown> exceptionsOfAStream() {
  const std::string unknown = "Unknown exception parsing input.";
  return {
      {"DOMException", throwDomException, "DOMException parsing input: " + domMessage(), "DOMException parsing input"},
      {"std::exception", [] { throw std::runtime_error("disk on fire"); }, "Exception parsing input: disk on fire",
       "DOMException parsing input"},
      {"DvExceptionNested", [] { throw DvExceptionNested("nested", "g", "f", "file", 1); },
       "Exception parsing input: nested", "DOMException parsing input"},
      {"int", [] { throw 42; }, unknown, unknown},
      {"OutOfMemoryException", [] { throw xercesc_3_1::OutOfMemoryException(); }, unknown, unknown},
      {"SAXException", [] { throw xercesc_3_1::SAXException("sax"); }, unknown, unknown},
  };
}

class RequestXmlHelperStreamException : public RequestXmlHelperParse {
 protected:
  void expectReported(const Thrown& thrown, const xercesc_3_1::InputSource& source, bool validate) {
    const DvExceptionNested exception =
        expectParseFailure([&] { return helper().parse(source, validate); }, thrown.message);
    EXPECT_NE(exception.getNested(), nullptr) << "the cause is kept";
    EXPECT_THAT(takeEntries(), ElementsAre(failure(thrown.logText)));
    expectUsable();
  }
};

TEST_F(RequestXmlHelperStreamException, IsReportedWhenTheStreamIsOpened) {
  for (const Thrown& thrown : exceptionsOfAStream()) {
    SCOPED_TRACE(thrown.what);
    for (const bool validate : {false, true}) {
      expectReported(thrown, NoStreamSource(thrown.throwIt), validate);
    }
  }
}

TEST_F(RequestXmlHelperStreamException, IsReportedWhenNothingHasBeenRead) {
  for (const Thrown& thrown : exceptionsOfAStream()) {
    SCOPED_TRACE(thrown.what);
    for (const bool validate : {false, true}) {
      expectReported(thrown, ScriptedSource("", thrown.throwIt), validate);
    }
  }
}

TEST_F(RequestXmlHelperStreamException, IsReportedWhenTheSourceForcesAnEncoding) {
  for (const Thrown& thrown : exceptionsOfAStream()) {
    SCOPED_TRACE(thrown.what);
    ScriptedSource source("", thrown.throwIt);
    source.setEncoding(WideText("ISO-8859-1").get());
    expectReported(thrown, source, true);
  }
}

TEST_F(RequestXmlHelperStreamException, IsReportedInTheMiddleOfADocument) {
  const std::string start = rootElement("DV_RequestScript", TestSupport::request().text() + "<").text();
  for (const Thrown& thrown : exceptionsOfAStream()) {
    SCOPED_TRACE(thrown.what);
    for (const bool validate : {false, true}) {
      expectReported(thrown, ScriptedSource(start.substr(0, start.rfind("</")), thrown.throwIt), validate);
    }
  }
}

TEST_F(RequestXmlHelperStreamException, IsReportedAfterManyElements) {
  std::string content;
  for (int index = 0; index < 5000; ++index) {
    content += TestSupport::request().text();
  }
  const std::string text = rootElement("DV_RequestScript", content).text();
  for (const Thrown& thrown : exceptionsOfAStream()) {
    SCOPED_TRACE(thrown.what);
    expectReported(thrown, ScriptedSource(text.substr(0, text.rfind("</")), thrown.throwIt), true);
  }
}

TEST_F(RequestXmlHelperStreamException, IsReportedOnTheFirstParse) {
  for (const Thrown& thrown : exceptionsOfAStream()) {
    SCOPED_TRACE(thrown.what);
    RequestXmlHelper::reset(true);
    helper();
    TestSupport::RecordingLog::clear();
    {
      const ScriptedSource source("", thrown.throwIt);
      expectParseFailure([&] { return helper().parse(source, true); }, thrown.message);
    }
    EXPECT_TRUE(helper().isParserInitialized());
    expectUsable();
  }
}

TEST_F(RequestXmlHelperStreamException, OfTheParserLibraryIsReportedAsAProblemOfTheDocument) {
  const xercesc_3_1::IOException thrown(__FILE__, __LINE__, xercesc_3_1::XMLExcepts::File_CouldNotReadFromFile,
                                        xercesc_3_1::XMLPlatformUtils::fgMemoryManager);
  for (const bool validate : {false, true}) {
    const ScriptedSource source(
        "<DV_Request", [&] { throw thrown; }, "device.xml");
    EXPECT_THROW(helper().parse(source, validate), DvExceptionNested);
    const std::vector<Entry> entries = takeEntries();
    ASSERT_THAT(entries, SizeIs(2));
    EXPECT_EQ(entries[0].signature, Signature::c_fatalError);
    EXPECT_THAT(entries[0].message, StartsWith("XML fatal error at file device.xml, line 1, char "));
    EXPECT_THAT(messageOf(entries[0].message), HasSubstr(TestSupport::toUtf8(thrown.getMessage())));
    EXPECT_EQ(entries[1], failure(c_errors + messageOf(entries[0].message)));
    expectUsable();
  }
}

TEST_F(RequestXmlHelperStreamException, SourceWithoutAStreamIsReportedAsAProblem) {
  NoStreamSource source;
  EXPECT_THROW(helper().parse(source, true), DvExceptionNested);
  std::vector<Entry> entries = takeEntries();
  ASSERT_THAT(entries, SizeIs(2));
  EXPECT_EQ(entries[0].signature, Signature::c_fatalError);
  source.setIssueFatalErrorIfNotFound(false);
  EXPECT_THROW(helper().parse(source, true), DvExceptionNested);
  entries = takeEntries();
  ASSERT_THAT(entries, SizeIs(2));
  EXPECT_EQ(entries[0].signature, Signature::c_warning) << "a warning alone fails the parse, too";
  EXPECT_EQ(entries[1], failure(c_errors + messageOf(entries[0].message)));
  expectUsable();
}

TEST_F(RequestXmlHelperParse, ParserLibraryExceptionOutOfTheParserIsReported) {
  const xercesc_3_1::RuntimeException thrown(__FILE__, __LINE__, xercesc_3_1::XMLExcepts::Gen_ParseInProgress,
                                             xercesc_3_1::XMLPlatformUtils::fgMemoryManager);
  const std::string text = TestSupport::toUtf8(thrown.getMessage());
  ASSERT_NE(text, "");
  for (const bool validate : {false, true}) {
    throwAtEntry("XML fatal error", thrown);
    const ScriptedSource source(brokenDocument());
    const DvExceptionNested exception =
        expectParseFailure([&] { return helper().parse(source, validate); }, "XMLException parsing input");
    EXPECT_NE(exception.getNested(), nullptr);
    EXPECT_THAT(takeEntries(), ElementsAre(failure("XMLException parsing input: " + text)));
    expectUsable();
  }
}

TEST_F(RequestXmlHelperParse, ExceptionOfAStringParseIsLoggedByEveryLayer) {
  throwAtEntry("XML error", std::runtime_error("log full"));
  const std::string text = wrongDocument();
  expectParseFailure([&] { return helper().parse(text); }, "DOMException parsing input");
  EXPECT_THAT(takeEntries(), ElementsAre(parserInput(text), failure("Exception parsing input: log full"),
                                         inputString(text), inputError("DOMException parsing input", text)));
  expectUsable();
}

TEST_F(RequestXmlHelperParse, ExceptionOfTheFailureEntryPassesThroughUnlogged) {
  throwAtEntry("Errors occurred", std::runtime_error("log full"));
  const std::string text = wrongDocument();
  EXPECT_THROW(helper().parse(text), std::runtime_error);
  const std::vector<Entry> entries = takeEntries();
  ASSERT_THAT(entries, SizeIs(2));
  EXPECT_EQ(entries[0], parserInput(text));
  EXPECT_EQ(entries[1].signature, Signature::c_error);
  expectUsable();
}

TEST_F(RequestXmlHelperParse, ExceptionOfTheEntryOfACaughtExceptionPassesThrough) {
  throwAtEntry("Unknown exception", std::runtime_error("log full"));
  const ScriptedSource source("", [] { throw 42; });
  EXPECT_THROW(helper().parse(source, false), std::runtime_error);
  EXPECT_THAT(takeEntries(), IsEmpty());
  expectUsable();
}

TEST_F(RequestXmlHelperParse, ExceptionOfTheInputEntryStopsTheParse) {
  throwAtEntry("Parser input:", std::runtime_error("log full"));
  EXPECT_THROW(helper().parse(requestPackage().text()), std::runtime_error);
  EXPECT_THAT(takeEntries(), IsEmpty());
  expectUsable();
}

TEST_F(RequestXmlHelperParse, FailureOfTheParserLibraryKeepsItsTextBeyondThePlatform) {
  std::optional<DvExceptionNested> kept;
  std::string text;
  try {
    helper().parse(std::string("<?xml version='1.2'?><a/>"));
  } catch (const DvExceptionNested& exception) {
    kept.emplace(exception);
    text = takeEntries().at(1).message;
    RequestXmlHelper::reset(true);
  }
  ASSERT_TRUE(kept.has_value());
  EXPECT_STREQ(kept->what(), "DOMException parsing input");
  ASSERT_THAT(text, StartsWith("DOMException parsing input: "));
  EXPECT_THROW(std::rethrow_exception(kept->getNested()), std::runtime_error);
  EXPECT_EQ(kept->describe().substr(kept->describe().find('\n') + 1), text.substr(text.find(": ") + 2));
}

TEST_F(RequestXmlHelperParse, CaughtExceptionIsTheOneThatWasThrown) {
  const ScriptedSource source("", [] { throw std::out_of_range("kept"); });
  try {
    helper().parse(source, true);
    ADD_FAILURE() << "no exception";
  } catch (const DvExceptionNested& exception) {
    EXPECT_THROW(std::rethrow_exception(exception.getNested()), std::out_of_range);
    EXPECT_THAT(exception.describe(), HasSubstr("kept"));
  }
}

}  // namespace
