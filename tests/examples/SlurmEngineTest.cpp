#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/engines/SlurmEngine.h>
#include <gtest/gtest.h>
#include <tests/examples/SweepFakes.h>
#include <tests/support/TemporaryFolder.h>

#include <chrono>
#include <filesystem>
#include <thread>

namespace {

using namespace ParameterSweep;
using SweepTest::waitForReport;
using StartedRun = ParameterSweep::Run;  // the test class has a member of that name
using TestSupport::TemporaryFolder;

TEST(SlurmAnswersTest, NumberOfAnArrayIsReadAndNothingElse) {
  EXPECT_EQ(readArrayId("17\n"), "17");
  EXPECT_EQ(readArrayId("17;cluster\n"), "17");
  EXPECT_EQ(readArrayId("sbatch: warning: something\n17\n"), "17");
  for (const char* other : {"", "Submitted batch job 17\n", "17\n18\n", "-1\n", "17 \n", ";\n"}) {
    EXPECT_FALSE(readArrayId(other)) << other;
  }
}

TEST(SlurmAnswersTest, QueueIsReadWithItsStates) {
  const auto tasks = readQueue(
      "17  |1 |RUNNING   |0 |1-02:03:04 |Sweep_1#2   |\n"
      "17  |2 |PENDING   |0 |0:00 |Sweep_1#2   |\n"
      "17  |3 |FAILED    |1792 |0:01 |Sweep_1#2   |\n"
      "17  |4 |NODE_FAIL |0 |0:01 |Sweep_1#2   |\n"
      "18  |N/A |RUNNING |0 |0:01 |other   |\n");
  ASSERT_TRUE(tasks);
  ASSERT_EQ(tasks->size(), 4U);
  EXPECT_EQ(tasks->at(0).id, "17_1");
  EXPECT_EQ(tasks->at(0).name, "Sweep_1#2");
  EXPECT_EQ(tasks->at(0).kind, RunReport::Kind::Running);
  EXPECT_EQ(tasks->at(0).age, std::chrono::seconds(93784));
  EXPECT_EQ(tasks->at(1).kind, RunReport::Kind::Waiting);
  EXPECT_EQ(tasks->at(2).end.exitCode, 7);
  EXPECT_FALSE(tasks->at(3).end.exitCode);
  EXPECT_EQ(tasks->at(3).end.reason, "NODE_FAIL");
}

TEST(SlurmAnswersTest, AnswerOfAnotherFormIsNone) {
  EXPECT_TRUE(readQueue("")->empty());
  for (const char* other :
       {"17\n", "17|1|SLEEPING|0|0:01|x|\n", "17|1|RUNNING|0|0:01|x|y|\n", "x|1|RUNNING|0|0:01|x|\n"}) {
    EXPECT_FALSE(readQueue(other)) << other;
  }
}

TEST(SlurmAnswersTest, AccountsTellHowTasksEnded) {
  const auto tasks = readAccounts("17_1|name|COMPLETED|0:0\n17_2|name|CANCELLED by 0|0:15\n17_3|name|RUNNING|0:0\n");
  ASSERT_TRUE(tasks);
  ASSERT_EQ(tasks->size(), 2U);
  EXPECT_EQ(tasks->at(0).end.exitCode, 0);
  EXPECT_EQ(tasks->at(1).end.signal, 15);
  EXPECT_FALSE(readAccounts("nonsense\n"));
}

/// The engine on programs that answer what the test writes into files, and note how they were called.
class SlurmEngineTest : public testing::Test {
 protected:
  SlurmEngineTest() {
    for (const char* program : {"sbatch", "squeue", "sacct", "scancel"}) {
      const std::string name = m_folder.file(program);
      m_folder.write(program, "#!/bin/sh\nprintf '%s\\n' \"$*\" >> " + name + ".calls\ncat " + name +
                                  ".answer 2>/dev/null\nexit $(cat " + name + ".code 2>/dev/null || echo 0)\n");
      std::filesystem::permissions(name, std::filesystem::perms::owner_all);
    }
    std::filesystem::create_directories(m_program.spool);
    answer("sacct", "sacct: error: Slurm accounting storage is disabled\n", 1);
  }

  void answer(const std::string& program, const std::string& text, int code = 0) const {
    m_folder.write(program + ".answer", text);
    m_folder.write(program + ".code", std::to_string(code));
  }
  std::string calls(const std::string& program) const {
    return TemporaryFolder::read(m_folder.file(program + ".calls"));
  }
  SlurmEngine make() const {
    return SlurmEngine(m_program, {{"--mem=1G"}, m_folder.path(), std::chrono::milliseconds(10)});
  }
  std::string line(const std::string& id, const std::string& task, const std::string& state) const {
    return id + " |" + task + " |" + state + " |0 |0:01 |" + m_jobId.toString() + " |\n";
  }
  std::vector<StartedRun> makeRuns(std::uint32_t count) const {
    std::vector<StartedRun> runs;
    for (std::uint32_t part = 1; part <= count; ++part) {
      runs.push_back({m_jobId, part, 1});
    }
    return runs;
  }
  template <typename Condition>
  static bool pollUntil(SlurmEngine& engine, Condition condition) {
    for (int look = 0; look < 6000; ++look) {
      engine.poll();
      if (condition()) {
        return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }

  TemporaryFolder m_folder;
  JobProgram m_program{"/opt/sweep-job", m_folder.file("spool")};
  const SweepJobId m_jobId;
};

TEST_F(SlurmEngineTest, SweepIsOneArrayNamedAfterItsJob) {
  answer("sbatch", "17\n");
  SlurmEngine engine = make();
  std::vector<StartedRun> runs = makeRuns(4);
  runs.erase(runs.begin() + 2);
  engine.start(runs);
  EXPECT_EQ(waitForReport(engine, RunReport::Kind::Started).record, "17_1");
  const std::string call = calls("sbatch");
  EXPECT_EQ(std::count(call.begin(), call.end(), '\n'), 1) << call;
  for (const std::string& word :
       {std::string("--parsable --array=1-2,4 "), "--job-name=" + m_jobId.toString() + " ", std::string("--requeue "),
        std::string("--mem=1G "),
        "/opt/sweep-job " + m_program.spool.string() + " slurm 1 -jobId " + m_jobId.toString()}) {
    EXPECT_NE(call.find(word), std::string::npos) << word << "\n" << call;
  }
}

TEST_F(SlurmEngineTest, StatesOfAllTasksAreReadWithOneCall) {
  answer("sbatch", "17\n");
  answer("squeue", line("17", "1", "PENDING") + line("17", "2", "RUNNING"));
  SlurmEngine engine = make();
  engine.start(makeRuns(2));
  EXPECT_EQ(waitForReport(engine, RunReport::Kind::Waiting).run.part, 1U);
  answer("squeue", line("17", "1", "RUNNING") + line("17", "2", "COMPLETED"));
  const RunReport ended = waitForReport(engine, RunReport::Kind::Ended);
  EXPECT_EQ(ended.run.part, 2U);
  EXPECT_EQ(ended.end.exitCode, 0);
}

TEST_F(SlurmEngineTest, ControllerThatCannotBeReachedIsAnErrorAndNoEnd) {
  answer("sbatch", "17\n");
  answer("squeue", line("17", "1", "RUNNING"));
  SlurmEngine engine = make();
  engine.start(makeRuns(1));
  waitForReport(engine, RunReport::Kind::Running);
  answer("squeue", "squeue: error: Unable to contact slurm controller (connect failure)\n", 1);
  EXPECT_TRUE(pollUntil(engine, [&] {
    return engine.getError().find("Unable to contact slurm controller") != std::string::npos;
  })) << engine.getError();
  EXPECT_TRUE(engine.isLeft(makeRuns(1)[0]));
  answer("squeue", line("17", "1", "COMPLETED"));
  waitForReport(engine, RunReport::Kind::Ended);
  EXPECT_EQ(engine.getError(), "");
}

TEST_F(SlurmEngineTest, AnswersThatMakeNoSenseAreErrors) {
  answer("sbatch", "Submitted batch job 17\n");
  SlurmEngine engine = make();
  engine.start(makeRuns(1));
  const RunReport report = waitForReport(engine, RunReport::Kind::NotStarted);
  EXPECT_TRUE(report.isShortage);
  EXPECT_NE(engine.getError(), "");
}

TEST_F(SlurmEngineTest, ExitCodeThatIsNoNumberIsAnErrorAndNoEnd) {
  answer("sbatch", "17\n");
  answer("squeue", "17 |1 |COMPLETED |none |0:01 |name |\n");
  SlurmEngine engine = make();
  engine.start(makeRuns(1));
  waitForReport(engine, RunReport::Kind::Started);
  EXPECT_TRUE(pollUntil(engine, [&] { return engine.getError().find("unexpected output") != std::string::npos; }))
      << engine.getError();
  EXPECT_TRUE(engine.isLeft(makeRuns(1)[0]));
}

TEST_F(SlurmEngineTest, TaskThatNobodyKnowsAnyMoreHasEndedUnseen) {
  answer("sbatch", "17\n");
  answer("squeue", "");
  SlurmEngine engine = make();
  engine.start(makeRuns(1));
  const RunReport report = waitForReport(engine, RunReport::Kind::Ended);
  EXPECT_FALSE(report.end.exitCode || report.end.signal);
}

TEST_F(SlurmEngineTest, AccountsTellOfATaskThatLeftTheQueue) {
  answer("sbatch", "17\n");
  answer("squeue", "");
  answer("sacct", "17_1|x|FAILED|7:0\n");
  SlurmEngine engine = make();
  engine.start(makeRuns(1));
  EXPECT_EQ(waitForReport(engine, RunReport::Kind::Ended).end.exitCode, 7);
}

TEST_F(SlurmEngineTest, EndedRunsAreCancelledAndNotReported) {
  answer("sbatch", "17\n");
  answer("squeue", line("17", "1", "RUNNING"));
  SlurmEngine engine = make();
  engine.start(makeRuns(1));
  waitForReport(engine, RunReport::Kind::Running);
  engine.end(makeRuns(1)[0]);
  EXPECT_TRUE(pollUntil(engine, [&] { return calls("scancel").find("17_1") != std::string::npos; }));
  answer("squeue", line("17", "1", "CANCELLED"));
  EXPECT_TRUE(pollUntil(engine, [&] { return !engine.isLeft(makeRuns(1)[0]); }));
}

TEST_F(SlurmEngineTest, TasksOfThisEngineThatNobodyKnowsAreCancelled) {
  answer("sbatch", "17\n");
  answer("squeue", line("17", "1", "RUNNING") + line("16", "1", "RUNNING") + "15 |1 |RUNNING |0 |0:01 |others |\n");
  SlurmEngine engine = make();
  engine.start(makeRuns(1));
  EXPECT_TRUE(pollUntil(engine, [&] { return calls("scancel").find("16_1") != std::string::npos; }));
  EXPECT_EQ(calls("scancel").find("15_1"), std::string::npos);
}

TEST_F(SlurmEngineTest, AnotherServerGoesOnWithTheTask) {
  answer("squeue", line("17", "3", "RUNNING"));
  SlurmEngine engine = make();
  const StartedRun run{m_jobId, 3, 2};
  engine.resume(run, "17_3");
  EXPECT_EQ(waitForReport(engine, RunReport::Kind::Running).run.attempt, 2U);
  SlurmEngine other = make();
  other.resume(run, "1234 5678 boot");
  EXPECT_EQ(waitForReport(other, RunReport::Kind::Ended).run.part, 3U) << "a record of another engine";
}

}  // namespace
