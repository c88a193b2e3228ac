#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <examples/parameter_sweep/client/Channel.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/SweepSchema.h>
#include <tests/examples/SweepPrograms.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <optional>
#include <sstream>

namespace {

using SweepTest::Outcome;
using SweepTest::Server;
using TestSupport::TemporaryFolder;
namespace fs = std::filesystem;

class SweepSecurityTest : public testing::Test {
 protected:
  static Outcome keygen(const std::string& folder, const std::string& client) {
    return SweepTest::run(SweepTest::serverProgram(), {"keygen", "--keys", folder, "--client", client});
  }

  void SetUp() override {
    ASSERT_EQ(keygen(keys(), "alice").exitCode, 0);
    ASSERT_EQ(keygen(m_folder.file("elsewhere"), "mallory").exitCode, 0);
  }

  std::string keys() const { return m_folder.file("keys"); }
  std::string aliceKeys() const { return keys() + "/alice.key"; }

  /// The keys of somebody who knows the server's public key but is not known to the server.
  std::string strangerKeys() const {
    std::istringstream alice(TemporaryFolder::read(aliceKeys()));
    std::istringstream mallory(TemporaryFolder::read(m_folder.file("elsewhere/mallory.key")));
    std::string server;
    std::string ignored;
    std::string publicKey;
    std::string secretKey;
    alice >> server;
    mallory >> ignored >> publicKey >> secretKey;
    const std::string file = m_folder.write("stranger.key", server + "\n" + publicKey + "\n" + secretKey + "\n");
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
    return file;
  }

  std::string table() const { return m_folder.write("table.csv", "x\n21\n"); }
  SweepTest::Arguments submission() const {
    return {"--quiet", "--timeout", "5", "submit", "--expression", "2*x", "--parameters", table(), "--wait"};
  }
  Outcome submitWith(const Server& server, const std::string& keyFile) const {
    SweepTest::Arguments arguments = submission();
    arguments.insert(arguments.begin(), {"--keys", keyFile});
    return server.client(arguments);
  }

  TemporaryFolder m_folder;
};

TEST_F(SweepSecurityTest, AddressThatOthersReachNeedsKeys) {
  for (const char* address : {"0.0.0.0", "10.0.0.1", "*", "127.0.0.2"}) {
    const Outcome outcome =
        SweepTest::run(SweepTest::serverProgram(), {"--bind", address, "--spool", m_folder.file("spool")});
    EXPECT_EQ(outcome.exitCode, 1) << address;
    EXPECT_NE(outcome.errors.find("give --keys"), std::string::npos) << outcome.errors;
  }
}

TEST_F(SweepSecurityTest, KnownClientIsServedOverRequestsAndProgress) {
  const Server server(m_folder.file("spool"), {"--bind", "0.0.0.0", "--keys", keys()});
  const Outcome outcome = submitWith(server, aliceKeys());
  EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
  EXPECT_EQ(outcome.output, "realizationId,result\n1,42\n");
}

TEST_F(SweepSecurityTest, UnknownKeyIsRefused) {
  const Server server(m_folder.file("spool"), {"--keys", keys()});
  const Outcome outcome = submitWith(server, strangerKeys());
  EXPECT_EQ(outcome.exitCode, 4);
  EXPECT_NE(outcome.errors.find("refuses these keys"), std::string::npos) << outcome.errors;
  EXPECT_EQ(submitWith(server, aliceKeys()).exitCode, 0);
}

TEST_F(SweepSecurityTest, ClientWithoutKeysIsNotServed) {
  const Server server(m_folder.file("spool"), {"--keys", keys()});
  const Outcome outcome = server.client(submission());
  EXPECT_TRUE(outcome.exitCode == 3 || outcome.exitCode == 4) << outcome.exitCode << outcome.errors;
  EXPECT_TRUE(fs::is_empty(m_folder.path() / "spool" / "jobs"));
}

TEST_F(SweepSecurityTest, ClientWithTheKeyOfAnotherServerIsNotServed) {
  const Server server(m_folder.file("spool"), {"--keys", keys()});
  const Outcome outcome = submitWith(server, m_folder.file("elsewhere/mallory.key"));
  EXPECT_TRUE(outcome.exitCode == 3 || outcome.exitCode == 4) << outcome.exitCode << outcome.errors;
}

TEST_F(SweepSecurityTest, ClientAtThePublishersPortIsToldToCheckThePort) {
  const Server server(m_folder.file("spool"));
  const Outcome outcome =
      SweepTest::run(SweepTest::clientProgram(), {"--server", server.publisherAddress(), "--timeout", "5", "status",
                                                  "0123456789abcdef-0123456789abcdef-"
                                                  "0123456789abcdef"});
  EXPECT_EQ(outcome.exitCode, 13);
  EXPECT_NE(outcome.errors.find("check the port"), std::string::npos) << outcome.errors;
}

TEST_F(SweepSecurityTest, SecretKeysAreForTheirOwnerOnly) {
  for (const std::string& file : {keys() + "/server.key", aliceKeys()}) {
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write) << file;
  }
}

TEST_F(SweepSecurityTest, KeysAreNotMadeTwiceNorUnderNamesThatArePaths) {
  const std::string before = TemporaryFolder::read(aliceKeys());
  EXPECT_EQ(keygen(keys(), "alice").exitCode, 1);
  EXPECT_EQ(TemporaryFolder::read(aliceKeys()), before);
  for (const char* name : {"../bob", "a/b", "", "server", "a b"}) {
    EXPECT_EQ(keygen(keys(), name).exitCode, 1) << name;
  }
  EXPECT_EQ(keygen(keys(), "bob").exitCode, 0);
}

TEST_F(SweepSecurityTest, FileThatHoldsNoKeysIsRefused) {
  const Server server(m_folder.file("spool"), {"--keys", keys()});
  const Outcome outcome = submitWith(server, m_folder.write("no.key", "nothing\n"));
  EXPECT_EQ(outcome.exitCode, 14);
  EXPECT_NE(outcome.errors.find("does not hold 3 keys"), std::string::npos) << outcome.errors;
}

TEST_F(SweepSecurityTest, KeyFileThatOthersCanReadIsRefused) {
  const Server server(m_folder.file("spool"), {"--keys", keys()});
  fs::permissions(aliceKeys(), fs::perms::group_read, fs::perm_options::add);
  const Outcome outcome = submitWith(server, aliceKeys());
  EXPECT_EQ(outcome.exitCode, 14);
  EXPECT_NE(outcome.errors.find("chmod 600"), std::string::npos) << outcome.errors;
  fs::permissions(keys() + "/server.key", fs::perms::others_read, fs::perm_options::add);
  const Outcome second = SweepTest::run(
      SweepTest::serverProgram(),
      {"--request-port", "0", "--publisher-port", "0", "--spool", m_folder.file("other"), "--keys", keys()});
  EXPECT_EQ(second.exitCode, 1);
  EXPECT_NE(second.errors.find("chmod 600"), std::string::npos) << second.errors;
}

TEST_F(SweepSecurityTest, JobsOfOthersDoNotExist) {
  ASSERT_EQ(keygen(keys(), "bob").exitCode, 0);
  ASSERT_EQ(keygen(keys(), "admin").exitCode, 0);
  const Server server(m_folder.file("spool"), {"--keys", keys(), "--admin", "admin"});
  const auto as = [&](const std::string& name, SweepTest::Arguments arguments) {
    arguments.insert(arguments.begin(), {"--keys", keys() + "/" + name + ".key"});
    return server.client(arguments);
  };
  const std::string job =
      TestSupport::linesOf(as("alice", {"submit", "--expression", "x", "--parameters", table()}).output).at(0);
  EXPECT_EQ(as("alice", {"--quiet", "wait", job}).exitCode, 0);
  for (const char* command : {"status", "wait", "result", "log", "output", "cancel", "remove"}) {
    EXPECT_EQ(as("bob", {command, job}).exitCode, 5) << command;
  }
  EXPECT_EQ(as("bob", {"submit", "--again", job}).exitCode, 5);
  EXPECT_EQ(as("bob", {"list"}).output, "");
  EXPECT_EQ(as("bob", {"list", "--owner", "alice"}).output, "");
  EXPECT_NE(as("admin", {"list"}).output.find(" alice"), std::string::npos);
  EXPECT_EQ(as("admin", {"result", job}).exitCode, 0);
  EXPECT_EQ(as("alice", {"result", job}).exitCode, 0);
}

TEST_F(SweepSecurityTest, ProgressOfTheJobsOfOthersIsNotPublished) {
  using namespace ParameterSweep;
  constexpr std::chrono::minutes c_patience{1};
  constexpr std::chrono::milliseconds c_short{500};
  const auto in = [](Channel::Clock::duration time) { return Channel::Clock::now() + time; };
  const Drelvan::ParserSession parser{SweepSchema()};
  ASSERT_EQ(keygen(keys(), "bob").exitCode, 0);
  const Server server(m_folder.file("spool"), {"--keys", keys(), "--launch-with", "sh -c 'sleep 600'"});
  const auto alice = [&](SweepTest::Arguments arguments) {
    arguments.insert(arguments.begin(), {"--keys", aliceKeys()});
    return server.client(arguments);
  };
  const std::string job =
      TestSupport::linesOf(alice({"submit", "--expression", "x", "--parameters", table()}).output).at(0);
  const auto follow = [&](Channel& channel) {
    channel.send(writeRequestPackage({RequestKind::Follow, SweepJobId::fromText(job)}), in(c_patience));
    return readReplyPackage(channel.receive(in(c_patience))).content;
  };
  Channel owner(ServerAddress::fromText(server.publisherAddress()), readClientKeys(aliceKeys()));
  Channel other(ServerAddress::fromText(server.publisherAddress()), readClientKeys(keys() + "/bob.key"));
  EXPECT_TRUE(std::holds_alternative<JobStatus>(follow(owner)));
  EXPECT_EQ(std::get<SweepFailure>(follow(other)).getKind(), FailureKind::UnknownJob);
  ASSERT_EQ(alice({"cancel", job}).exitCode, 0);
  JobStatus last;
  while (!isEnd(last.state)) {
    last = std::get<JobStatus>(readReplyPackage(owner.receive(in(c_patience))).content);
  }
  EXPECT_EQ(last.state, JobState::Cancelled);
  EXPECT_EQ(other.receiveIfAny(in(c_short)), std::nullopt);
}

TEST_F(SweepSecurityTest, ProgressEndsWithTheKey) {
  using namespace ParameterSweep;
  constexpr std::chrono::minutes c_patience{1};
  constexpr std::chrono::milliseconds c_short{500};
  const auto in = [](Channel::Clock::duration time) { return Channel::Clock::now() + time; };
  const Drelvan::ParserSession parser{SweepSchema()};
  ASSERT_EQ(keygen(keys(), "admin").exitCode, 0);
  const std::string adminKeys = keys() + "/admin.key";
  Server server(m_folder.file("spool"), {"--keys", keys(), "--admin", "admin", "--launch-with", "sh -c 'sleep 600'"});
  const std::string job =
      TestSupport::linesOf(
          server.client({"--keys", aliceKeys(), "submit", "--expression", "x", "--parameters", table()}).output)
          .at(0);
  const auto follow = [&](Channel& channel) {
    channel.send(writeRequestPackage({RequestKind::Follow, SweepJobId::fromText(job)}), in(c_patience));
    return readReplyPackage(channel.receive(in(c_patience))).content;
  };
  Channel alice(ServerAddress::fromText(server.publisherAddress()), readClientKeys(aliceKeys()));
  Channel admin(ServerAddress::fromText(server.publisherAddress()), readClientKeys(adminKeys));
  ASSERT_TRUE(std::holds_alternative<JobStatus>(follow(alice)));
  ASSERT_TRUE(std::holds_alternative<JobStatus>(follow(admin)));
  fs::remove(keys() + "/clients/alice.pub");
  server.signal(SIGHUP);
  ASSERT_TRUE(
      SweepTest::eventually([&] { return server.errors().find("read the keys of 1 clients") != std::string::npos; }));
  ASSERT_EQ(server.client({"--keys", adminKeys, "cancel", job}).exitCode, 0);
  JobStatus last;
  while (!isEnd(last.state)) {
    last = std::get<JobStatus>(readReplyPackage(admin.receive(in(c_patience))).content);
  }
  std::optional<std::string> package;
  while ((package = alice.receiveIfAny(in(c_short)))) {  // what was sent before
    const ReplyContent content = readReplyPackage(*package).content;
    EXPECT_TRUE(std::holds_alternative<JobStatus>(content) && !isEnd(std::get<JobStatus>(content).state));
  }
}

TEST_F(SweepSecurityTest, NumberOfJobsIsLimitedForEachOwner) {
  ASSERT_EQ(keygen(keys(), "bob").exitCode, 0);
  const Server server(m_folder.file("spool"),
                      {"--keys", keys(), "--jobs-per-owner", "1", "--launch-with", SweepTest::slowLauncher("600")});
  const auto submitAs = [&](const std::string& name) {
    return server.client(
        {"--keys", keys() + "/" + name + ".key", "submit", "--expression", "x", "--parameters", table()});
  };
  const Outcome first = submitAs("alice");
  EXPECT_EQ(first.exitCode, 0) << first.errors;
  const Outcome second = submitAs("alice");
  EXPECT_EQ(second.exitCode, 17);
  EXPECT_NE(second.errors.find("wait for one, or cancel one"), std::string::npos) << second.errors;
  EXPECT_EQ(submitAs("bob").exitCode, 0);
  EXPECT_EQ(server.client({"--keys", aliceKeys(), "cancel", TestSupport::linesOf(first.output).at(0)}).exitCode, 0);
  EXPECT_EQ(submitAs("alice").exitCode, 0);
}

TEST_F(SweepSecurityTest, StoredBytesAreLimitedForEachOwner) {
  ASSERT_EQ(keygen(keys(), "bob").exitCode, 0);
  const Server server(m_folder.file("spool"), {"--keys", keys(), "--bytes-per-owner", "1"});
  std::string rows = "x\n";
  for (int row = 0; row < 6000; ++row) {
    rows += std::to_string(row) + "\n";
  }
  const std::string large = m_folder.write("large.csv", rows);
  const auto submitAs = [&](const std::string& name) {
    return server.client(
        {"--quiet", "--keys", keys() + "/" + name + ".key", "submit", "--expression", "x", "--parameters", large});
  };
  const Outcome first = submitAs("alice");
  ASSERT_EQ(first.exitCode, 0) << first.errors;
  const std::string job = TestSupport::linesOf(first.output).at(0);
  const Outcome second = submitAs("alice");
  EXPECT_EQ(second.exitCode, 17);
  EXPECT_NE(second.errors.find("remove some first"), std::string::npos) << second.errors;
  EXPECT_EQ(submitAs("bob").exitCode, 0);
  EXPECT_EQ(server.client({"--quiet", "--keys", aliceKeys(), "wait", job}).exitCode, 0);
  EXPECT_EQ(server.client({"--keys", aliceKeys(), "remove", job}).exitCode, 0);
  EXPECT_EQ(submitAs("alice").exitCode, 0);
}

TEST_F(SweepSecurityTest, KeysThatCannotBeReadAgainLeaveThoseThatWereKnown) {
  Server server(m_folder.file("spool"), {"--keys", keys()});
  fs::permissions(keys() + "/server.key", fs::perms::others_read, fs::perm_options::add);
  fs::remove(keys() + "/clients/alice.pub");
  server.signal(SIGHUP);
  EXPECT_TRUE(SweepTest::eventually(
      [&] { return server.errors().find("the keys cannot be read again") != std::string::npos; }));
  EXPECT_EQ(submitWith(server, aliceKeys()).exitCode, 0);
}

TEST_F(SweepSecurityTest, KeysAreReadAgainOnRequest) {
  Server server(m_folder.file("spool"), {"--keys", keys()});
  ASSERT_EQ(keygen(keys(), "bob").exitCode, 0);
  fs::remove(keys() + "/clients/alice.pub");
  server.signal(SIGHUP);
  EXPECT_TRUE(SweepTest::eventually([&] { return submitWith(server, keys() + "/bob.key").exitCode == 0; }));
  EXPECT_EQ(submitWith(server, aliceKeys()).exitCode, 4);
}

}  // namespace
