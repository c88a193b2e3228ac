// Inputs that are odd as texts: encodings, versions, NUL bytes, lengths, depths.

#include <pthread.h>
#include <service/GeneralServices.h>
#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperHostileFixture.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNode.hpp>
#include <xercesc/dom/DOMText.hpp>
#include <xercesc/util/TransService.hpp>

namespace {

using RequestXmlHelperTests::c_doctypeRefusal;
using RequestXmlHelperTests::c_sanitized;
using RequestXmlHelperTests::Entry;
using RequestXmlHelperTests::HostileTest;
using RequestXmlHelperTests::Marked;
using RequestXmlHelperTests::numbered;
using RequestXmlHelperTests::repeated;
using RequestXmlHelperTests::reportedMessages;
using RequestXmlHelperTests::takeEntries;
namespace Signature = RequestXmlHelperTests::Signature;

const std::string c_package = TestSupport::requestPackage().text();

std::string declaration(const std::string& encoding) { return "<?xml version='1.0' encoding='" + encoding + "'?>"; }

/// The text in an encoding that Xerces-C knows.
std::string encoded(const std::string& text, const std::string& encoding) {
  const TestSupport::WideText wide(text);
  const xercesc_3_1::TranscodeToStr bytes(wide.get(), encoding.c_str());
  return {reinterpret_cast<const char*>(bytes.str()), static_cast<std::size_t>(bytes.length())};
}

/// A way to write a document of ASCII characters.
struct Encoding {
  std::string name;
  std::string (*write)(const std::string& text);
};

const std::vector<Encoding> c_encodings = {
    {"Utf8WithMark", [](const std::string& text) { return "\xEF\xBB\xBF" + text; }},
    {"Utf16LittleEndian", [](const std::string& text) { return "\xFF\xFE" + encoded(text, "UTF-16LE"); }},
    {"Utf16BigEndian", [](const std::string& text) { return "\xFE\xFF" + encoded(text, "UTF-16BE"); }},
    {"Utf16LittleEndianDeclared",
     [](const std::string& text) { return encoded(declaration("UTF-16") + text, "UTF-16LE"); }},
    {"Utf16BigEndianDeclared",
     [](const std::string& text) { return encoded(declaration("UTF-16") + text, "UTF-16BE"); }},
    {"Ucs4LittleEndian",
     [](const std::string& text) { return encoded(declaration("ISO-10646-UCS-4") + text, "UCS-4LE"); }},
    {"Ucs4BigEndian",
     [](const std::string& text) { return encoded(declaration("ISO-10646-UCS-4") + text, "UCS-4BE"); }},
    {"Ebcdic", [](const std::string& text) { return encoded(declaration("ebcdic-cp-us") + text, "ebcdic-cp-us"); }},
    {"Ebcdic1140", [](const std::string& text) { return encoded(declaration("IBM1140") + text, "IBM1140"); }},
    {"Utf7", [](const std::string& text) { return encoded(declaration("UTF-7") + text, "UTF-7"); }},
    {"Latin1", [](const std::string& text) { return declaration("ISO-8859-1") + text; }},
    {"Ascii", [](const std::string& text) { return declaration("us-ascii") + text; }},
};

class RequestXmlHelperHostileInputs : public HostileTest {};

TEST_F(RequestXmlHelperHostileInputs, EncodingsCarryPackagesAndRefusals) {
  for (const Encoding& encoding : c_encodings) {
    SCOPED_TRACE(encoding.name);
    expectAccepted(encoding.write(c_package), true);
    expectRefused(Marked(encoding.write("<!DOCTYPE r [<!ELEMENT r (#PCDATA)>]><r>hello</r>")), true, c_doctypeRefusal);
    expectRefused(Marked(encoding.write("<undeclared/>")), true, "no declaration found for element 'undeclared'");
  }
}

TEST_F(RequestXmlHelperHostileInputs, WrongDeclarationsAreRefused) {
  expectRefused(
      Marked(declaration("UTF-16") + c_package), true,
      "encoding 'UTF-16' from XML declaration or manually set contradicts the auto-sensed encoding; ignoring");
  expectRefused(Marked(declaration("nonsense") + c_package), true,
                "unable to create converter for 'NONSENSE' encoding");
  for (const std::string name : {"../file", "/etc/passwd", "x/y", "a b", "1"}) {
    expectRefused(Marked(declaration(name) + c_package), true, "invalid XML encoding declaration '" + name + "'");
  }
  expectRefused(Marked(declaration("us-ascii") + "<r>\xE9</r>"), false,
                "char 0xE9 is not representable in 'US-ASCII' encoding");
}

TEST_F(RequestXmlHelperHostileInputs, BytesThatAreNotUtf8AreRefused) {
  for (const std::string bytes : {"\xFF", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82", "\x80"}) {
    EXPECT_THROW(parse("<r>" + bytes + "</r>", false), Drelvan::DvExceptionNested) << testing::PrintToString(bytes);
    EXPECT_FALSE(reportedMessages(takeEntries()).empty());
    parseValid();
    TestSupport::RecordingLog::clear();
  }
}

TEST_F(RequestXmlHelperHostileInputs, VersionOfOneDocumentDoesNotAffectTheNext) {
  const std::string control = "<r>&#1;</r>";
  for (const bool validate : {true, false}) {
    SCOPED_TRACE(validate);
    expectRefused(Marked(control), false, "invalid character reference");
    expectAccepted("<?xml version='1.1'?>" + c_package, validate);
    expectRefused(Marked(control), false, "invalid character reference");
    expectRefused(Marked("<?xml version='1.1'?>" + TestSupport::brokenDocument()), validate, "unexpected end of input");
    expectRefused(Marked(control), false, "invalid character reference");
  }
  expectAccepted("<?xml version='1.1'?>" + control, false);
  expectRefused(Marked(control), false, "invalid character reference");
}

TEST_F(RequestXmlHelperHostileInputs, UnknownVersionIsToldByTheDocumentTree) {
  for (const bool validate : {true, false}) {
    RequestXmlHelperTests::expectParseFailure([&] { return parse("<?xml version='1.2'?>" + c_package, validate); },
                                              "DOMException parsing input");
    const std::vector<Entry> entries = takeEntries();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].level, "DEBUG");
    EXPECT_EQ(entries[0].signature, Signature::c_parseSource);
    EXPECT_EQ(entries[0].message.find("DOMException parsing input: "), 0U) << entries[0];
    expectAccepted(c_package, true);
  }
}

TEST_F(RequestXmlHelperHostileInputs, NulAfterTheRootEndsASource) {
  const std::string tail = std::string(1, '\0') + "<garbage";
  expectAccepted(c_package + tail, true);
  expectAccepted(c_package + tail, false);
  expectAccepted(c_package + " \n" + tail, true);
  EXPECT_THROW(parse(c_package + "x" + tail, true), Drelvan::DvExceptionNested);
}

TEST_F(RequestXmlHelperHostileInputs, NulWithinTheRootIsRefused) {
  const std::string nul(1, '\0');
  for (const std::string& text : {"<r>" + nul + "</r>", "<r" + nul + "/>", "<r a='" + nul + "'/>",
                                  "<!--" + nul + "--><r/>", nul + "<r/>", "<r><![CDATA[" + nul + "]]></r>"}) {
    for (const bool validate : {true, false}) {
      EXPECT_THROW(parse(text, validate), Drelvan::DvExceptionNested) << testing::PrintToString(text);
    }
    parseValid();
    TestSupport::RecordingLog::clear();
  }
}

TEST_F(RequestXmlHelperHostileInputs, NothingBehindAPackageIsTakenForIt) {
  for (const std::string tail : {"<r/>", "x", "<?xml version='1.0'?>", "&amp;", "<![CDATA[]]>", "<!DOCTYPE r>"}) {
    EXPECT_THROW(parse(c_package + tail, true), Drelvan::DvExceptionNested) << tail;
    EXPECT_THROW(parse(c_package + tail, false), Drelvan::DvExceptionNested) << tail;
  }
  TestSupport::RecordingLog::clear();
  expectAccepted(c_package + " \n<!-- comment --><?instruction?>\n", true);
}

TEST_F(RequestXmlHelperHostileInputs, TextOfManyMegabytesIsRefusedOrWhole) {
  const std::size_t size = std::size_t{c_sanitized ? 5U : 50U} << 20U;
  const std::string text(size, 'x');
  const std::string script =
      "<DV_RequestScript xmlns='" + TestSupport::c_targetNamespace + "'>" + text + "</DV_RequestScript>";
  expectRefused(Marked(script), true, "empty content is not valid for content model '(request+)'");
  const TestSupport::Document document(parse("<r>" + text + "</r>", false));
  EXPECT_EQ(Drelvan::XmlUtils::getContent(document->getDocumentElement()).size(), size);
}

TEST_F(RequestXmlHelperHostileInputs, CommentsAndInstructionsByTheHundredThousandAreNoProblem) {
  constexpr std::size_t count = 100000;
  const std::string start = "<DV_RequestScript xmlns='" + TestSupport::c_targetNamespace + "'>";
  const std::string end = TestSupport::request().text() + "</DV_RequestScript>";
  expectAccepted(start + repeated("<!---->", count) + end, true);
  expectAccepted(start + numbered(count, [](const auto& number) { return "<?i" + number + "?>"; }) + end, true);
  expectAccepted(repeated("<!---->", count) + c_package + repeated("<?i?>", count), true);
}

TEST_F(RequestXmlHelperHostileInputs, MessagesAboutLongNamesAreCut) {
  const std::string name(std::size_t{4} << 20U, 'n');
  for (const std::string& text :
       {"<" + name + "/>", "<r " + name + "=''/>",
        "<Open xmlns='" + TestSupport::c_targetNamespace + "' id='" + name + "'><Nest/></Open>" + name}) {
    EXPECT_THROW(parse(text, true), Drelvan::DvExceptionNested);
    for (const Entry& entry : takeEntries()) {
      EXPECT_LT(entry.message.size(), 10000U);
    }
  }
  const std::string instance = RequestXmlHelperTests::c_instanceNamespace;
  const std::string typed = "<" + name + " xmlns:t='" + TestSupport::c_targetNamespace + "' xmlns:xsi='" + instance +
                            "' xsi:type='t:Request' id='" + TestSupport::c_uid + "'/>";
  EXPECT_THROW(parse(typed, true), Drelvan::DvExceptionNested);
  for (const Entry& entry : takeEntries()) {
    EXPECT_LT(entry.message.size(), 10000U);
  }
}

TEST_F(RequestXmlHelperHostileInputs, ValuesOfAnyLengthAreMatchedAgainstTheirTypes) {
  constexpr std::size_t length = 1000000;
  const auto package = TestSupport::requestPackage();
  for (const std::string& text :
       {package.with("clientId", std::string(length, '0')).text(),
        package.with("serial", std::string(length, '1')).text(),
        package.with("timestamp", TestSupport::c_timestamp + "." + std::string(length, '1')).text(),
        package.with("version", std::string(length, '5')).text(),
        package.with("replyExpected", std::string(length, 't')).text()}) {
    EXPECT_THROW(parse(text, true), Drelvan::DvExceptionNested);
    parseValid();
    TestSupport::RecordingLog::clear();
  }
}

/// Runs `action` with so little stack that a recursion over the levels of a document would not fit.
void runWithSmallStack(std::function<void()> action) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, std::size_t{c_sanitized ? 512U : 64U} << 10U);
  const auto run = [](void* argument) -> void* {
    (*static_cast<std::function<void()>*>(argument))();
    return nullptr;
  };
  pthread_t thread{};
  if (pthread_create(&thread, &attributes, run, &action) != 0) {
    throw std::runtime_error("no thread");
  }
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

TEST_F(RequestXmlHelperHostileInputs, ValuesAreReadFromDocumentsOfAnyDepth) {
  TestSupport::Document document(parse("<r/>", false));
  const TestSupport::WideText name("n");
  constexpr int levels = 200000;
  xercesc_3_1::DOMElement* element = document->getDocumentElement();
  for (int level = 0; level < levels; ++level) {
    xercesc_3_1::DOMElement* child = document->createElement(name.get());
    element->appendChild(child);
    element = child;
  }
  element->appendChild(document->createTextNode(name.get()));
  runWithSmallStack([&] {
    EXPECT_EQ(Drelvan::XmlUtils::getContent(document->getDocumentElement()), "n");
    EXPECT_EQ(Drelvan::XmlUtils::getElementContent("n", document->getDocumentElement()), "n");
  });
}

TEST_F(RequestXmlHelperHostileInputs, DeepestDocumentCanBeReadCopiedAndReleasedWithTheParserLibrary) {
  constexpr std::size_t levels = 1000;
  const std::string text = repeated("<n>", levels) + "text" + repeated("</n>", levels);
  const TestSupport::Document document(parse(text, false));
  EXPECT_EQ(TestSupport::toUtf8(document->getDocumentElement()->getTextContent()), "text");
  const TestSupport::Document copy(static_cast<xercesc_3_1::DOMDocument*>(document->cloneNode(true)));
  EXPECT_TRUE(copy->getDocumentElement()->isEqualNode(document->getDocumentElement()));
}

}  // namespace
