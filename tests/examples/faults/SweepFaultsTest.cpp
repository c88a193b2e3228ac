#include <gtest/gtest.h>
#include <tests/examples/SweepPrograms.h>
#include <tests/examples/faults/FaultyServer.h>
#include <tests/examples/faults/Injection.h>
#include <tests/examples/faults/JobBook.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <thread>

/// Each system call of a server fails, or kills it, one call a run, and the next server must find nothing wrong.
///
/// By default some calls of each kind are tried. The environment variable SWEEP_FAULTS chooses others: "all", a number
/// of faults a test, or one fault as CALL:INDEX:EFFECT, as the messages name it.
namespace {

using SweepTest::Fault;
using SweepTest::FaultyServer;
using SweepTest::JobBook;
using SweepTest::Tracing;
using TestSupport::Command;
using TestSupport::TemporaryFolder;
namespace fs = std::filesystem;

Command server(const std::string& spool, const Command& options = {}) {
  Command command{SweepTest::serverProgram(), "--request-port", "0", "--publisher-port", "0", "--spool", spool};
  command.insert(command.end(), options.begin(), options.end());
  return command;
}

/// How a run of the server under a fault went.
struct Course {
  std::string end;                    ///< how the server ended
  std::vector<std::string> errors{};  ///< what does not hold
};

/// Looks at all jobs again and again until they have ended, for a bounded time: a server that had to pause may take
/// longer.
void follow(JobBook& jobs, FaultyServer& server) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
  while (server.isRunning() && !server.isDeaf() && !jobs.look(server) && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

std::string describeEnd(const TestSupport::ProgramRun& run) {
  return run.signal != 0 ? "signal " + std::to_string(run.signal) : "exit code " + std::to_string(run.exitCode);
}

/// Ends the server under the fault, and has another one, to which nothing happens, finish the jobs of its spool.
Course finishJobs(FaultyServer& faulty, JobBook& jobs, const std::string& spool) {
  Course course;
  if (faulty.isDeaf()) {
    course.errors.emplace_back("the server runs and does not answer");
  }
  if (!faulty.stop()) {
    course.errors.emplace_back("the server does not end");
  }
  course.end = describeEnd(faulty.wait());
  FaultyServer next(server(spool, {"--jobs", "4"}));
  if (!next.isReady()) {
    course.errors.push_back("the next server does not start: " + next.wait().errors);
    return course;
  }
  jobs.expectRightEnds(next);
  if (!next.stop()) {
    course.errors.emplace_back("the next server does not end");
  }
  course.errors.insert(course.errors.end(), jobs.getErrors().begin(), jobs.getErrors().end());
  return course;
}

/// A spool as servers before have left it, with its jobs.
class LeftSpool {
 public:
  LeftSpool() {
    {
      FaultyServer server(::server(spool(), {"--jobs", "3"}));
      m_jobs.submit(server, "the old finished job");
      m_jobs.submit(server, "the old failed job", JobBook::Ending::BadExpression);
      EXPECT_TRUE(SweepTest::eventually([&] { return m_jobs.look(server); }));
      EXPECT_TRUE(server.stop());
    }
    FaultyServer server(
        ::server(spool(), {"--launch-with", "sh -c 'echo $$ > " + m_folder.file("pid") + "; exec sleep 600'"}));
    m_jobs.submit(server, "the old job whose process died");
    EXPECT_TRUE(SweepTest::eventually([&] { return !TemporaryFolder::read(m_folder.file("pid")).empty(); }));
    m_jobs.submit(server, "the old queued job");
    m_jobs.cancel(server, m_jobs.submit(server, "the old cancelled job"));
    server.kill();
    ::kill(std::stoi(TemporaryFolder::read(m_folder.file("pid"))), SIGKILL);
  }

  /// A copy of the spool, whose jobs the result knows.
  JobBook copyTo(const std::string& folder) const {
    fs::copy(spool(), folder, fs::copy_options::recursive);
    return m_jobs;
  }

 private:
  std::string spool() const { return m_folder.file("spool"); }

  TemporaryFolder m_folder;
  JobBook m_jobs;
};

/// A server takes up a spool, takes and cancels jobs and finishes them.
Course runRequests(const LeftSpool& left, const Tracing& tracing) {
  const TemporaryFolder folder;
  const std::string spool = folder.file("spool");
  JobBook jobs = left.copyTo(spool);
  FaultyServer faulty(tracing.start(server(spool, {"--jobs", "2"})));
  const auto tracer = tracing.attach(faulty.id());
  jobs.look(faulty);
  jobs.submit(faulty, "the good job");
  jobs.submit(faulty, "the bad job", JobBook::Ending::BadExpression);
  jobs.cancel(faulty, jobs.submit(faulty, "the cancelled job"));
  follow(jobs, faulty);
  return finishJobs(faulty, jobs, spool);
}

/// A server is killed while it runs a job, and the next one finds the process.
Course runTakeover(const Tracing& tracing) {
  const TemporaryFolder folder;
  const std::string spool = folder.file("spool");
  JobBook jobs;
  {
    FaultyServer first(
        server(spool, {"--launch-with", "sh -c 'touch " + folder.file("started") + "; while [ ! -e " +
                                            folder.file("go") + " ]; do sleep 0.01; done; exec \"$@\"' launcher"}));
    jobs.submit(first, "the running job");
    EXPECT_TRUE(SweepTest::eventually([&] { return fs::exists(folder.file("started")); }));
    first.kill();
  }
  FaultyServer faulty(tracing.start(server(spool)));
  const auto tracer = tracing.attach(faulty.id());
  jobs.look(faulty);
  folder.write("go", "");
  follow(jobs, faulty);
  return finishJobs(faulty, jobs, spool);
}

/// A server removes jobs soon after their ends. The next one keeps what is left.
Course runExpiry(const LeftSpool& left, const Tracing& tracing) {
  const TemporaryFolder folder;
  const std::string spool = folder.file("spool");
  JobBook jobs = left.copyTo(spool);
  jobs.letJobsExpire();
  FaultyServer faulty(tracing.start(server(spool, {"--jobs", "2", "--keep", "0.000001"})));
  const auto tracer = tracing.attach(faulty.id());
  jobs.submit(faulty, "the good job");
  follow(jobs, faulty);
  return finishJobs(faulty, jobs, spool);
}

/// Those of the faults that keep a process or a thread from being started.
std::vector<Fault> startsOf(const std::string& trace, const std::string& firstFile) {
  std::vector<Fault> faults = SweepTest::errorsOf(trace, firstFile);
  const auto isOther = [](const Fault& fault) {
    const std::string call = fault.toText().substr(0, fault.toText().find(':'));
    return call != "clone" && call != "clone3" && call != "fork" && call != "vfork";
  };
  faults.erase(std::remove_if(faults.begin(), faults.end(), isOther), faults.end());
  return faults;
}

/// What SWEEP_FAULTS chooses of all faults: a part that is the same in each run, unless it says otherwise.
std::vector<Fault> choose(std::vector<Fault> faults, std::size_t usual) {
  const char* const choice = std::getenv("SWEEP_FAULTS");  // NOLINT(concurrency-mt-unsafe): there is one thread
  const std::string text = choice == nullptr ? std::to_string(usual) : choice;
  if (text.find(':') != std::string::npos) {
    return {Fault::fromText(text)};
  }
  std::shuffle(faults.begin(), faults.end(), std::mt19937(20261121));  // NOLINT(cert-msc51-cpp): the same every time
  if (text != "all") {
    faults.resize(std::min(faults.size(), std::size_t{std::stoul(text)}));
  }
  return faults;
}

class SweepFaultsTest : public SweepTest::RawTest {
 protected:
  using Scenario = std::function<Course(const Tracing&)>;
  using FaultsOf = std::vector<Fault> (*)(const std::string&, const std::string&);

  void SetUp() override {
    const std::string error = SweepTest::tracingError();
    if (!error.empty()) {
      GTEST_SKIP() << error;
    }
  }

  void tryRequests(const std::string& thread, FaultsOf faultsOf, std::size_t usual) {
    const LeftSpool left;
    tryFaults([&](const Tracing& tracing) { return runRequests(left, tracing); }, thread, faultsOf, usual);
  }
  void tryExpiry(const std::string& thread, FaultsOf faultsOf, std::size_t usual) {
    const LeftSpool left;
    tryFaults([&](const Tracing& tracing) { return runExpiry(left, tracing); }, thread, faultsOf, usual);
  }

  /// Runs the scenario once without a fault, and then once for each chosen one, all in the thread of that name.
  void tryFaults(const Scenario& scenario, const std::string& thread, FaultsOf faultsOf, std::size_t usual) {
    const Course good = scenario(Tracing(thread, trace(), std::nullopt));
    ASSERT_EQ(good.errors, std::vector<std::string>());
    const std::vector<Fault> all = faultsOf(trace(), thread.empty() ? "/spool/lock" : "");
    ASSERT_FALSE(all.empty());
    const std::vector<Fault> chosen = choose(all, usual);
    for (const Fault& fault : chosen) {
      tryFault(scenario, thread, fault);
    }
    report(all.size(), chosen.size());
    // How often a call comes depends on the time that others take, so that a late one may not come in each run.
    EXPECT_GE(2 * m_reached, chosen.size()) << "most faults did not take place";
  }

 private:
  std::string trace() const { return m_folder.file("trace"); }

  void tryFault(const Scenario& scenario, const std::string& thread, const Fault& fault) {
    Course course = scenario(Tracing(thread, trace(), fault));
    m_reached += SweepTest::hasHappened(fault, trace()) ? 1U : 0U;
    ++m_ends[course.end];
    for (const std::string& error : course.errors) {
      ADD_FAILURE() << fault.toText() << ": " << error << " (" << course.end << ")";
    }
    m_wrong += course.errors.empty() ? 0U : 1U;
  }

  void report(std::size_t all, std::size_t tried) const {
    std::cout << "faults: " << all << " possible, " << tried << " tried, " << m_reached << " reached, " << m_wrong
              << " with a wrong outcome; ends of the server:";
    for (const auto& [end, count] : m_ends) {
      std::cout << " " << count << " x " << end << ",";
    }
    std::cout << "\n";
  }

  TemporaryFolder m_folder;
  std::size_t m_reached = 0;
  std::size_t m_wrong = 0;
  std::map<std::string, std::size_t> m_ends;
};

TEST_F(SweepFaultsTest, NothingIsWrongAfterACallThatFailed) { tryRequests("", SweepTest::errorsOf, 20); }

TEST_F(SweepFaultsTest, NothingIsWrongAfterAThreadThatCouldNotBeStarted) { tryRequests("", startsOf, 4); }

TEST_F(SweepFaultsTest, ThreadOfTheLogThatCannotBeStartedIsAnErrorOfTheServer) {
  const TemporaryFolder folder;
  const Tracing tracing("", folder.file("trace"), Fault{"clone3", 1, "EAGAIN"});
  const TestSupport::ProgramRun run = FaultyServer(tracing.start(server(folder.file("spool")))).wait();
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.errors.find("sweep-server: cannot start the thread of the log: "), std::string::npos) << run.errors;
  EXPECT_FALSE(fs::exists(folder.file("spool")));
}

TEST_F(SweepFaultsTest, NothingIsWrongAfterAProcessThatCouldNotBeStarted) {
  tryRequests("starter", SweepTest::errorsOf, 10);
}

TEST_F(SweepFaultsTest, NothingIsWrongAfterAKillWhileAProcessIsStarted) {
  tryRequests("starter", SweepTest::killsOf, 5);
}

TEST_F(SweepFaultsTest, NothingIsWrongAfterAnInputThatCouldNotBeWritten) {
  tryRequests("preparer", SweepTest::errorsOf, 10);
}

TEST_F(SweepFaultsTest, NothingIsWrongAfterAKillWhileAnInputIsWritten) {
  tryRequests("preparer", SweepTest::killsOf, 5);
}

TEST_F(SweepFaultsTest, NothingIsWrongAfterACallOfTheStoreThatFailed) { tryRequests("store", SweepTest::errorsOf, 15); }

TEST_F(SweepFaultsTest, NothingIsWrongAfterAKill) { tryRequests("", SweepTest::killsOf, 10); }

TEST_F(SweepFaultsTest, NothingIsWrongAfterAKillWithinTheStore) { tryRequests("store", SweepTest::killsOf, 10); }

TEST_F(SweepFaultsTest, NothingIsWrongAfterACallThatFailedWhileARunningJobIsFound) {
  tryFaults(runTakeover, "", SweepTest::errorsOf, 10);
}

TEST_F(SweepFaultsTest, NothingIsWrongAfterAKillWhileARunningJobIsFound) {
  tryFaults(runTakeover, "", SweepTest::killsOf, 5);
}

TEST_F(SweepFaultsTest, NothingIsWrongAfterACallThatFailedWhileJobsExpire) { tryExpiry("", SweepTest::errorsOf, 8); }

TEST_F(SweepFaultsTest, NothingIsWrongAfterAKillWhileJobsExpire) { tryExpiry("store", SweepTest::killsOf, 5); }

}  // namespace
