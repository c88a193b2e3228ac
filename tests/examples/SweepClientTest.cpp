#include <tests/examples/SweepPrograms.h>

#include <filesystem>
#include <nlohmann/json.hpp>

namespace {

using SweepTest::Arguments;
using SweepTest::Outcome;
using TestSupport::TemporaryFolder;

/// What sweep-client says without a server: nothing here gets as far as asking one.
class SweepClientTest : public testing::Test {
 protected:
  static Outcome client(Arguments arguments) {
    arguments.insert(arguments.begin(), {"--server", "127.0.0.1:1", "--timeout", "0.3"});
    return SweepTest::run(SweepTest::clientProgram(), arguments);
  }
  Outcome submit(const std::string& expression, const std::string& table) const {
    return client({"submit", "--expression", expression, "--parameters", m_folder.write("table.csv", table)});
  }

  TemporaryFolder m_folder;
};

TEST_F(SweepClientTest, ErrorInATableIsNamedWithLineAndColumn) {
  const struct {
    const char* table;
    const char* message;
  } c_cases[] = {
      {"", "line 1, column 1: there is no realization; give a line of names and at least one of numbers"},
      {"x,y\n", "line 1, column 1: there is no realization; give a line of names and at least one of numbers"},
      {"x,y\n1,2\n3,four\n", "line 3, column 2: 'four' is not a number; write it as 1.5 or 15e-1"},
      {"x,y\n1,2\n\n3\n", "line 4, column 2: 1 cells where the first line has 2"},
      {"x,y\n1,2,3\n", "line 2, column 3: 3 cells where the first line has 2"},
      {"x,y\n1,\n", "line 2, column 2: '' is not a number; write it as 1.5 or 15e-1"},
      {"x,nan\n1,NaN\n", "line 2, column 2: 'NaN' is not a number; write it as 1.5 or 15e-1"},
      {"x,y\n1,1;5\n", "line 2, column 2: '1;5' is not a number; write it as 1.5 or 15e-1"},
      {"x,x\n1,2\n", "line 1, column 2: duplicate column 'x'"},
      {"x,\n1,2\n", "line 1, column 2: a parameter name is missing"},
      {"realizationId\n1\n", "line 1, column 1: there is no parameter"},
      {"realizationId,x\n-1,2\n",
       "line 2, column 1: '-1' is not a realization id, which is a whole number from 0 to 4294967295"},
      {"realizationId,x\n1,2\n1,3\n", "line 3, column 1: duplicate realization id 1"},
      {"x,realizationId\n1,2\n1,2\n", "line 3, column 2: duplicate realization id 2"},
      {"x,1y\n1,2\n", "line 1, column 2: '1y' cannot name a parameter; use letters, digits and '_'"},
      {"x\n1\x01\t2\n", "line 2, column 1: '1??2' is not a number; write it as 1.5 or 15e-1"},
  };
  for (const auto& [table, message] : c_cases) {
    const Outcome outcome = submit("x", table);
    EXPECT_EQ(outcome.exitCode, 6) << table;
    EXPECT_EQ(outcome.errors, "sweep-client: " + m_folder.file("table.csv") + ": " + message + "\n");
  }
}

TEST_F(SweepClientTest, TablesOfEveryUsualFormAreRead) {
  for (const char* table : {"x\n1\n", "x\r\n1\r\n", "\xEF\xBB\xBFx\n1", "\"x\" , y\n \"1\",+2e0\n", "\n\nx\n\n1\n"}) {
    EXPECT_EQ(submit("x", table).exitCode, 3) << table;
  }
}

TEST_F(SweepClientTest, ErrorInAnExpressionIsNamedWithItsPosition) {
  const struct {
    const char* expression;
    const char* start;
  } c_cases[] = {
      {"x+*2", "sweep-client: bad expression at position 3: Unexpected operator \"*\" found"},
      {"x+unknown", "sweep-client: bad expression at position 3: Unexpected token \"unknown\" found"},
      {"sin(x", "sweep-client: bad expression at position "},
      {"1,2", "sweep-client: bad expression: it has several results"},
      {"sin()", "sweep-client: bad expression at position 5: Too few parameters for function \"sin\"\n"},
  };
  for (const auto& [expression, start] : c_cases) {
    const Outcome outcome = submit(expression, "x\n1\n");
    EXPECT_EQ(outcome.exitCode, 7) << expression;
    EXPECT_EQ(outcome.errors.rfind(start, 0), 0U) << outcome.errors;
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
  }
}

TEST_F(SweepClientTest, ExpressionIsAsLongAsTheSchemaAllows) {
  std::string longest = "x";
  while (longest.size() < 4095) {
    longest += "+x";
  }
  EXPECT_EQ(submit(longest + " ", "x\n1\n").exitCode, 3);
  for (const std::size_t length : {std::size_t{4097}, std::size_t{30000}}) {
    const Outcome outcome = submit(std::string(length, 'x'), "x\n1\n");
    EXPECT_EQ(outcome.exitCode, 7);
    EXPECT_EQ(outcome.errors, "sweep-client: bad expression: it is longer than 4096 characters\n");
  }
}

TEST_F(SweepClientTest, ServerThatDoesNotAnswerIsUnreachable) {
  const Outcome outcome = submit("x", "x\n1\n");
  EXPECT_EQ(outcome.exitCode, 3);
  EXPECT_EQ(
      outcome.errors,
      "sweep-client: no answer from 127.0.0.1:1: no connection; check that sweep-server runs there, and the port\n");
}

TEST_F(SweepClientTest, ServerIsGivenByHostAndPort) {
  for (const char* server : {"", "host", "host:", ":5701", "host:0", "host:65536", "host:x", "::1:5701", "[]:1"}) {
    const Outcome outcome = SweepTest::run(SweepTest::clientProgram(), {"--server", server, "status", "x"});
    EXPECT_EQ(outcome.exitCode, 14) << server;
    EXPECT_EQ(outcome.errors, "sweep-client: '" + std::string(server) +
                                  "' is not a server address; use HOST:PORT, or [ADDRESS]:PORT for IPv6\n");
  }
}

TEST_F(SweepClientTest, TextThatIsNoJobIdIsAMalformedId) {
  for (const char* job : {"x", "#", "", "Sweep_1#1", "a#0123456789abcdef-0123456789abcdef-0123456789abcdef",
                          "Sweep_9123456789#0123456789abcdef-0123456789abcdef-0123456789abcdef"}) {
    const Outcome outcome = client({"status", job});
    EXPECT_EQ(outcome.exitCode, 5) << job;
    EXPECT_EQ(outcome.errors, "sweep-client: malformed job id; give the id that submit printed\n") << job;
  }
}

TEST_F(SweepClientTest, IdOfAnotherServicesJobIsAnUnknownJob) {
  const Outcome outcome = client({"status", "Other_0123456789#0123456789abcdef-0123456789abcdef-0123456789abcdef"});
  EXPECT_EQ(outcome.exitCode, 5);
  EXPECT_EQ(outcome.errors, "sweep-client: not the id of a sweep job; give the id that submit printed\n");
}

TEST_F(SweepClientTest, WrongUseHasItsOwnExitCode) {
  EXPECT_EQ(client({}).exitCode, 2);
  EXPECT_EQ(client({"submit"}).exitCode, 2);
  EXPECT_EQ(client({"dance"}).exitCode, 2);
  EXPECT_EQ(client({"status"}).exitCode, 2);
  EXPECT_EQ(client({"--help"}).exitCode, 0);
  EXPECT_EQ(client({"--keys", "", "status", "x"}).exitCode, 2);
  for (const char* time : {"0", "-1", "soon", "nan", "1e300"}) {
    const Outcome outcome = client({"--json", "--timeout", time, "status", "x"});
    EXPECT_EQ(outcome.exitCode, 2) << time;
    EXPECT_EQ(nlohmann::json::parse(outcome.errors)["message"], "--timeout: use seconds above 0, such as 2.5");
  }
}

TEST_F(SweepClientTest, ErrorWithLocalFilesIsNamed) {
  const Outcome missing = client({"submit", "--expression", "x", "--parameters", m_folder.file("missing.csv")});
  EXPECT_EQ(missing.exitCode, 14);
  EXPECT_EQ(missing.errors, "sweep-client: cannot read '" + m_folder.file("missing.csv") + "'\n");
  const Outcome keys = client({"--keys", m_folder.file("missing.key"), "status", "x"});
  EXPECT_EQ(keys.exitCode, 14);
}

TEST_F(SweepClientTest, TableThatCannotBeReadToItsEndIsNotCutShort) {
  const Outcome outcome = client({"submit", "--expression", "x", "--parameters", "/proc/self/mem"});
  EXPECT_EQ(outcome.exitCode, 14);
  EXPECT_EQ(outcome.errors, "sweep-client: /proc/self/mem: it cannot be read to its end\n");
}

TEST_F(SweepClientTest, FailureIsJsonWhateverTheUserWrote) {
  const Outcome outcome = client({"--json", "submit", "--expression", "x", "--parameters", "\xFF.csv"});
  EXPECT_EQ(outcome.exitCode, 14);
  EXPECT_EQ(nlohmann::json::parse(outcome.errors)["message"], "cannot read '\xEF\xBF\xBD.csv'");
}

TEST_F(SweepClientTest, FailuresAreJsonWhereAskedFor) {
  const Outcome outcome = client({"--json", "status", "x"});
  const auto failure = nlohmann::json::parse(outcome.errors);
  EXPECT_EQ(failure["kind"], "UnknownJob");
  EXPECT_EQ(failure["exitCode"], outcome.exitCode);
}

TEST_F(SweepClientTest, ResultThatCannotBeWrittenIsNamed) {
  const SweepTest::Server server(m_folder.file("spool"));
  const std::string job = server.submit("x", m_folder.write("table.csv", "x\n1\n"));
  server.client({"wait", job});
  const Outcome outcome = server.client({"result", job, "--output", m_folder.file("nowhere/out.csv")});
  EXPECT_EQ(outcome.exitCode, 14);
  EXPECT_NE(outcome.errors.find("'" + m_folder.file("nowhere/out.csv") + "': No such file"), std::string::npos)
      << outcome.errors;
  EXPECT_EQ(server.client({"result", job, "--output", "/dev/full"}).exitCode, 14);
  const Outcome accepted = server.client({"submit", "--expression", "x", "--parameters", m_folder.file("table.csv"),
                                          "--output", m_folder.file("nowhere/out.csv")});
  EXPECT_EQ(accepted.exitCode, 14);
  const std::size_t named = accepted.errors.find("; the job is Sweep_");
  ASSERT_NE(named, std::string::npos) << accepted.errors;
  const std::string unseen = accepted.errors.substr(accepted.errors.find("Sweep_", named));
  EXPECT_EQ(server.client({"--quiet", "wait", unseen.substr(0, unseen.find('\n'))}).exitCode, 0);
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

TEST_F(SweepClientTest, OutputKeepsThePermissionsOfTheFileAndFollowsLinks) {
  const SweepTest::Server server(m_folder.file("spool"));
  const std::string job = server.submit("x", m_folder.write("table.csv", "x\n1\n"));
  server.client({"wait", job});
  const std::string file = m_folder.write("out.csv", "old");
  const std::string link = m_folder.file("link.csv");
  std::filesystem::permissions(file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  std::filesystem::create_symlink(file, link);
  ASSERT_EQ(server.client({"result", job, "--output", link}).exitCode, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(TestSupport::TemporaryFolder::read(file), "realizationId,result\n1,1\n");
  EXPECT_EQ(std::filesystem::status(file).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(SweepClientTest, OutputWithABareNameIsMadeInTheFolderOfTheUser) {
  const SweepTest::Server server(m_folder.file("spool"));
  const Outcome outcome =
      SweepTest::run("/usr/bin/env", {"-C", m_folder.path().string(), SweepTest::clientProgram(), "--server",
                                      server.address(), "submit", "--wait", "--expression", "x", "--parameters",
                                      m_folder.write("table.csv", "x\n1\n"), "--output", "result.csv"});
  EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
  EXPECT_EQ(TestSupport::TemporaryFolder::read(m_folder.file("result.csv")), "realizationId,result\n1,1\n");
}

TEST_F(SweepClientTest, DrawingNeedsAGnuplotThatWorks) {
  const SweepTest::Server server(m_folder.file("spool"));
  const std::string job = server.submit("amplitude", SWEEP_MODEL);
  server.client({"wait", job});
  const std::string drawing = m_folder.write("result.svg", "old");
  const auto plotWithPath = [&](const std::string& path) {
    return SweepTest::run("/usr/bin/env", {"PATH=" + path, SweepTest::clientProgram(), "--server", server.address(),
                                           "result", job, "--plot", drawing});
  };
  const Outcome missing = plotWithPath(m_folder.file("nowhere"));
  EXPECT_EQ(missing.exitCode, 14);
  EXPECT_EQ(missing.errors, "sweep-client: gnuplot cannot be found; install it, or leave --plot out\n");
  std::filesystem::permissions(m_folder.write("gnuplot", "#!/bin/sh\nexit 1\n"), std::filesystem::perms::owner_all);
  const Outcome failing = plotWithPath(std::filesystem::path(drawing).parent_path().string());
  EXPECT_EQ(failing.exitCode, 14);
  EXPECT_EQ(failing.errors, "sweep-client: gnuplot could not draw the result\n");
  EXPECT_EQ(TestSupport::TemporaryFolder::read(drawing), "old");
}

}  // namespace
