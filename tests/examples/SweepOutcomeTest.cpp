#include <tests/examples/RawClient.h>
#include <tests/examples/SweepPrograms.h>
#include <tests/support/Sanitized.h>

#include <cerrno>
#include <csignal>
#include <nlohmann/json.hpp>

namespace {

using SweepTest::Outcome;
using SweepTest::Server;
using TestSupport::TemporaryFolder;

class SweepOutcomeTest : public SweepTest::RawTest {
 protected:
  std::string spool() const { return m_folder.file("spool"); }
  std::string table() const { return m_folder.write("table.csv", "x\n1\n"); }
  std::string pidFile() const { return m_folder.file("pid"); }

  /// Whether the process that wrote its number to the file is gone.
  bool isProcessGone() const {
    const std::string number = TemporaryFolder::read(pidFile());
    return !number.empty() && ::kill(std::stoi(number), 0) != 0 && errno == ESRCH;
  }

  TemporaryFolder m_folder;
};

TEST_F(SweepOutcomeTest, CancelledJobEndsWithItsProcess) {
  Server server(spool(), {"--launch-with", "sh -c 'echo $$ > " + pidFile() + "; sleep 600'"});
  const std::string job = server.submit("x", table());
  ASSERT_EQ(server.waitForState(job, "Running"), "Running");
  ASSERT_TRUE(SweepTest::eventually([&] { return !TemporaryFolder::read(pidFile()).empty(); }));
  EXPECT_EQ(server.client({"cancel", job}).exitCode, 0);
  EXPECT_EQ(server.state(job), "Cancelled");
  EXPECT_TRUE(SweepTest::eventually([&] { return isProcessGone(); }));
  const Outcome waited = server.client({"--quiet", "wait", job});
  EXPECT_EQ(waited.exitCode, 10);
  EXPECT_EQ(waited.errors, "sweep-client: the job was cancelled\n");
  EXPECT_EQ(server.client({"result", job}).exitCode, 10);
  EXPECT_EQ(server.client({"cancel", job}).exitCode, 0);
}

TEST_F(SweepOutcomeTest, JobThatIgnoresTheRequestToEndIsEndedByForce) {
  Server server(spool(),
                {"--launch-with", "sh -c 'trap \"\" TERM; echo $$ > " + pidFile() + "; while :; do sleep 0.1; done'"});
  const std::string job = server.submit("x", table());
  ASSERT_TRUE(SweepTest::eventually([&] { return !TemporaryFolder::read(pidFile()).empty(); }));
  EXPECT_EQ(server.client({"cancel", job}).exitCode, 0);
  EXPECT_TRUE(SweepTest::eventually([&] { return isProcessGone(); }));
}

TEST_F(SweepOutcomeTest, QueuedJobCanBeCancelledAndTheOthersGoOn) {
  const std::string go = m_folder.file("go");
  Server server(spool(), {"--jobs", "1", "--launch-with",
                          "sh -c 'while [ ! -e " + go + " ]; do sleep 0.02; done; exec \"$@\"' launcher"});
  const std::string first = server.submit("x", table());
  const std::string second = server.submit("x", table());
  const std::string third = server.submit("x", table());
  EXPECT_EQ(server.client({"cancel", second}).exitCode, 0);
  m_folder.write("go", "");
  EXPECT_EQ(server.client({"wait", first}).exitCode, 0);
  EXPECT_EQ(server.client({"wait", third}).exitCode, 0);
  EXPECT_EQ(server.state(second), "Cancelled");
}

TEST_F(SweepOutcomeTest, NoMoreJobsRunAtOnceThanAllowed) {
  Server server(spool(), {"--jobs", "2", "--launch-with", "sh -c 'sleep 600'"});
  std::vector<std::string> jobs;
  for (int index = 0; index < 4; ++index) {
    jobs.push_back(server.submit("x", table()));
  }
  EXPECT_EQ(server.waitForState(jobs[0], "Running"), "Running");
  EXPECT_EQ(server.waitForState(jobs[1], "Running"), "Running");
  EXPECT_EQ(server.state(jobs[2]), "Queued");
  EXPECT_EQ(server.state(jobs[3]), "Queued");
}

TEST_F(SweepOutcomeTest, FinishedJobCannotBeCancelled) {
  Server server(spool());
  const std::string job = server.submit("x", table());
  server.client({"wait", job});
  const Outcome outcome = server.client({"cancel", job});
  EXPECT_EQ(outcome.exitCode, 8);
  EXPECT_EQ(server.state(job), "Finished");
}

TEST_F(SweepOutcomeTest, ResultOfAnUnfinishedJobIsRefused) {
  Server server(spool(), {"--launch-with", "sh -c 'sleep 600'"});
  const std::string job = server.submit("x", table());
  const Outcome outcome = server.client({"result", job});
  EXPECT_EQ(outcome.exitCode, 8);
  EXPECT_EQ(outcome.errors, "sweep-client: the job is not finished; wait for it first\n");
}

TEST_F(SweepOutcomeTest, JobThatRunsTooLongTimesOutAndItsProcessEnds) {
  Server server(spool(), {"--job-timeout", "1", "--launch-with", "sh -c 'echo $$ > " + pidFile() + "; sleep 600'"});
  const std::string job = server.submit("x", table());
  const Outcome outcome = server.client({"--quiet", "wait", job});
  EXPECT_EQ(outcome.exitCode, 11);
  EXPECT_NE(outcome.errors.find("longer than the 1 s"), std::string::npos) << outcome.errors;
  EXPECT_TRUE(SweepTest::eventually([&] { return isProcessGone(); }));
}

TEST_F(SweepOutcomeTest, PartThatUsesTooMuchProcessorTimeIsEnded) {
  Server server(spool(), {"--part-timeout", "1", "--launch-with", "sh -c 'while :; do :; done'"});
  const std::string job = server.submit("x", table());
  const Outcome outcome = server.client({"--quiet", "wait", job});
  EXPECT_EQ(outcome.exitCode, 15);
  EXPECT_EQ(outcome.errors.rfind("sweep-client: a part used more processor time than this server allows", 0), 0U)
      << outcome.errors;
  EXPECT_EQ(server.state(job), "Failed");
}

TEST_F(SweepOutcomeTest, PartThatWaitsUsesNoProcessorTime) {
  Server server(spool(), {"--part-timeout", "1", "--launch-with", SweepTest::slowLauncher("2")});
  EXPECT_EQ(server.client({"wait", server.submit("x", table())}).exitCode, 0);
}

TEST_F(SweepOutcomeTest, PartThatNeedsTooMuchMemoryIsEnded) {
  if (TestSupport::c_sanitized) {
    GTEST_SKIP() << "an instrumented program reserves more address space than any limit";
  }
  Server server(spool(), {"--part-memory", "110", "--max-package", "33554432"});
  auto request = SweepTest::makeSubmission("x");
  for (std::uint32_t id = 2; id <= 80000; ++id) {
    request.sweep.vectors.push_back({id, {{"x", 1.0 * id}}});
  }
  SweepTest::RawClient client(server.address());
  ASSERT_EQ(SweepTest::refusal(client.ask(request)), "status");
  const Outcome outcome = server.client({"--quiet", "wait", request.jobId.toString()});
  EXPECT_EQ(outcome.exitCode, 16);
  EXPECT_NE(outcome.errors.find("a part needed more memory than the 110 MiB that this server allows"),
            std::string::npos)
      << outcome.errors;
}

TEST_F(SweepOutcomeTest, JobThatCrashesNamesItsSignal) {
  Server server(spool(), {"--tries", "1", "--launch-with", "sh -c 'kill -SEGV $$'"});
  const std::string job = server.submit("x", table());
  const Outcome outcome = server.client({"--quiet", "wait", job});
  EXPECT_EQ(outcome.exitCode, 12);
  EXPECT_EQ(outcome.errors, "sweep-client: the job program was ended by signal 11\n");
  EXPECT_TRUE(server.isRunning());
}

TEST_F(SweepOutcomeTest, JobThatFailsNamesItsExitCodeAndItsLastWords) {
  Server server(spool(), {"--tries", "1", "--launch-with", "sh -c 'echo no licence >&2; exit 7'"});
  const std::string job = server.submit("x", table());
  const Outcome outcome = server.client({"--quiet", "--json", "wait", job});
  EXPECT_EQ(outcome.exitCode, 9);
  const auto failure = nlohmann::json::parse(outcome.errors);
  EXPECT_EQ(failure["kind"], "JobFailed");
  EXPECT_EQ(failure["message"], "the job program ended with exit code 7 and no result: no licence");
  EXPECT_EQ(failure["exitCode"], 9);
}

TEST_F(SweepOutcomeTest, JobThatExitsWellWithoutAResultIsNotFinished) {
  Server server(spool(), {"--tries", "1", "--launch-with", "true"});
  const std::string job = server.submit("x", table());
  EXPECT_EQ(server.client({"wait", job}).exitCode, 9);
  EXPECT_EQ(server.state(job), "Failed");
}

TEST_F(SweepOutcomeTest, LauncherThatDoesNotExistFailsTheJob) {
  Server server(spool(), {"--tries", "1", "--launch-with", "/nowhere/launcher"});
  const std::string job = server.submit("x", table());
  const Outcome outcome = server.client({"--quiet", "wait", job});
  EXPECT_EQ(outcome.exitCode, 9);
  EXPECT_NE(outcome.errors.find("check --launch-with"), std::string::npos) << outcome.errors;
}

TEST_F(SweepOutcomeTest, ExpressionThatNobodyCheckedFailsInTheJobWithItsPosition) {
  Server server(spool());
  SweepTest::RawClient client(server.address());
  const auto request = SweepTest::makeSubmission("x+*2");
  ASSERT_EQ(SweepTest::refusal(client.ask(request)), "status");
  const Outcome outcome = server.client({"--quiet", "wait", request.jobId.toString()});
  EXPECT_EQ(outcome.exitCode, 7);
  EXPECT_EQ(outcome.errors.rfind("sweep-client: bad expression at position 3: ", 0), 0U) << outcome.errors;
  EXPECT_NE(server.client({"log", request.jobId.toString()}).output.find("Error sweep-job: bad expression"),
            std::string::npos);
}

TEST_F(SweepOutcomeTest, OrderlyEndOfTheServerEndsTheProcesses) {
  Server server(spool(), {"--launch-with", "sh -c 'echo $$ > " + pidFile() + "; sleep 600'"});
  server.submit("x", table());
  ASSERT_TRUE(SweepTest::eventually([&] { return !TemporaryFolder::read(pidFile()).empty(); }));
  EXPECT_EQ(server.stop(), 0);
  EXPECT_TRUE(isProcessGone());
}

}  // namespace
