#include <examples/parameter_sweep/common/Packages.h>
#include <tests/examples/RawClient.h>
#include <tests/examples/SweepPrograms.h>

#include <boost/algorithm/string/replace.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>

namespace {

using namespace ParameterSweep;
using SweepTest::makeSubmission;
using SweepTest::RawClient;
using SweepTest::refusal;
using SweepTest::Server;
using TestSupport::TemporaryFolder;

class SweepRefusalTest : public SweepTest::RawTest {
 protected:
  /// The kind of the refusal; afterwards the server must still answer somebody else.
  std::string refused(const std::string& package) {
    const std::string kind = refusal(m_client.ask(package));
    RawClient other(m_server.address());
    EXPECT_EQ(refusal(other.ask(Request{RequestKind::Status, m_known.jobId})), "status") << package.substr(0, 200);
    return kind;
  }

  /// A valid submission with one text replaced.
  std::string refusedWith(const std::string& text, const std::string& replacement) {
    const std::string package = writeRequestPackage(makeSubmission("x"));
    const std::string changed = boost::algorithm::replace_first_copy(package, text, replacement);
    EXPECT_NE(changed, package) << text;
    return refused(changed);
  }

  void SetUp() override { ASSERT_EQ(refusal(m_client.ask(m_known)), "status"); }

  TemporaryFolder m_folder;
  Server m_server{m_folder.file("spool"), {"--max-package", "200000", "--launch-with", "sh -c 'sleep 600'"}};
  RawClient m_client{m_server.address()};
  Request m_known = makeSubmission("x");
};

TEST_F(SweepRefusalTest, TextThatIsNoPackageIsMalformed) {
  for (const std::string& text :
       {std::string(), std::string(" "), std::string("hello"), std::string("<a/>"), std::string("<a><b></a>"),
        std::string("\xff\xfe\x00\x01", 4), writeRequestPackage(m_known).substr(0, 300)}) {
    EXPECT_EQ(refused(text), "MalformedPackage") << text;
  }
}

TEST_F(SweepRefusalTest, PackageThatIsRefusedIsShortInTheLog) {
  constexpr std::size_t c_size = 150000;
  constexpr std::size_t c_longestLine = 2048 + 256;  // with its time, its place and the number of bytes left out
  const std::string much(c_size, 'x');
  for (const std::string& text : {"<" + much + "/>", "<a b=\"" + much + "\"/>", "<a>" + much, much,
                                  "<!DOCTYPE " + much + ">", "<a xmlns:" + much + "='1'/>"}) {
    EXPECT_EQ(refused(text), "MalformedPackage");
  }
  EXPECT_EQ(refusedWith("SweepSubmitRequest", much), "MalformedPackage");
  EXPECT_EQ(refused(std::string(c_size * 2, ' ')), "PackageTooLarge");
  EXPECT_TRUE(SweepTest::eventually([&] { return m_server.errors().find("split the sweep") != std::string::npos; }));
  for (const std::string& line : TestSupport::linesOf(m_server.errors())) {
    EXPECT_LE(line.size(), c_longestLine) << line.substr(0, 200);
  }
}

TEST_F(SweepRefusalTest, NothingHidesBehindANul) {
  EXPECT_EQ(refused(writeRequestPackage(makeSubmission("x")) + std::string(1, '\0') + "<more/>"), "MalformedPackage");
}

TEST_F(SweepRefusalTest, PackageThatBreaksTheSchemaIsMalformed) {
  EXPECT_EQ(refusedWith("5.0.0", "4.0.0"), "MalformedPackage");
  EXPECT_EQ(refusedWith("SweepSubmitRequest", "DeleteEverythingRequest"), "MalformedPackage");
  EXPECT_EQ(refusedWith("SweepSubmitRequest", "SweepStatusReply"), "MalformedPackage");
  EXPECT_EQ(refusedWith("<realizationId>1<", "<realizationId>-1<"), "MalformedPackage");
  EXPECT_EQ(refusedWith("<value>2<", "<value>two<"), "MalformedPackage");
  EXPECT_EQ(refusedWith("<expression>x<", "<expression><"), "MalformedPackage");
  EXPECT_EQ(refusedWith("<expression>x<", "<expression>" + std::string(5000, '1') + "<"), "MalformedPackage");
}

TEST_F(SweepRefusalTest, EntitiesAreNotExpanded) {
  std::string laughs = "<!DOCTYPE DV_RequestPackage [<!ENTITY e0 \"ha\">";
  for (int level = 1; level < 30; ++level) {
    const std::string inner = "&e" + std::to_string(level - 1) + ";";
    laughs += "<!ENTITY e" + std::to_string(level) + " \"" + inner + inner + "\">";
  }
  laughs += "]>";
  const std::string package = writeRequestPackage(makeSubmission("x"));
  EXPECT_EQ(refused(laughs + boost::algorithm::replace_first_copy(package, ">x<", ">&e29;<")), "MalformedPackage");
  const std::string file = m_folder.write("secret", "x");
  const std::string external = "<!DOCTYPE DV_RequestPackage [<!ENTITY e SYSTEM \"file://" + file + "\">]>";
  EXPECT_EQ(refused(external + boost::algorithm::replace_first_copy(package, ">x<", ">&e;<")), "MalformedPackage");
}

TEST_F(SweepRefusalTest, DeepAndLongDocumentsCostNobodyElseAnything) {
  std::string deep;
  for (int level = 0; level < 50000; ++level) {
    deep += "<a>";
  }
  EXPECT_EQ(refused(deep), "MalformedPackage");
  EXPECT_EQ(refused("<a b=\"" + std::string(190000, 'x') + "\"/>"), "MalformedPackage");
}

TEST_F(SweepRefusalTest, ValidPackageThatIsNoRequestOfThisServiceIsUnknown) {
  const std::string reply = writeReplyPackage({SweepFailure(FailureKind::Internal, "x")}, "me");
  EXPECT_EQ(refused(reply), "UnknownRequest");
  const std::string package = writeRequestPackage(makeSubmission("x"));
  const std::size_t begin = package.find("<request");
  const std::string plain = "<request id=\"" + makeSubmission("x").id + "\"/></DV_RequestPackage>";
  EXPECT_EQ(refused(package.substr(0, begin) + plain), "UnknownRequest");
}

TEST_F(SweepRefusalTest, TypeMayHaveAnyPrefixOfTheNamespace) {
  const std::string package = writeRequestPackage(makeSubmission("x"));
  const std::string prefixed = boost::algorithm::replace_first_copy(
      package, "xsi:type=\"SweepSubmitRequest\"",
      "xmlns:i=\"http://www.w3.org/2001/XMLSchema-instance\" "
      "xmlns:p=\"http://drelvan.example/schemas/DVRequests.xsd\" i:type=\"p:SweepSubmitRequest\"");
  EXPECT_EQ(refusal(m_client.ask(prefixed)), "status");
}

TEST_F(SweepRefusalTest, IdThatIsNotOfASweepJobNamesNoFolder) {
  const Request request = makeSubmission("x");
  for (const std::string& name :
       {std::string("../../escape"), std::string("Invalid_") + request.jobId.getUniqueId().substr(0, 10),
        std::string("Sweep_0000000000"), std::string("Sweep_1"), std::string("x"), std::string()}) {
    const std::string package = boost::algorithm::replace_first_copy(
        writeRequestPackage(request), "<name>" + request.jobId.getName(), "<name>" + name);
    EXPECT_EQ(refused(package), "UnknownJob") << name;
  }
  const std::string path = boost::algorithm::replace_first_copy(
      writeRequestPackage(request), "<id>" + request.jobId.getUniqueId(), "<id>../../../../../../../../../etc/passwd");
  EXPECT_EQ(refused(path), "MalformedPackage");
  EXPECT_FALSE(std::filesystem::exists(m_folder.file("escape")));
}

TEST_F(SweepRefusalTest, EncryptedParametersAreRefused) {
  const std::string package =
      boost::algorithm::replace_all_copy(writeRequestPackage(makeSubmission("x")), "parameter>", "encryptedParameter>");
  EXPECT_EQ(refused(package), "BadParameters");
}

TEST_F(SweepRefusalTest, OversizedPackageIsRefusedUnread) {
  EXPECT_EQ(refused(std::string(200001, ' ')), "PackageTooLarge");
}

TEST_F(SweepRefusalTest, PackageFarBeyondTheLimitEndsTheConnectionOfItsSenderOnly) {
  RawClient hostile(m_server.address());
  hostile.send({std::string(5000000, ' ')});
  EXPECT_EQ(refused("<a/>"), "MalformedPackage");
  EXPECT_EQ(hostile.received(), "");
}

TEST_F(SweepRefusalTest, MessageOfSeveralPartsIsRefused) {
  const std::string package = writeRequestPackage(makeSubmission("x"));
  RawClient client(m_server.address());
  EXPECT_NE(client.exchange({"", package}).find("MalformedPackage"), std::string::npos);
  EXPECT_NE(client.exchange({package, package, package}).find("MalformedPackage"), std::string::npos);
}

TEST_F(SweepRefusalTest, SamePackageAgainChangesNothingAndAnotherOneWithTheSameIdIsRefused) {
  Request request = makeSubmission("x");
  const std::string package = writeRequestPackage(request);
  EXPECT_EQ(refusal(m_client.ask(package)), "status");
  EXPECT_EQ(refusal(m_client.ask(package)), "status");
  request.sweep.expression = "2*x";
  EXPECT_EQ(refused(writeRequestPackage(request)), "JobExists");
}

TEST_F(SweepRefusalTest, UnknownJobIsRefusedWhateverIsAsked) {
  for (const auto kind : {RequestKind::Status, RequestKind::Result, RequestKind::Cancel, RequestKind::Log}) {
    EXPECT_EQ(refusal(m_client.ask(Request{kind, SweepJobId()})), "UnknownJob");
  }
}

TEST_F(SweepRefusalTest, RefusalHoldsTheParsersMessageAndSaysWhatToDo) {
  const std::string reply = m_client.exchange({"<a/>"});
  EXPECT_NE(reply.find("no declaration found for element"), std::string::npos) << reply;
  EXPECT_NE(reply.find("send a package that follows the schema"), std::string::npos) << reply;
}

TEST_F(SweepRefusalTest, RefusalOfAReadRequestRepeatsItsId) {
  const Request request{RequestKind::Status, SweepJobId()};
  EXPECT_NE(m_client.exchange({writeRequestPackage(request)}).find("requestId=\"" + request.id + "\""),
            std::string::npos);
}

TEST_F(SweepRefusalTest, SubscriptionsToNonsenseAndBytesThatAreNoMessagesDoNotDisturb) {
  zmq::context_t context;
  zmq::socket_t subscriber(context, zmq::socket_type::sub);
  subscriber.set(zmq::sockopt::linger, 0);
  for (const std::string& topic : {std::string(), std::string("x"), std::string("<DV_ReplyPackage"),
                                   SweepJobId().toString(), std::string("\0\1\2", 3)}) {
    subscriber.set(zmq::sockopt::subscribe, topic);
  }
  subscriber.connect("tcp://" + m_server.publisherAddress());
  const std::string port = m_server.address().substr(m_server.address().find(':') + 1);
  boost::asio::io_context asio;
  boost::asio::ip::tcp::socket stranger(asio);
  stranger.connect({boost::asio::ip::address_v4::loopback(), static_cast<unsigned short>(std::stoi(port))});
  boost::system::error_code ignored;
  boost::asio::write(stranger, boost::asio::buffer("GET / HTTP/1.0\r\n\r\n" + std::string(100000, '\xff')), ignored);
  EXPECT_EQ(refused("<a/>"), "MalformedPackage");
}

TEST_F(SweepRefusalTest, WhoFollowsAJobLateGetsThePresentStateAtOnce) {
  ASSERT_EQ(m_server.waitForState(m_known.jobId.toString(), "Running"), "Running");
  for (int followers = 0; followers < 2; ++followers) {
    RawClient follower(m_server.publisherAddress());
    const ReplyContent content = follower.ask(Request{RequestKind::Follow, m_known.jobId});
    ASSERT_EQ(refusal(content), "status");
    EXPECT_EQ(std::get<JobStatus>(content).state, JobState::Running);
  }
}

TEST_F(SweepRefusalTest, OnlyRequestsToFollowAJobAreTakenAtThePortForProgress) {
  RawClient client(m_server.publisherAddress());
  for (const auto kind : {RequestKind::Status, RequestKind::Cancel, RequestKind::List}) {
    EXPECT_EQ(refusal(client.ask(Request{kind, m_known.jobId})), "UnknownRequest");
  }
  EXPECT_EQ(refusal(client.ask(Request{RequestKind::Follow, SweepJobId()})), "UnknownJob");
  EXPECT_EQ(refusal(m_client.ask(Request{RequestKind::Follow, m_known.jobId})), "UnknownRequest");
}

}  // namespace
