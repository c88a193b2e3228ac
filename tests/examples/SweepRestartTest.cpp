#include <examples/parameter_sweep/common/Packages.h>
#include <sys/stat.h>
#include <tests/examples/RawClient.h>
#include <tests/examples/SweepPrograms.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <thread>

namespace {

using namespace ParameterSweep;
using SweepTest::RawClient;
using SweepTest::Server;
using TestSupport::TemporaryFolder;

class SweepRestartTest : public SweepTest::RawTest {
 protected:
  std::string spool() const { return m_folder.file("spool"); }
  std::string table() const { return m_folder.write("table.csv", "x\n21\n"); }
  std::string startsFile() const { return m_folder.file("starts"); }

  /// A launcher that notes each start, and starts the job once the file "go" exists.
  std::string notingLauncher() const {
    return "sh -c 'echo start >> " + startsFile() + "; while [ ! -e " + m_folder.file("go") +
           " ]; do sleep 0.02; done; exec \"$@\"' launcher";
  }
  void letJobsGo() const { m_folder.write("go", ""); }
  std::size_t countStarts() const {
    const std::string starts = TemporaryFolder::read(startsFile());
    return static_cast<std::size_t>(std::count(starts.begin(), starts.end(), '\n'));
  }
  bool waitForStarts(std::size_t count) const {
    return SweepTest::eventually([&] { return countStarts() >= count; });
  }
  std::string jobFolder(const std::string& job) const { return spool() + "/jobs/" + job.substr(job.find('#') + 1); }

  TemporaryFolder m_folder;
};

TEST_F(SweepRestartTest, RunningJobIsFoundAgainAfterAKill) {
  auto server = std::make_unique<Server>(spool(), SweepTest::Arguments{"--launch-with", notingLauncher()});
  const std::string job = server->submit("2*x", table());
  ASSERT_EQ(server->waitForState(job, "Running"), "Running");
  ASSERT_TRUE(waitForStarts(1));
  server->kill();
  server = std::make_unique<Server>(spool(), SweepTest::Arguments{"--launch-with", notingLauncher()});
  EXPECT_EQ(server->state(job), "Running");
  letJobsGo();
  EXPECT_EQ(server->client({"wait", job}).exitCode, 0);
  EXPECT_EQ(server->client({"result", job}).output, "realizationId,result\n1,42\n");
  EXPECT_EQ(countStarts(), 1U);
}

TEST_F(SweepRestartTest, JobThatFinishedWithoutAServerIsFinishedForTheNext) {
  std::string job;
  {
    Server server(spool(), {"--launch-with", notingLauncher()});
    job = server.submit("2*x", table());
    ASSERT_TRUE(waitForStarts(1));
    server.kill();
  }
  letJobsGo();
  ASSERT_TRUE(SweepTest::eventually([&] { return std::filesystem::exists(jobFolder(job) + "/1.1.result"); }));
  Server server(spool());
  EXPECT_EQ(server.waitForState(job, "Finished"), "Finished");
  EXPECT_EQ(server.client({"result", job}).output, "realizationId,result\n1,42\n");
  EXPECT_EQ(countStarts(), 1U);
}

TEST_F(SweepRestartTest, JobWhoseProcessDiedWithTheServerStartsAgain) {
  std::string job;
  {
    Server server(spool(), {"--launch-with", notingLauncher()});
    job = server.submit("2*x", table());
    ASSERT_EQ(server.waitForState(job, "Running"), "Running");
    ASSERT_TRUE(waitForStarts(1));
    // An orderly end takes the process with it and leaves the job.
    EXPECT_EQ(server.stop(), 0);
  }
  letJobsGo();
  Server server(spool(), {"--launch-with", notingLauncher()});
  EXPECT_EQ(server.client({"wait", job}).exitCode, 0);
  EXPECT_EQ(countStarts(), 2U);
}

TEST_F(SweepRestartTest, OrderlyEndLeavesRunningJobsToTheNextServer) {
  std::string job;
  {
    Server server(spool(), {"--launch-with", notingLauncher()}, SweepTest::AtStop::LeaveJobs);
    job = server.submit("2*x", table());
    ASSERT_TRUE(waitForStarts(1));
    ASSERT_EQ(server.waitForState(job, "Running"), "Running");
    EXPECT_EQ(server.stop(), 0);
  }
  Server server(spool(), {"--launch-with", notingLauncher()});
  EXPECT_EQ(server.state(job), "Running");
  letJobsGo();
  EXPECT_EQ(server.client({"wait", job}).exitCode, 0);
  EXPECT_EQ(server.client({"result", job}).output, "realizationId,result\n1,42\n");
  EXPECT_EQ(countStarts(), 1U);
}

TEST_F(SweepRestartTest, StrangeFilesInTheSpoolHinderNothing) {
  const std::filesystem::path jobs = std::filesystem::path(spool()) / "jobs";
  std::filesystem::create_directories(jobs / "something else");
  std::filesystem::create_symlink("loop", jobs / "loop");
  const std::string fifo = (jobs / SweepJobId().getUniqueId()).string();
  ASSERT_EQ(::mkfifo(fifo.c_str(), S_IRUSR | S_IWUSR), 0);
  Server server(spool());
  EXPECT_EQ(server.waitForState(server.submit("x", table()), "Finished"), "Finished");
}

TEST_F(SweepRestartTest, EndedJobsAreKnownToTheNextServersUntilTheirTimeIsOver) {
  std::string finished;
  {
    Server server(spool());
    finished = server.submit("2*x", table());
    EXPECT_EQ(server.waitForState(finished, "Finished"), "Finished");
  }
  {
    Server server(spool());
    EXPECT_EQ(server.client({"result", finished}).output, "realizationId,result\n1,42\n");
  }
  Server server(spool(), {"--keep", "0.000001"});
  EXPECT_TRUE(SweepTest::eventually([&] { return server.client({"status", finished}).exitCode == 5; }));
}

TEST_F(SweepRestartTest, ClientThatWaitsGoesOnWithTheNextServer) {
  SweepTest::Arguments arguments{"--launch-with", notingLauncher()};
  auto server = std::make_unique<Server>(spool(), arguments);
  const std::string job = server->submit("2*x", table());
  ASSERT_TRUE(waitForStarts(1));
  SweepTest::RunningClient client(server->address(), {"--timeout", "60", "wait", job});
  ASSERT_TRUE(SweepTest::eventually([&] { return client.errors().find("Running") != std::string::npos; }));
  const SweepTest::Arguments ports = server->portArguments();
  arguments.insert(arguments.end(), ports.begin(), ports.end());
  server->kill();
  server = std::make_unique<Server>(spool(), arguments);
  letJobsGo();
  const SweepTest::Outcome outcome = client.wait();
  EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
  EXPECT_NE(outcome.errors.find("Finished 100 %"), std::string::npos) << outcome.errors;
}

TEST_F(SweepRestartTest, CancelledAndFailedJobsStaySo) {
  std::string cancelled;
  std::string failed;
  {
    Server server(spool(), {"--tries", "1", "--launch-with",
                            "sh -c 'while [ ! -e " + m_folder.file("go") + " ]; do sleep 0.02; done; exit 7'"});
    failed = server.submit("x", table());
    cancelled = server.submit("x", table());
    server.client({"cancel", cancelled});
    letJobsGo();
    ASSERT_EQ(server.waitForState(failed, "Failed"), "Failed");
    server.kill();
  }
  Server server(spool());
  EXPECT_EQ(server.state(cancelled), "Cancelled");
  EXPECT_EQ(server.client({"--quiet", "wait", failed}).exitCode, 9);
}

TEST_F(SweepRestartTest, JobCancelledJustBeforeAKillLosesItsProcess) {
  const std::string pid = m_folder.file("pid");
  std::string job;
  {
    Server server(spool(),
                  {"--launch-with", "sh -c 'trap \"\" TERM; echo $$ > " + pid + "; while :; do sleep 0.1; done'"});
    job = server.submit("x", table());
    ASSERT_TRUE(SweepTest::eventually([&] { return !TemporaryFolder::read(pid).empty(); }));
    ASSERT_EQ(server.client({"cancel", job}).exitCode, 0);
    server.kill();
  }
  Server server(spool());
  EXPECT_EQ(server.state(job), "Cancelled");
  const std::string process = "/proc/" + std::to_string(std::stoi(TemporaryFolder::read(pid))) + "/cmdline";
  EXPECT_TRUE(SweepTest::eventually([&] { return TemporaryFolder::read(process).empty(); }));
}

/// Submits while a server is killed at random moments, again and again.
class KilledServer {
 public:
  explicit KilledServer(const std::string& spool) : m_spool(spool) {}

  void round() {
    Server server(m_spool, {"--jobs", "3", "--launch-with", SweepTest::slowLauncher("0.05")});
    RawClient client(server.address());
    checkAccepted(client);
    for (int index = 0; index < c_submissions; ++index) {
      const Request request = SweepTest::makeSubmission("21*x");
      m_packages[request.jobId.toString()] = writeRequestPackage(request);
      client.send({m_packages[request.jobId.toString()]});
    }
    std::this_thread::sleep_for(std::chrono::microseconds(m_moment(m_random)));
    server.kill();
    for (std::string reply; !(reply = client.received()).empty();) {
      const ReplyContent content = readReplyPackage(reply).content;
      ASSERT_EQ(SweepTest::refusal(content), "status");
      m_accepted.push_back(std::get<JobStatus>(content).jobId);
    }
  }

  /// Sends all submissions again and expects every result.
  void expectAllResults() {
    Server server(m_spool, {"--jobs", "4"});
    RawClient client(server.address());
    for (const auto& [job, package] : m_packages) {
      EXPECT_EQ(SweepTest::refusal(client.ask(package)), "status") << job;
    }
    for (const auto& [job, package] : m_packages) {
      const SweepJobId jobId = SweepJobId::fromText(job);
      ReplyContent result = SweepFailure(FailureKind::NotFinished, "not asked");
      SweepTest::eventually([&] {
        result = client.ask(Request{RequestKind::Result, jobId});
        return SweepTest::refusal(result) != "NotFinished";
      });
      ASSERT_EQ(SweepTest::refusal(result), "result") << job;
      EXPECT_EQ(std::get<SweepResult>(result).realizations.at(0).value, 42) << job;
    }
  }

  std::size_t countAccepted() const { return m_accepted.size(); }

 private:
  static constexpr int c_submissions = 4;

  /// What was accepted is still known, and what is finished has its result.
  void checkAccepted(RawClient& client) {
    for (const SweepJobId& jobId : m_accepted) {
      const ReplyContent content = client.ask(Request{RequestKind::Status, jobId});
      ASSERT_EQ(SweepTest::refusal(content), "status") << jobId.toString();
      if (std::get<JobStatus>(content).state == JobState::Finished) {
        const ReplyContent result = client.ask(Request{RequestKind::Result, jobId});
        ASSERT_EQ(SweepTest::refusal(result), "result") << jobId.toString();
        ASSERT_EQ(std::get<SweepResult>(result).realizations.at(0).value, 42);
      } else {
        ASSERT_EQ(std::get<JobStatus>(content).failure.has_value(), false) << jobId.toString();
      }
    }
  }

  const std::string m_spool;
  std::mt19937 m_random{20240607};
  std::uniform_int_distribution<int> m_moment{0, 120000};
  std::map<std::string, std::string> m_packages;
  std::vector<SweepJobId> m_accepted;
};

TEST_F(SweepRestartTest, NothingIsLostWhenTheServerIsKilledAtRandomMoments) {
  constexpr int c_kills = 60;
  KilledServer killed(spool());
  for (int kill = 0; kill < c_kills && !HasFatalFailure(); ++kill) {
    killed.round();
  }
  EXPECT_GT(killed.countAccepted(), 0U);
  killed.expectAllResults();
}

}  // namespace
