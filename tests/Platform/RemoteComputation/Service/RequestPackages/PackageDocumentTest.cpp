#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <tests/Platform/RemoteComputation/Service/RequestPackages/PackagesFixture.h>
#include <tests/support/TemporaryFolder.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>
#include <xercesc/util/PlatformUtils.hpp>

namespace {

using Drelvan::PackageDocument;
using Drelvan::PackageKind;
using Drelvan::ParserSession;
using RequestPackagesTests::failureOf;
using RequestPackagesTests::looseDocument;
using RequestPackagesTests::valuesRequest;
using RequestPackagesTests::ValuesSchema;
using TestSupport::rootElement;

class PackageDocumentTest : public RequestPackagesTests::PackagesTest {};

/// The bare requests or replies of a script.
std::string scriptEntries(const TestSupport::XmlElement& entry, const std::vector<std::string>& ids) {
  std::string entries;
  for (const std::string& id : ids) {
    entries += entry.with(entry.text().find("requestId") == std::string::npos ? "id" : "requestId", id).text();
  }
  return entries;
}

TEST_F(PackageDocumentTest, KindsAreTheRootElements) {
  const std::vector<std::pair<std::string, PackageKind>> documents{
      {TestSupport::requestPackage().text(), PackageKind::RequestPackage},
      {TestSupport::replyPackage().text(), PackageKind::ReplyPackage},
      {rootElement("DV_Request", TestSupport::request().text()).text(), PackageKind::Request},
      {rootElement("DV_Reply", TestSupport::reply().text()).text(), PackageKind::Reply},
      {rootElement("DV_RequestScript", TestSupport::request().text()).text(), PackageKind::RequestScript},
      {rootElement("DV_ReplyScript", TestSupport::reply().text()).text(), PackageKind::ReplyScript}};
  for (const auto& [text, kind] : documents) {
    const PackageDocument document = PackageDocument::fromText(text);
    const bool isRequest = text.find("<request ") != std::string::npos;
    EXPECT_EQ(document.getKind(), kind) << text;
    EXPECT_EQ(document.holdsRequests(), isRequest) << text;
    EXPECT_EQ(document.holdsReplies(), !isRequest) << text;
    EXPECT_EQ(isRequest ? document.getRequest().getName() : document.getReply().getName(),
              isRequest ? "request" : "reply");
  }
}

TEST_F(PackageDocumentTest, AnotherRootIsNoPackage) {
  const PackageDocument document = looseDocument("<other/>");
  EXPECT_EQ(document.getKind(), std::nullopt);
  EXPECT_FALSE(document.holdsRequests() || document.holdsReplies());
  EXPECT_EQ(failureOf([&] { document.getRequests(); }), "/other: holds no requests");
  EXPECT_EQ(failureOf([&] { document.getReplies(); }), "/other: holds no replies");
}

TEST_F(PackageDocumentTest, RequestsAndRepliesAreNotTakenForEachOther) {
  EXPECT_EQ(failureOf([&] { PackageDocument::fromText(TestSupport::replyPackage().text()).getRequest(); }),
            "/DV_ReplyPackage: holds no requests");
  EXPECT_EQ(failureOf([&] { PackageDocument::fromText(TestSupport::requestPackage().text()).getReply(); }),
            "/DV_RequestPackage: holds no replies");
}

TEST_F(PackageDocumentTest, ScriptsHoldSeveralInOrder) {
  const std::vector<std::string> ids{TestSupport::c_otherUid, TestSupport::c_uid, TestSupport::c_otherUid};
  const PackageDocument requests =
      PackageDocument::fromText(rootElement("DV_RequestScript", scriptEntries(TestSupport::request(), ids)).text());
  std::vector<std::string> found;
  for (const auto& request : requests.getRequests()) {
    found.push_back(request.getAttribute<std::string>("id"));
  }
  EXPECT_EQ(found, ids);
  EXPECT_EQ(requests.getRequests().at(1).getPath(), "/DV_RequestScript/request[2]");
  EXPECT_EQ(failureOf([&] { requests.getRequest(); }),
            "/DV_RequestScript: holds 3 elements 'request', where one is expected");
  const PackageDocument replies =
      PackageDocument::fromText(rootElement("DV_ReplyScript", scriptEntries(TestSupport::reply(), ids)).text());
  EXPECT_EQ(replies.getReplies().size(), 3U);
  EXPECT_EQ(replies.getReplies().at(0).getAttribute<std::string>("requestId"), TestSupport::c_otherUid);
}

TEST_F(PackageDocumentTest, EntriesNameTheirTypes) {
  EXPECT_EQ(PackageDocument::fromText(valuesRequest("")).getRequest().getTypeName(), "ValuesRequest");
  EXPECT_EQ(PackageDocument::fromText(TestSupport::requestPackage().text()).getRequest().getTypeName(), "");
}

TEST_F(PackageDocumentTest, RequestEnvelopeHasAllAttributes) {
  const auto envelope = PackageDocument::fromText(TestSupport::requestPackage()
                                                      .with("serial", "4294967295")
                                                      .with("origin", "here")
                                                      .with("progressUpdates", "1")
                                                      .with("replyHost", "h")
                                                      .with("replyPort", "0")
                                                      .with("replyExpected", " false ")
                                                      .text())
                            .getRequestEnvelope();
  EXPECT_EQ(envelope.version, "5.0.0");
  EXPECT_EQ(envelope.serial, 4294967295U);
  EXPECT_EQ(envelope.timestamp, TestSupport::c_timestamp);
  EXPECT_EQ(envelope.clientId, TestSupport::c_uid);
  EXPECT_EQ(envelope.origin, "here");
  EXPECT_EQ(envelope.progressUpdates, true);
  EXPECT_EQ(envelope.replyHost, "h");
  EXPECT_EQ(envelope.replyPort, 0U);
  EXPECT_EQ(envelope.requestClientId, TestSupport::c_otherUid);
  EXPECT_EQ(envelope.replyExpected, false);
}

TEST_F(PackageDocumentTest, RequestEnvelopeLeavesOutWhatIsAbsent) {
  const auto envelope = PackageDocument::fromText(TestSupport::requestPackage().text()).getRequestEnvelope();
  EXPECT_EQ(envelope.origin, "PellamConnector@127.0.0.1") << "the schema's default";
  EXPECT_FALSE(envelope.progressUpdates || envelope.replyHost || envelope.replyPort || envelope.replyExpected);
}

TEST_F(PackageDocumentTest, ReplyEnvelopeHasAllAttributes) {
  const auto envelope =
      PackageDocument::fromText(TestSupport::replyPackage().with("serial", "7").with("origin", "s").text())
          .getReplyEnvelope();
  EXPECT_EQ(envelope.version, "5.0.0");
  EXPECT_EQ(envelope.serial, 7U);
  EXPECT_EQ(envelope.timestamp, TestSupport::c_timestamp);
  EXPECT_EQ(envelope.origin, "s");
  EXPECT_FALSE(PackageDocument::fromText(TestSupport::replyPackage().text()).getReplyEnvelope().origin);
}

TEST_F(PackageDocumentTest, OnlyPackagesHaveEnvelopes) {
  const PackageDocument script =
      PackageDocument::fromText(rootElement("DV_RequestScript", TestSupport::request().text()).text());
  EXPECT_EQ(failureOf([&] { script.getRequestEnvelope(); }),
            "/DV_RequestScript: has no envelope of a request package; only a DV_RequestPackage has");
  EXPECT_EQ(failureOf([&] { script.getReplyEnvelope(); }),
            "/DV_RequestScript: has no envelope of a reply package; only a DV_ReplyPackage has");
}

TEST_F(PackageDocumentTest, AnEnvelopeThatIsNotCompleteFails) {
  EXPECT_EQ(failureOf([&] { looseDocument("<DV_ReplyPackage version='5.0.0' serial='-1'/>").getReplyEnvelope(); }),
            "/DV_ReplyPackage/@serial: '-1' is not a value of xs:unsignedInt");
  EXPECT_EQ(failureOf([&] { looseDocument("<DV_ReplyPackage version='5.0.0'/>").getReplyEnvelope(); }),
            "/DV_ReplyPackage/@serial: missing; expected xs:unsignedInt");
}

TEST_F(PackageDocumentTest, RefusedTextsFailAsTheParserSays) {
  EXPECT_THROW(PackageDocument::fromText("<a>"), Drelvan::DvExceptionNested);
  EXPECT_THROW(PackageDocument::fromText("<a/>"), Drelvan::DvExceptionNested);
}

TEST_F(PackageDocumentTest, NothingBehindANulIsLost) {
  EXPECT_EQ(
      failureOf([&] { PackageDocument::fromText(TestSupport::replyPackage().text() + std::string("\0<evil/>", 8)); }),
      "the text holds a NUL at byte " + std::to_string(TestSupport::replyPackage().text().size()) +
          ", which no XML in UTF-8 does; pass another encoding as an input source");
}

TEST_F(PackageDocumentTest, FilesAreValidatedUnlessToldOtherwise) {
  const TestSupport::TemporaryFolder folder;
  const std::string good = folder.write("good.xml", TestSupport::replyPackage().text());
  const std::string bad = folder.write("bad.xml", "<other/>");
  EXPECT_EQ(PackageDocument::fromFile(good).getKind(), PackageKind::ReplyPackage);
  EXPECT_THROW(PackageDocument::fromFile(bad), Drelvan::DvExceptionNested);
  EXPECT_EQ(PackageDocument::fromFile(bad, false).getRoot().getName(), "other");
}

TEST_F(PackageDocumentTest, MovingHandsTheDocumentOver) {
  PackageDocument first = PackageDocument::fromText(TestSupport::replyPackage().text());
  PackageDocument second = std::move(first);
  EXPECT_EQ(second.getKind(), PackageKind::ReplyPackage);
  PackageDocument third = PackageDocument::fromText(TestSupport::requestPackage().text());
  third = std::move(second);
  EXPECT_EQ(third.getKind(), PackageKind::ReplyPackage);
}

TEST_F(PackageDocumentTest, TakesAParsedDocument) {
  const PackageDocument document(Drelvan::RequestXmlHelper::getInstance().parse(TestSupport::replyPackage().text()));
  EXPECT_EQ(document.getDocument().getDocumentElement(), &document.getRoot().getElement());
}

bool isPlatformInitialized() { return xercesc_3_1::XMLPlatformUtils::fgMemoryManager != nullptr; }

TEST(ParserSessionTest, EndsTheParser) {
  {
    const ParserSession session{ValuesSchema()};
    EXPECT_NO_THROW(PackageDocument::fromText(valuesRequest("<int>1</int>")));
    EXPECT_TRUE(Drelvan::RequestXmlHelper::getInstance().isParserInitialized());
  }
  EXPECT_FALSE(isPlatformInitialized());
  const ParserSession session;
  EXPECT_FALSE(Drelvan::RequestXmlHelper::getInstance().isParserInitialized());
  EXPECT_THROW(PackageDocument::fromText(valuesRequest("<int>1</int>")), Drelvan::DvExceptionNested);
}

TEST(ParserSessionTest, TakesAnyNumberOfFragments) {
  struct Other : Drelvan::AbstractRequestSchema {
    Other() { m_schema = "<xs:element name='other' type='xs:int'/>"; }
  };
  const auto expectBoth = [] {
    EXPECT_NO_THROW(PackageDocument::fromText(valuesRequest("<int>1</int>")));
    EXPECT_EQ(PackageDocument::fromText(rootElement("other", "17").text()).getRoot().as<int>(), 17);
  };
  {
    const ParserSession session{ValuesSchema(), Other()};
    expectBoth();
  }
  const std::vector<Drelvan::AbstractRequestSchema> fragments{ValuesSchema(), Other()};
  const ParserSession session(fragments);
  expectBoth();
}

TEST(ParserSessionTest, IsOneForAProcess) {
  const ParserSession session;
  EXPECT_EQ(failureOf([] { ParserSession(); }), "another ParserSession exists; make one for the whole process");
  EXPECT_NO_THROW(PackageDocument::fromText(TestSupport::replyPackage().text()));
}

TEST(ParserSessionTest, RefusesFragmentsThatComeTooLate) {
  Drelvan::RequestXmlHelper& helper = Drelvan::RequestXmlHelper::getInstance();
  helper.parse(TestSupport::replyPackage().text())->release();
  EXPECT_EQ(failureOf([] { ParserSession{ValuesSchema()}; }),
            "the process has parsed before, so no fragment can be added; make the ParserSession first");
  const ParserSession session;
  EXPECT_NO_THROW(PackageDocument::fromText(TestSupport::replyPackage().text()));
}

TEST(ParserSessionTest, DocumentsOutliveItIfTheyMust) {
  std::optional<PackageDocument> document;
  {
    const ParserSession session;
    document = PackageDocument::fromText(TestSupport::replyPackage().text());
  }
  EXPECT_TRUE(isPlatformInitialized());
  EXPECT_EQ(document->getReply().getAttribute<std::string>("requestId"), TestSupport::c_uid);
}

}  // namespace
