#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/engines/LocalEngine.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <tests/examples/SweepFakes.h>
#include <tests/support/TemporaryFolder.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <thread>

namespace {

using namespace ParameterSweep;
using SweepTest::waitForReport;
using StartedRun = ParameterSweep::Run;  // the test class has a member of that name

/// Runs a shell script in the place of the job program.
class LocalEngineTest : public testing::Test {
 protected:
  LocalEngine make(const std::string& script, std::size_t atOnce = 2) const {
    const std::vector<std::string> shell{"sh", "-c", script};
    return LocalEngine(m_program, script.empty() ? std::vector<std::string>() : shell, atOnce);
  }
  StartedRun makeRun() const {
    const StartedRun run{SweepJobId(), 1, 1};
    std::filesystem::create_directories(PartFiles(m_program.spool, run.jobId, 1, 1).folder);
    return run;
  }

  TestSupport::TemporaryFolder m_folder;
  JobProgram m_program{"/bin/false", m_folder.file("spool")};
};

TEST_F(LocalEngineTest, EndIsReportedWithTheExitCode) {
  LocalEngine engine = make("exit 7");
  engine.start({makeRun()});
  EXPECT_EQ(waitForReport(engine, RunReport::Kind::Ended).end.exitCode, 7);
  EXPECT_EQ(engine.getRoom(), 2U);
}

TEST_F(LocalEngineTest, EndBySignalIsReported) {
  LocalEngine engine = make("kill -9 $$");
  engine.start({makeRun()});
  EXPECT_EQ(waitForReport(engine, RunReport::Kind::Ended).end.signal, SIGKILL);
}

TEST_F(LocalEngineTest, RunsGiveWayToTheServer) {
  const std::string file = m_folder.file("nice");
  LocalEngine engine = make("nice > " + file);
  engine.start({makeRun()});
  waitForReport(engine, RunReport::Kind::Ended);
  EXPECT_EQ(TestSupport::TemporaryFolder::read(file),
            std::to_string(std::min(19, ::getpriority(PRIO_PROCESS, 0) + 10)) + "\n");
}

TEST_F(LocalEngineTest, RunsInheritNoOpenFiles) {
  const std::string file = m_folder.file("descriptors");
  const int open = ::open("/dev/null", O_RDONLY);  // NOLINT(android-cloexec-open): that is what is tested
  LocalEngine engine = make("ls /proc/$$/fd > " + file);
  engine.start({makeRun()});
  waitForReport(engine, RunReport::Kind::Ended);
  EXPECT_EQ(TestSupport::TemporaryFolder::read(file).find(std::to_string(open) + "\n"), std::string::npos) << open;
  ::close(open);
}

TEST_F(LocalEngineTest, RunsThatAreToEndBeforeTheyWereStartedLeaveNothing) {
  LocalEngine engine = make("sleep 600", 40);
  std::vector<StartedRun> runs;
  for (int count = 0; count < 40; ++count) {
    runs.push_back(makeRun());
  }
  EXPECT_TRUE(engine.poll().empty());
  EXPECT_EQ(engine.getRoom(), 40U);
  engine.start(runs);
  EXPECT_EQ(engine.getRoom(), 0U);
  for (const StartedRun& run : runs) {
    engine.end(run);
  }
  const auto isAnyLeft = [&] {
    return std::any_of(runs.begin(), runs.end(), [&](const StartedRun& run) { return engine.isLeft(run); });
  };
  while (isAnyLeft()) {
    EXPECT_TRUE(engine.poll().empty());
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  engine.poll();
  EXPECT_EQ(engine.getRoom(), 40U);
}

TEST_F(LocalEngineTest, EndOfAllReachesRunsThatAreBeingStarted) {
  LocalEngine engine = make("sleep 600 & wait", 20);
  std::vector<StartedRun> runs;
  for (int count = 0; count < 20; ++count) {
    runs.push_back(makeRun());
  }
  engine.start(runs);
  engine.endAll();
  EXPECT_TRUE(std::none_of(runs.begin(), runs.end(), [&](const StartedRun& run) { return engine.isLeft(run); }));
  LocalEngine next(m_program, {}, 20);
  EXPECT_TRUE(next.poll().empty()) << "a process was left";
}

TEST_F(LocalEngineTest, RunsFillTheRoom) {
  LocalEngine engine = make("sleep 600");
  EXPECT_TRUE(engine.poll().empty());
  engine.start({makeRun()});
  EXPECT_EQ(engine.getRoom(), 1U);
  waitForReport(engine, RunReport::Kind::Running);
  EXPECT_EQ(engine.getRoom(), 1U);
  engine.endAll();
  EXPECT_EQ(engine.getRoom(), 2U);
}

TEST_F(LocalEngineTest, ProgramThatCannotBeStartedIsNoShortage) {
  m_program.program = "/nowhere/program";
  LocalEngine engine = make("");
  engine.start({makeRun()});
  const RunReport report = waitForReport(engine, RunReport::Kind::NotStarted);
  EXPECT_FALSE(report.isShortage);
  EXPECT_NE(report.reason.find("/nowhere/program"), std::string::npos) << report.reason;
}

TEST_F(LocalEngineTest, FolderThatIsMissingIsNoShortageEither) {
  LocalEngine engine = make("true");
  engine.start({StartedRun{SweepJobId(), 1, 1}});
  EXPECT_FALSE(waitForReport(engine, RunReport::Kind::NotStarted).isShortage);
}

TEST_F(LocalEngineTest, AnotherEngineFindsTheRunByItsRecord) {
  const StartedRun run = makeRun();
  std::string record;
  {
    LocalEngine engine = make("sleep 600");
    engine.start({run});
    record = waitForReport(engine, RunReport::Kind::Started).record;
  }
  LocalEngine engine = make("");
  engine.resume(run, record);
  EXPECT_TRUE(engine.isLeft(run));
  waitForReport(engine, RunReport::Kind::Running);
  engine.end(run);
  for (int look = 0; look < 6000 && engine.isLeft(run); ++look) {
    engine.poll();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_FALSE(engine.isLeft(run));
}

TEST_F(LocalEngineTest, RunWhoseRecordWasLostIsFoundByItsCommand) {
  const StartedRun run = makeRun();
  const std::string script = "sleep 600 & wait";
  std::string record;
  {
    LocalEngine engine = make(script);
    engine.start({run});
    record = waitForReport(engine, RunReport::Kind::Started).record;
  }
  LocalEngine other({m_program.program, m_folder.file("other")}, {}, 2);
  EXPECT_TRUE(other.poll().empty());
  LocalEngine engine = make(script);
  EXPECT_EQ(engine.getRoom(), 0U) << "nothing starts beside a run that has not been found yet";
  const std::vector<RunReport> reports = engine.poll();
  ASSERT_EQ(reports.size(), 2U);
  EXPECT_EQ(reports[0].kind, RunReport::Kind::Found);
  EXPECT_EQ(reports[0].record, record);
  EXPECT_FALSE(reports[0].run < run || run < reports[0].run);
  EXPECT_EQ(reports[1].kind, RunReport::Kind::Running);
  EXPECT_EQ(engine.getRoom(), 1U);
  engine.end(run);
  for (int look = 0; look < 6000 && engine.isLeft(run); ++look) {
    EXPECT_TRUE(engine.poll().empty());
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_FALSE(engine.isLeft(run));
}

TEST_F(LocalEngineTest, OtherCommandsAreNotTakenForRuns) {
  const SweepJobId jobId;
  std::vector<std::string> command = makeCommand(m_program, {jobId, 12, 3}, "12");
  EXPECT_EQ(findRun(m_program, command)->part, 12U);
  EXPECT_EQ(findRun(m_program, command)->attempt, 3U);
  command.insert(command.begin(), {"ssh", "host"});
  EXPECT_EQ(findRun(m_program, command)->jobId.toString(), jobId.toString());
  EXPECT_FALSE(findRun({m_program.program, "/another"}, command));
  EXPECT_FALSE(findRun(m_program, makeCommand(m_program, {jobId, 12, 3}, "slurm")));
  command.resize(6);
  EXPECT_FALSE(findRun(m_program, command)) << "no id of a job";
  command.resize(5);
  EXPECT_FALSE(findRun(m_program, command));
  EXPECT_FALSE(findRun(m_program, {}));
}

TEST_F(LocalEngineTest, RecordOfAnotherProcessOrAnotherStartOfTheMachineIsNotFollowed) {
  const StartedRun run = makeRun();
  LocalEngine engine = make("sleep 600");
  engine.start({run});
  const std::string record = waitForReport(engine, RunReport::Kind::Started).record;
  const std::string process = record.substr(0, record.find(' '));
  const std::string bootId = record.substr(record.rfind(' '));
  for (const std::string& other : {process + " 1" + bootId, record.substr(0, record.rfind(' ')) + " another-start",
                                   std::string("nonsense"), std::string(), "-1 1" + bootId}) {
    LocalEngine next = make("");
    next.resume(run, other);
    const RunReport report = waitForReport(next, RunReport::Kind::Ended);
    EXPECT_FALSE(report.end.exitCode || report.end.signal) << other;
  }
  engine.endAll();
}

TEST_F(LocalEngineTest, EndOfARunReachesItsWholeGroupAndIsNotReported) {
  const std::string file = m_folder.file("pid");
  const StartedRun run = makeRun();
  LocalEngine engine = make("sleep 600 & echo $! > " + file + "; wait");
  engine.start({run});
  waitForReport(engine, RunReport::Kind::Running);
  while (TestSupport::TemporaryFolder::read(file).find('\n') == std::string::npos) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  const pid_t child = std::stoi(TestSupport::TemporaryFolder::read(file));
  engine.end(run);
  while (engine.isLeft(run)) {
    EXPECT_TRUE(engine.poll().empty());
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  const std::string commandLine = "/proc/" + std::to_string(child) + "/cmdline";
  for (int look = 0; look < 6000 && !TestSupport::TemporaryFolder::read(commandLine).empty(); ++look) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_TRUE(TestSupport::TemporaryFolder::read(commandLine).empty());
}

}  // namespace
