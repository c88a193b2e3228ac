#include <gtest/gtest.h>
#include <tests/examples/SweepPrograms.h>
#include <tests/support/Pattern.h>
#include <tests/support/Program.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace {

using nlohmann::json;
using SweepTest::Outcome;
using SweepTest::Server;
using TestSupport::linesOf;
using TestSupport::TemporaryFolder;

/// What a user does with the client besides submitting and fetching one job.
class SweepCommandsTest : public testing::Test {
 protected:
  std::string table(const std::string& text = "x\n1\n2\n") const { return m_folder.write("table.csv", text); }
  /// Submits with these options and returns the job's id.
  std::string submit(SweepTest::Arguments options, const Server& server) const {
    options.insert(options.begin(), {"submit", "--expression", "2*x", "--parameters", table()});
    const Outcome outcome = server.client(options);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    return outcome.output.substr(0, outcome.output.find('\n'));
  }
  std::string submit(const SweepTest::Arguments& options = {}) const { return submit(options, m_server); }
  json status(const std::string& job) const { return json::parse(m_server.client({"--json", "status", job}).output); }

  TemporaryFolder m_folder;
  Server m_server{m_folder.file("spool")};
};

/// A table of so many realizations, with ten columns, the first of which counts from 0.
std::string bigTable(int realizations) {
  std::string text = "a,b,c,d,e,f,g,h,i,j\n";
  for (int number = 0; number < realizations; ++number) {
    text += std::to_string(number) + ",1.25,2.5,3.75,1e-3,1e3,123456.789,0.1,0.2,0.3\n";
  }
  return text;
}

TEST_F(SweepCommandsTest, JobsAreListedTheNewestFirstAndByState) {
  const std::string first = submit({"--name", "the first"});
  const std::string second = submit();
  ASSERT_EQ(m_server.client({"wait", first, second}).exitCode, 0);
  const auto lines = linesOf(m_server.client({"list"}).output);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].rfind(second + " Finished  100 % ", 0), 0U) << lines[0];
  EXPECT_EQ(lines[1].rfind(first + " Finished  100 % ", 0), 0U) << lines[1];
  EXPECT_NE(lines[1].find(" the first"), std::string::npos) << lines[1];
  const auto objects = linesOf(m_server.client({"--json", "list", "--state", "Finished"}).output);
  ASSERT_EQ(objects.size(), 2U);
  EXPECT_EQ(json::parse(objects[1])["job"], first);
  EXPECT_EQ(json::parse(objects[1])["title"], "the first");
  EXPECT_EQ(m_server.client({"list", "--state", "Failed"}).output, "");
  EXPECT_EQ(m_server.client({"list", "--owner", "somebody else"}).output, "");
  EXPECT_EQ(m_server.client({"list", "--state", "finished"}).exitCode, 2);
}

/// The line of the list without its digits, which are those of an id and of times.
std::string listedAs(const Server& server, const std::string& job) {
  const std::string line = server.client({"list"}).output;
  EXPECT_EQ(line.rfind(job + " ", 0), 0U) << line;
  return TestSupport::Pattern("[0-9]").replaceAll(line.substr(std::min(line.size(), job.size() + 1)), "0");
}

TEST_F(SweepCommandsTest, ListTellsWhenAJobWasSubmittedStartedAndEnded) {
  const std::string time = "0000-00-00T00:00:00Z";
  const std::string none = "-                   ";
  const Server server(m_folder.file("other"), {"--tries", "1", "--launch-with",
                                               "sh -c 'while [ ! -e " + m_folder.file("go") +
                                                   " ]; do sleep 0.02; done; exec \"$@\"' launcher"});
  const std::string job = submit({"--name", "the name"}, server);
  ASSERT_EQ(server.waitForState(job, "Running"), "Running");
  EXPECT_EQ(listedAs(server, job), "Running     0 % " + time + " " + time + " " + none + " the name\n");
  m_folder.write("go", "");
  ASSERT_EQ(server.client({"--quiet", "wait", job}).exitCode, 0);
  EXPECT_EQ(listedAs(server, job), "Finished  000 % " + time + " " + time + " " + time + " the name\n");
  const json object = json::parse(server.client({"--json", "list"}).output);
  for (const char* name : {"submitted", "started", "ended"}) {
    EXPECT_EQ(object.value(name, "").size(), time.size()) << name;
  }
}

TEST_F(SweepCommandsTest, AnswerThatIsEmptyEmptiesTheOutputFile) {
  const std::string job = submit();
  ASSERT_EQ(m_server.client({"--quiet", "wait", job}).exitCode, 0);
  for (const SweepTest::Arguments& command :
       {SweepTest::Arguments{"output", job}, SweepTest::Arguments{"list", "--state", "Failed"}}) {
    SweepTest::Arguments arguments{"--output", m_folder.write("answer", "of an earlier command\n")};
    arguments.insert(arguments.end(), command.begin(), command.end());
    EXPECT_EQ(m_server.client(arguments).exitCode, 0);
    EXPECT_EQ(TemporaryFolder::read(m_folder.file("answer")), "") << command.front();
  }
  const std::string kept = m_folder.write("kept", "nothing is answered here\n");
  EXPECT_EQ(m_server.client({"--quiet", "--output", kept, "wait", job}).exitCode, 0);
  EXPECT_EQ(TemporaryFolder::read(kept), "nothing is answered here\n");
}

TEST_F(SweepCommandsTest, RemovedJobsAreUnknown) {
  const std::string job = submit();
  ASSERT_EQ(m_server.client({"wait", job}).exitCode, 0);
  EXPECT_EQ(m_server.client({"remove", job}).output, job + "\n");
  EXPECT_EQ(m_server.client({"status", job}).exitCode, 5);
  EXPECT_EQ(m_server.client({"remove", job}).exitCode, 5);
}

TEST_F(SweepCommandsTest, JobThatHasNotEndedIsNotRemoved) {
  const Server slow(m_folder.file("slow"), {"--launch-with", "sh -c 'sleep 600'"});
  const std::string job = submit({}, slow);
  EXPECT_EQ(slow.client({"remove", job}).exitCode, 8);
  EXPECT_EQ(slow.client({"status", job}).exitCode, 0);
}

TEST_F(SweepCommandsTest, SeveralJobsAreWaitedForAndEachFailureIsNamed) {
  const std::string good = submit();
  const std::string bad = submit();
  const Outcome outcome = m_server.client({"--quiet", "wait", good, "nonsense", bad});
  EXPECT_EQ(outcome.exitCode, 5);
  EXPECT_EQ(outcome.errors, "sweep-client: nonsense: malformed job id; give the id that submit printed\n");
  const Outcome states = m_server.client({"status", good, "nonsense", bad});
  EXPECT_EQ(states.exitCode, 5);
  const auto lines = linesOf(states.output);
  ASSERT_EQ(lines.size(), 2U) << states.output;
  EXPECT_EQ(lines[0].rfind(good + " Finished 100 %", 0), 0U) << lines[0];
  EXPECT_EQ(lines[1].rfind(bad + " Finished 100 %", 0), 0U) << lines[1];
}

TEST_F(SweepCommandsTest, OutcomeOfSeveralJobsIsTheFirstFailure) {
  const Server failing(m_folder.file("failing"), {"--tries", "1", "--launch-with", "sh -c 'exit 7'"});
  const std::string failed = submit({}, failing);
  EXPECT_EQ(failing.waitForState(failed, "Failed"), "Failed");
  const std::string other = submit({}, failing);
  const Outcome outcome = failing.client({"--quiet", "--json", "wait", failed, other});
  EXPECT_EQ(outcome.exitCode, 9);
  const auto states = linesOf(outcome.output);
  ASSERT_EQ(states.size(), 2U);
  EXPECT_EQ(json::parse(states[0])["failure"]["kind"], "JobFailed");
  EXPECT_EQ(linesOf(outcome.errors).size(), 2U);
}

TEST_F(SweepCommandsTest, WaitPrintsTheLastStateAsJson) {
  const std::string job = submit();
  const Outcome outcome = m_server.client({"--quiet", "--json", "wait", job});
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_EQ(json::parse(outcome.output)["state"], "Finished");
  EXPECT_EQ(json::parse(outcome.output)["job"], job);
}

TEST_F(SweepCommandsTest, WhatProgressPrintsIsAcceptedAsAnId) {
  const Outcome outcome = m_server.client({"submit", "--expression", "x", "--parameters", table(), "--wait"});
  const auto lines = linesOf(outcome.errors);
  ASSERT_FALSE(lines.empty());
  const std::string printed = lines.back().substr(0, lines.back().find(' '));
  EXPECT_EQ(m_server.client({"result", printed}).exitCode, 0) << printed;
}

TEST_F(SweepCommandsTest, TableIsReadFromStandardInput) {
  const Outcome outcome = SweepTest::run(
      SweepTest::clientProgram(),
      {"--server", m_server.address(), "--quiet", "submit", "--wait", "--expression", "x+1", "--parameters", "-"},
      "x\n41\n");
  EXPECT_EQ(outcome.output, "realizationId,result\n1,42\n") << outcome.errors;
  const Outcome wrong =
      SweepTest::run(SweepTest::clientProgram(), {"submit", "--expression", "x", "--parameters", "-"}, "x\none\n");
  EXPECT_EQ(wrong.exitCode, 6);
  EXPECT_EQ(wrong.errors,
            "sweep-client: standard input: line 2, column 1: 'one' is not a number; write it as 1.5 or 15e-1\n");
}

TEST_F(SweepCommandsTest, JobIsSubmittedAgainUnderANewId) {
  const std::string job = submit();
  ASSERT_EQ(m_server.client({"wait", job}).exitCode, 0);
  const Outcome again = m_server.client({"--quiet", "submit", "--again", job, "--name", "once more", "--wait"});
  EXPECT_EQ(again.exitCode, 0) << again.errors;
  EXPECT_EQ(again.output, "realizationId,result\n1,2\n2,4\n");
  EXPECT_EQ(linesOf(m_server.client({"list"}).output).size(), 2U);
  EXPECT_EQ(m_server.client({"submit", "--again", "nonsense"}).exitCode, 5);
  EXPECT_EQ(m_server.client({"submit", "--again", job, "--expression", "x", "--parameters", table()}).exitCode, 2);
}

TEST_F(SweepCommandsTest, PriorityAndPartSizeAreKept) {
  const std::string job = submit({"--priority", "7", "--part-size", "1"});
  ASSERT_EQ(m_server.client({"wait", job}).exitCode, 0);
  EXPECT_EQ(status(job)["priority"], 7);
  EXPECT_EQ(status(job)["parts"], 2);
  EXPECT_EQ(status(job)["partsDone"], 2);
  EXPECT_EQ(m_server.client({"result", job}).output, "realizationId,result\n1,2\n2,4\n");
  EXPECT_NE(m_server.client({"status", job}).output.find(" Finished 100 %, 2 of 2 parts"), std::string::npos);
  for (const char* value : {"101", "-101", "high"}) {
    EXPECT_EQ(m_server.client({"submit", "--expression", "x", "--parameters", table(), "--priority", value}).exitCode,
              2);
  }
}

TEST_F(SweepCommandsTest, NameMayBeAsLongAsTheServerTakesIt) {
  const std::string job = submit({"--name", std::string(200, 'n')});
  EXPECT_EQ(status(job)["title"], std::string(200, 'n'));
  std::string umlauts;
  for (int count = 0; count < 200; ++count) {
    umlauts += "\u00fc";
  }
  EXPECT_EQ(status(submit({"--name", umlauts}))["title"], umlauts);
  EXPECT_EQ(m_server.client({"submit", "--expression", "x", "--parameters", table(), "--name", std::string(201, 'n')})
                .exitCode,
            2);
}

TEST_F(SweepCommandsTest, ResultsDoNotDependOnHowTheSweepIsCutAndSent) {
  constexpr int c_realizations = 3000;
  const std::string file = m_folder.write("big.csv", bigTable(c_realizations));
  std::vector<std::string> results;
  for (const char* size : {"100000", "999", "250"}) {
    const Outcome outcome = m_server.client({"--quiet", "--timeout", "60", "submit", "--wait", "--expression", "a+b",
                                             "--parameters", file, "--part-size", size});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    results.push_back(outcome.output);
  }
  EXPECT_EQ(linesOf(results[0]).size(), c_realizations + 1U);
  EXPECT_EQ(linesOf(results[0]).back(), "3000,3000.25");
  EXPECT_EQ(results[1], results[0]);
  EXPECT_EQ(results[2], results[0]);
}

TEST_F(SweepCommandsTest, LogIsFollowedUntilTheJobHasEnded) {
  const Server slow(m_folder.file("slow"), {"--launch-with", "sh -c 'while [ ! -e " + m_folder.file("go") +
                                                                 " ]; do sleep 0.02; done; exec \"$@\"' launcher"});
  const std::string job = submit({}, slow);
  SweepTest::RunningClient log(slow.address(), {"log", "--follow", job});
  EXPECT_TRUE(SweepTest::eventually([&] { return log.output().find("accepted") != std::string::npos; }));
  m_folder.write("go", "");
  const Outcome outcome = log.wait();
  EXPECT_EQ(outcome.exitCode, 0);
  const auto lines = linesOf(outcome.output);
  ASSERT_FALSE(lines.empty());
  EXPECT_NE(lines.back().find("Info sweep-server: Finished"), std::string::npos) << outcome.output;
}

TEST_F(SweepCommandsTest, WhatTheProgramsOfAJobWroteIsPrintedWhole) {
  const Server loud(m_folder.file("loud"),
                    {"--launch-with", "sh -c 'seq 1 20000; echo last words >&2; exec \"$@\"' launcher"});
  const std::string job = submit({}, loud);
  const Outcome outcome = loud.client({"output", "--follow", job});
  EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
  const auto lines = linesOf(outcome.output);
  ASSERT_GE(lines.size(), 20001U);
  EXPECT_NE(std::find(lines.begin(), lines.end(), "20000"), lines.end());
  EXPECT_NE(std::find(lines.begin(), lines.end(), "last words"), lines.end());
  EXPECT_EQ(loud.client({"output", job}).output, outcome.output);
}

TEST_F(SweepCommandsTest, HealthIsOneLineAndAnExitCode) {
  const Outcome text = m_server.client({"ping"});
  EXPECT_EQ(text.exitCode, 0);
  EXPECT_EQ(text.output.rfind("healthy: sweep-server ", 0), 0U) << text.output;
  const json health = json::parse(m_server.client({"--json", "ping"}).output);
  EXPECT_EQ(health["healthy"], true);
  EXPECT_EQ(health["engine"], "local");
  EXPECT_GT(health["bytesFree"], 0);
}

/// The entries about the job in a log in JSON form, of which the message begins so.
std::size_t countEntriesAbout(const std::string& job, const std::string& log, const std::string& begin = "") {
  const auto lines = linesOf(log);
  return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
    const json entry = json::parse(line, nullptr, false);
    return entry.is_object() && entry.value("job", "") == job && entry.contains("level") &&
           entry.value("message", "").rfind(begin, 0) == 0;
  }));
}

TEST_F(SweepCommandsTest, LogEntriesOfAllProgramsNameTheirJob) {
  ASSERT_EQ(setenv("DV_LOG_FORMAT", "json", 1), 0);
  ASSERT_EQ(setenv("DV_LOG_LEVEL", "debug", 1), 0);
  const Server server(m_folder.file("logged"));
  const std::string job = submit({}, server);
  const Outcome waited = server.client({"--quiet", "wait", job.substr(job.find('#') + 1)});
  EXPECT_EQ(waited.exitCode, 0) << waited.errors;
  EXPECT_GT(countEntriesAbout(job, waited.errors), 0U) << waited.errors;
  EXPECT_GT(countEntriesAbout(job, server.client({"output", job}).output), 0U);
  EXPECT_TRUE(SweepTest::eventually([&] { return countEntriesAbout(job, server.errors()) > 1; })) << server.errors();
  EXPECT_EQ(server.client({"cancel", job}).exitCode, 8);
  EXPECT_TRUE(SweepTest::eventually([&] { return countEntriesAbout(job, server.errors(), "refused: ") == 1; }))
      << server.errors();
  const SweepTest::Outcome unknown =
      server.client({"status", "Sweep_0123456789#0123456789abcdef-0123456789abcdef-0123456789abcdef"});
  EXPECT_GT(countEntriesAbout("Sweep_0123456789#0123456789abcdef-0123456789abcdef-0123456789abcdef", unknown.errors),
            0U)
      << unknown.errors;
}

TEST_F(SweepCommandsTest, ServerIsReachedOverIpVersion6) {
  std::ifstream addresses("/proc/net/if_inet6");
  std::string first;
  if (!(addresses >> first)) {
    GTEST_SKIP() << "this machine has no IPv6";
  }
  const Server server(m_folder.file("spool6"), {"--bind", "::1"});
  const Outcome outcome =
      SweepTest::run(SweepTest::clientProgram(), {"--server", "[::1]:" + server.requestPort(), "--quiet", "submit",
                                                  "--wait", "--expression", "x", "--parameters", table("x\n1\n")});
  EXPECT_EQ(outcome.output, "realizationId,result\n1,1\n") << outcome.errors;
}

TEST_F(SweepCommandsTest, JobProgramSaysWhatIsWrongWithItsJob) {
  const std::string uniqueId = "0123456789abcdef-0123456789abcdef-0123456789abcdef";
  const auto message = [&](const SweepTest::Arguments& job) {
    SweepTest::Arguments arguments{m_folder.file("spool"), "1", "1"};
    arguments.insert(arguments.end(), job.begin(), job.end());
    const Outcome outcome = SweepTest::run(SweepTest::jobProgram(), arguments);
    EXPECT_EQ(outcome.exitCode, 1);
    return outcome.errors;
  };
  const std::string malformed = "sweep-job: malformed job id; give the id that submit printed\n";
  for (const std::string& job : {std::string("x"), "x#" + uniqueId, "Sweep_9123456789#" + uniqueId, std::string()}) {
    EXPECT_EQ(message({"-jobId", job}), malformed) << job;
  }
  EXPECT_EQ(message({"-jobId"}), malformed);
  EXPECT_EQ(message({"-jobId", "Other_0123456789#" + uniqueId}),
            "sweep-job: not the id of a sweep job; give the id that submit printed\n");
  for (const char* part : {"slurm", "0", "x", "-1", "1x", "99999999999"}) {
    const Outcome outcome = SweepTest::run(
        SweepTest::jobProgram(), {m_folder.file("spool"), part, "1", "-jobId", "Sweep_0123456789#" + uniqueId});
    EXPECT_EQ(outcome.errors, std::string("sweep-job: '") + part +
                                  "' is not a part number; use 1 or more, or 'slurm' in a task of a job array\n");
  }
}

TEST_F(SweepCommandsTest, OptionsOfAnotherEngineAreWrongUse) {
  for (const SweepTest::Arguments& options : {SweepTest::Arguments{"--slurm-options", "--partition=long"},
                                              {"--engine", "slurm", "--jobs", "2"},
                                              {"--engine", "slurm", "--stop-jobs"},
                                              {"--engine", "slurm", "--launch-with", "ssh node1"}}) {
    SweepTest::Arguments arguments{"--request-port", "0", "--publisher-port", "0", "--spool", m_folder.file("none")};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Outcome outcome = SweepTest::run(SweepTest::serverProgram(), arguments);
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_NE(outcome.errors.find("leave it out, or choose that engine"), std::string::npos) << outcome.errors;
  }
}

TEST_F(SweepCommandsTest, ProgramsTellTheirVersions) {
  for (const std::string& program : {SweepTest::clientProgram(), SweepTest::serverProgram(), SweepTest::jobProgram()}) {
    const Outcome outcome = SweepTest::run(program, {"--version"});
    EXPECT_EQ(outcome.exitCode, 0) << program;
    EXPECT_EQ(outcome.output.rfind(program.substr(program.rfind('/') + 1) + " ", 0), 0U) << outcome.output;
  }
}

}  // namespace
