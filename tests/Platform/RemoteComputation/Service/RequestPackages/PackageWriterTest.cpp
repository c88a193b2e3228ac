#include <Platform/RemoteComputation/Service/RequestPackages/PackageWriter.h>
#include <tests/Platform/RemoteComputation/Service/RequestPackages/PackagesFixture.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Drelvan::PackageDocument;
using Drelvan::PackageKind;
using Drelvan::PackageWriter;
using RequestPackagesTests::Colour;
using RequestPackagesTests::failureOf;

class PackageWriterTest : public RequestPackagesTests::PackagesTest {};

/// The line of an element with that value.
template <typename Value>
std::string elementWith(const Value& value) {
  PackageWriter writer;
  writer.element("v", value);
  return writer.finish();
}

template <typename Value>
std::string attributeWith(const Value& value) {
  PackageWriter writer;
  writer.startElement("v");
  writer.attribute("a", value);
  return writer.finish();
}

Drelvan::RequestEnvelope requestEnvelope() {
  Drelvan::RequestEnvelope envelope;
  envelope.clientId = TestSupport::c_uid;
  envelope.requestClientId = TestSupport::c_otherUid;
  return envelope;
}

TEST_F(PackageWriterTest, WritesOneLineForEachElement) {
  PackageWriter writer;
  Drelvan::ReplyEnvelope envelope;
  envelope.serial = 5;
  envelope.timestamp = TestSupport::c_timestamp;
  envelope.origin = "here";
  writer.startReplyPackage(envelope);
  writer.startReply("ValuesReply", TestSupport::c_uid);
  writer.element("int", 5);
  writer.startElement("group");
  writer.element("string", "");
  writer.startElement("group");
  writer.endElement();
  EXPECT_EQ(writer.finish(),
            "<DV_ReplyPackage xmlns=\"http://drelvan.example/schemas/DVRequests.xsd\" "
            "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" version=\"5.0.0\" serial=\"5\" timestamp=\"" +
                TestSupport::c_timestamp + "\" origin=\"here\">\n<reply xsi:type=\"ValuesReply\" requestId=\"" +
                TestSupport::c_uid +
                "\">\n<int>5</int>\n<group>\n<string></string>\n<group/>\n</group>\n</reply>\n</DV_ReplyPackage>\n");
}

TEST_F(PackageWriterTest, RequestEnvelopeReadsBack) {
  Drelvan::RequestEnvelope envelope = requestEnvelope();
  envelope.origin = "a\tb\n\"<c>";
  envelope.progressUpdates = true;
  envelope.replyHost = "h";
  envelope.replyPort = 65535;
  envelope.replyExpected = false;
  PackageWriter writer;
  writer.startRequestPackage(envelope);
  writer.startRequest("", TestSupport::c_uid);
  const auto read = PackageDocument::fromText(writer.finish()).getRequestEnvelope();
  EXPECT_EQ(read.version, "5.0.0");
  EXPECT_EQ(read.serial, envelope.serial);
  EXPECT_EQ(read.timestamp, envelope.timestamp);
  EXPECT_EQ(read.clientId, envelope.clientId);
  EXPECT_EQ(read.origin, envelope.origin);
  EXPECT_EQ(read.progressUpdates, true);
  EXPECT_EQ(read.replyHost, "h");
  EXPECT_EQ(read.replyPort, 65535U);
  EXPECT_EQ(read.requestClientId, envelope.requestClientId);
  EXPECT_EQ(read.replyExpected, false);
}

TEST_F(PackageWriterTest, EnvelopesTakeTheNextSerialAndThePresentTime) {
  const auto before = std::chrono::system_clock::now() - 1us;
  const Drelvan::RequestEnvelope first;
  const Drelvan::ReplyEnvelope second;
  EXPECT_EQ(second.serial, first.serial + 1);
  const auto time = Drelvan::fromTimestampText(second.timestamp);
  EXPECT_GE(time, before);
  EXPECT_LE(time, std::chrono::system_clock::now());
}

TEST_F(PackageWriterTest, ScriptsHoldSeveralEntries) {
  PackageWriter writer;
  writer.startDocument(PackageKind::ReplyScript);
  writer.startReply("ValuesReply", TestSupport::c_uid);
  writer.element("int", 1);
  writer.startReply("", TestSupport::c_otherUid);
  writer.startReply("ValuesReply", TestSupport::c_otherUid);
  writer.startElement("group");
  writer.element("int", 3);
  const PackageDocument document = PackageDocument::fromText(writer.finish());
  const auto replies = document.getReplies();
  ASSERT_EQ(replies.size(), 3U);
  EXPECT_EQ(replies[0].get<int>("int"), 1);
  EXPECT_EQ(replies[1].getTypeName(), "");
  EXPECT_EQ(replies[2].getChild("group").get<int>("int"), 3);
}

TEST_F(PackageWriterTest, AllRootsWithoutAnEnvelopeAreValid) {
  for (const PackageKind kind :
       {PackageKind::Request, PackageKind::Reply, PackageKind::RequestScript, PackageKind::ReplyScript}) {
    PackageWriter writer;
    writer.startDocument(kind);
    const bool isRequest = kind == PackageKind::Request || kind == PackageKind::RequestScript;
    isRequest ? writer.startRequest("", TestSupport::c_uid) : writer.startReply("", TestSupport::c_uid);
    EXPECT_EQ(PackageDocument::fromText(writer.finish()).getKind(), kind);
  }
}

TEST_F(PackageWriterTest, SimpleTypesHaveTheirTexts) {
  EXPECT_EQ(elementWith(true), "<v>true</v>\n");
  EXPECT_EQ(elementWith(false), "<v>false</v>\n");
  EXPECT_EQ(elementWith(std::int8_t{-128}), "<v>-128</v>\n");
  EXPECT_EQ(elementWith(std::uint8_t{255}), "<v>255</v>\n");
  EXPECT_EQ(elementWith(std::numeric_limits<std::int64_t>::min()), "<v>-9223372036854775808</v>\n");
  EXPECT_EQ(elementWith(std::numeric_limits<std::uint64_t>::max()), "<v>18446744073709551615</v>\n");
  EXPECT_EQ(elementWith(0.1), "<v>0.1</v>\n");
  EXPECT_EQ(elementWith(0.1F), "<v>0.1</v>\n");
  EXPECT_EQ(elementWith(-HUGE_VAL), "<v>-INF</v>\n");
  EXPECT_EQ(elementWith(HUGE_VAL), "<v>INF</v>\n");
  EXPECT_EQ(elementWith(std::nan("")), "<v>NaN</v>\n");
  EXPECT_EQ(elementWith("text"), "<v>text</v>\n");
  EXPECT_EQ(elementWith(std::string("text")), "<v>text</v>\n");
  EXPECT_EQ(elementWith(std::string_view("text")), "<v>text</v>\n");
  EXPECT_EQ(elementWith(Colour::deepBlue), "<v>Deep Blue</v>\n");
  EXPECT_EQ(elementWith(std::optional<int>(5)), "<v>5</v>\n");
  EXPECT_EQ(elementWith(std::optional<int>()), "");
  EXPECT_EQ(elementWith(std::vector<int>{1, -2}), "<v>1 -2</v>\n");
  EXPECT_EQ(elementWith(std::vector<bool>{true, false}), "<v>true false</v>\n");
  EXPECT_EQ(elementWith(std::vector<std::string>{"a&", "b"}), "<v>a&amp; b</v>\n");
  EXPECT_EQ(elementWith(std::vector<int>()), "<v></v>\n");
}

TEST_F(PackageWriterTest, DatesAndTimesHaveTheirTexts) {
  using namespace Drelvan;
  EXPECT_EQ(elementWith(XmlDate{2024, 5, 7, {}}), "<v>2024-05-07</v>\n");
  EXPECT_EQ(elementWith(XmlDate{-44, 3, 15, 0min}), "<v>-0044-03-15Z</v>\n");
  EXPECT_EQ(elementWith(XmlTime{13h + 5min + 9s + 120ms, -90min}), "<v>13:05:09.12-01:30</v>\n");
  EXPECT_EQ(elementWith(XmlDateTime{12024, 2, 29, 1ns, 14h}), "<v>12024-02-29T00:00:00.000000001+14:00</v>\n");
  EXPECT_EQ(elementWith(XmlDuration{14, 25h + 1min + 500ms}), "<v>P1Y2M1DT1H1M0.5S</v>\n");
  EXPECT_EQ(elementWith(XmlDuration{-1, 0ns}), "<v>-P1M</v>\n");
  EXPECT_EQ(elementWith(XmlDuration{0, -1s}), "<v>-PT1S</v>\n");
  EXPECT_EQ(elementWith(XmlDuration{}), "<v>PT0S</v>\n");
  EXPECT_EQ(elementWith(fromTimestampText(TestSupport::c_timestamp)),
            "<v>" + TestSupport::c_timestamp + ".000000</v>\n");
}

TEST_F(PackageWriterTest, WhatIsNoDateOrTimeIsRefused) {
  using namespace Drelvan;
  const std::string date = "the value is not a valid xs:date";
  EXPECT_EQ(failureOf([] { elementWith(XmlDate{2023, 2, 29, {}}); }), date);
  EXPECT_EQ(failureOf([] { elementWith(XmlDate{0, 1, 1, {}}); }), date);
  EXPECT_EQ(failureOf([] { elementWith(XmlDate{2023, 13, 1, {}}); }), date);
  EXPECT_EQ(failureOf([] { elementWith(XmlDate{2023, 1, 1, 841min}); }), date);
  EXPECT_EQ(failureOf([] { elementWith(XmlTime{24h, {}}); }), "the value is not a valid xs:time");
  EXPECT_EQ(failureOf([] { elementWith(XmlTime{-1ns, {}}); }), "the value is not a valid xs:time");
  EXPECT_EQ(failureOf([] { elementWith(XmlDateTime{2024, 4, 31, 0ns, {}}); }), "the value is not a valid xs:dateTime");
  EXPECT_EQ(failureOf([] { elementWith(XmlDuration{1, -1s}); }), "the value is not a valid xs:duration");
  EXPECT_EQ(failureOf([] { elementWith(Timestamp::max()); }), "the value is not a valid DVTimestamp");
}

TEST_F(PackageWriterTest, TextIsEscaped) {
  EXPECT_EQ(elementWith("<a> & ]]> \"b\" 'c'\r\n\t"), "<v>&lt;a&gt; &amp; ]]&gt; \"b\" 'c'&#13;\n\t</v>\n");
  EXPECT_EQ(attributeWith("<a> & ]]> \"b\" 'c'\r\n\t"),
            "<v a=\"&lt;a&gt; &amp; ]]&gt; &quot;b&quot; 'c'&#13;&#10;&#9;\"/>\n");
}

TEST_F(PackageWriterTest, WhatXmlCannotCarryIsReplaced) {
  const std::string replacement = "\xEF\xBF\xBD";
  for (const std::string& text :
       {std::string("\x01"), std::string("\x1F"), std::string("\0", 1), std::string("\xFF"), std::string("\x80"),
        std::string("\xC3"), std::string("\xEF\xBF\xBE"), std::string("\xEF\xBF\xBF")}) {
    std::string expected;
    for (std::size_t byte = 0; byte < text.size(); ++byte) {
      expected += replacement;
    }
    EXPECT_EQ(elementWith("a" + text + "b"), "<v>a" + expected + "b</v>\n");
    EXPECT_EQ(attributeWith("a" + text + "b"), "<v a=\"a" + expected + "b\"/>\n");
  }
  EXPECT_EQ(elementWith("\xC0\xAF"), "<v>" + replacement + replacement + "</v>\n") << "an overlong slash";
  for (const std::string overlong : {"\xE0\x80\xAF", "\xE0\x9F\xBF", "\xF0\x80\x80\xAF", "\xF0\x8F\xBF\xBF"}) {
    std::string replacements;
    for (std::size_t byte = 0; byte < overlong.size(); ++byte) {
      replacements += replacement;
    }
    EXPECT_EQ(elementWith(overlong), "<v>" + replacements + "</v>\n");
  }
  EXPECT_EQ(elementWith("\xED\xA0\x80"), "<v>" + replacement + replacement + replacement + "</v>\n") << "a surrogate";
  EXPECT_EQ(elementWith("\xF4\x90\x80\x80"), "<v>" + replacement + replacement + replacement + replacement + "</v>\n");
}

TEST_F(PackageWriterTest, AttributesAreWrittenAsTextsListsAndNothing) {
  PackageWriter writer;
  writer.startElement("attributes");
  writer.attribute("text", " a ");
  writer.attribute("flag", true);
  writer.attribute("number", 0.5);
  writer.attribute("numbers", std::vector<int>{1, 2});
  writer.attribute("none", std::optional<std::string>());
  EXPECT_EQ(writer.finish(), "<attributes text=\" a \" flag=\"true\" number=\"0.5\" numbers=\"1 2\"/>\n");
}

TEST_F(PackageWriterTest, ATypeIsNamedInTheInstanceNamespace) {
  PackageWriter writer;
  writer.startDocument(PackageKind::Request);
  writer.startElement("request");
  writer.type("ValuesRequest");
  writer.attribute("id", TestSupport::c_uid);
  EXPECT_EQ(PackageDocument::fromText(writer.finish()).getRequest().getTypeName(), "ValuesRequest");
}

TEST_F(PackageWriterTest, PiecesAreTakenAsTheyStand) {
  PackageWriter line;
  line.element("int", 1);
  line.element("int", 2);
  PackageWriter writer;
  writer.startDocument(PackageKind::Reply);
  writer.startReply("ValuesReply", TestSupport::c_uid);
  writer.piece(line.finish());
  writer.element("int", 3);
  EXPECT_EQ(PackageDocument::fromText(writer.finish()).getReply().getAll<int>("int"), (std::vector<int>{1, 2, 3}));
}

TEST_F(PackageWriterTest, PiecesStandOnLinesOfTheirOwn) {
  PackageWriter writer;
  writer.startElement("a");
  writer.piece("<b/>");
  writer.piece("<c/>\n");
  writer.element("d", 1);
  EXPECT_EQ(writer.finish(), "<a>\n<b/>\n<c/>\n<d>1</d>\n</a>\n");
  writer.startElement("a");
  writer.text("x");
  writer.piece("<b/>");
  EXPECT_EQ(writer.finish(), "<a>x<b/></a>\n") << "no line feed becomes a part of a text";
}

TEST_F(PackageWriterTest, AStreamGetsTheSameText) {
  const auto write = [](PackageWriter& writer) {
    writer.startDocument(PackageKind::Reply);
    writer.startReply("ValuesReply", TestSupport::c_uid);
    for (int count = 0; count < 10000; ++count) {
      writer.element("int", count);
    }
    writer.element("string", std::string(100000, 'x'));
    return writer.finish();
  };
  PackageWriter toString;
  std::ostringstream stream;
  PackageWriter toStream(stream);
  const std::string expected = write(toString);
  EXPECT_EQ(write(toStream), "");
  EXPECT_EQ(stream.str(), expected);
}

TEST_F(PackageWriterTest, AStreamGetsAPieceAtATime) {
  std::ostringstream stream;
  PackageWriter writer(stream);
  writer.startElement("all");
  for (int count = 0; count < 10000; ++count) {
    writer.element("int", count);
  }
  EXPECT_GT(stream.str().size(), 80000U) << "long before the end";
}

TEST_F(PackageWriterTest, IsAsNewWhenItHasFinished) {
  PackageWriter writer;
  for (int round = 0; round < 2; ++round) {
    writer.startDocument(PackageKind::Reply);
    writer.startReply("", TestSupport::c_uid);
    EXPECT_NO_THROW(PackageDocument::fromText(writer.finish()));
  }
}

TEST_F(PackageWriterTest, CallsOutOfOrderAreRefused) {
  EXPECT_EQ(failureOf([] { PackageWriter().endElement(); }), "no element is open");
  EXPECT_EQ(failureOf([] { PackageWriter().text("x"); }), "no element is open that could hold the text");
  EXPECT_EQ(failureOf([] { PackageWriter().startReply("", ""); }), "start a package or another document first");
  EXPECT_EQ(failureOf([] { PackageWriter().startDocument(PackageKind::ReplyPackage); }),
            "a package has an envelope; use startRequestPackage or startReplyPackage");
  const std::string late = "attribute 'a' comes after the content of its element; write attributes first";
  EXPECT_EQ(failureOf([] { PackageWriter().attribute("a", 1); }), late);
  EXPECT_EQ(failureOf([] {
              PackageWriter writer;
              writer.startElement("v");
              writer.text("");
              writer.attribute("a", 1);
            }),
            late);
  EXPECT_EQ(failureOf([] {
              PackageWriter writer;
              writer.startDocument(PackageKind::Reply);
              writer.startDocument(PackageKind::Reply);
            }),
            "a document has one root element; finish this one first");
}

TEST_F(PackageWriterTest, NamesThatXmlDoesNotAllowAreRefused) {
  for (const std::string name : {"", "a b", "1a", "-a", "a>", "a\"", "a=", "<"}) {
    const std::string message = "'" + name + "' is not a valid XML name";
    EXPECT_EQ(failureOf([&] { PackageWriter().element(name, 1); }), message);
    PackageWriter writer;
    writer.startElement("v");
    EXPECT_EQ(failureOf([&] { writer.attribute(name, 1); }), message);
    EXPECT_EQ(failureOf([&] { writer.type(name); }), message);
  }
  EXPECT_NO_THROW(PackageWriter().element("_a-1.\xC3\xA9", 1));
}

TEST_F(PackageWriterTest, ItemsOfAListHaveNoBlanks) {
  EXPECT_EQ(failureOf([] { elementWith(std::vector<std::string>{"a b"}); }),
            "an item of a list is empty or holds a blank, which would make two of it: 'a b'");
  EXPECT_EQ(failureOf([] { elementWith(std::vector<std::string>{""}); }),
            "an item of a list is empty or holds a blank, which would make two of it: ''");
}

TEST_F(PackageWriterTest, AnEnumeratorWithoutATextIsRefused) {
  EXPECT_EQ(failureOf([] { elementWith(static_cast<Colour>(7)); }),
            "the value 7 of an enumeration has no text; add it to its EnumerationTexts");
}

TEST_F(PackageWriterTest, AChainOfNoExceptionsIsRefused) {
  EXPECT_EQ(failureOf([] { elementWith(Drelvan::PackageExceptions()); }),
            "a DVException has at least one exception; none is given");
}

TEST_F(PackageWriterTest, JobIdsOfDerivedClassesAreWritten) {
  struct JobId : Drelvan::GenericJobId {
    JobId() { setPrefixAndUniqueId("<&>", TestSupport::c_uid); }
  };
  EXPECT_EQ(elementWith(JobId()),
            "<v>\n<id>" + TestSupport::c_uid + "</id>\n<name>&lt;&amp;&gt;_0123456789</name>\n</v>\n");
}

TEST_F(PackageWriterTest, HostsLeaveOutPortsThatAreNotSet) {
  Drelvan::HostInfo host("a&b", "<ip>");
  EXPECT_EQ(elementWith(host), "<v>\n<name>a&amp;b</name>\n<ip>&lt;ip&gt;</ip>\n</v>\n");
  host.setPublisherPort(0);
  EXPECT_EQ(elementWith(host),
            "<v>\n<name>a&amp;b</name>\n<ip>&lt;ip&gt;</ip>\n<publisherPort>0</publisherPort>\n</v>\n");
}

}  // namespace
