#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <examples/parameter_sweep/common/FileJobLog.h>
#include <examples/parameter_sweep/common/PackageFile.h>
#include <examples/parameter_sweep/common/SweepSchema.h>
#include <examples/parameter_sweep/server/JobTable.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <tests/examples/SweepFakes.h>
#include <tests/support/TemporaryFolder.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

namespace {

using namespace ParameterSweep;
using StartedRun = ParameterSweep::Run;  // the test class has a member of that name
using std::chrono::milliseconds;
using std::chrono::seconds;
using SweepTest::FakeClock;
using SweepTest::FakeEngine;
using SweepTest::makeJob;

/// The states of jobs on a fake engine and a fake clock; no process is started.
class JobTableTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { static const Drelvan::ParserSession parser{SweepSchema()}; }

  JobTableTest() {
    std::filesystem::create_directories(m_settings.spool / "jobs");
    begin();
  }

  /// Another server on the same spool.
  void begin() {
    m_table.reset();
    m_writer.reset();
    m_store.reset();
    m_engine = std::make_unique<FakeEngine>();
    m_store = std::make_unique<JobStore>(m_folder.file("sweep.db"));
    m_writer = std::make_unique<StoreWriter>(*m_store);
    m_table = std::make_unique<JobTable>(m_settings, *m_store, *m_writer, *m_engine, m_clock.get());
    m_table->m_statusChanged.connect([this](const JobStatus& status) { m_published.push_back(status); });
    m_table->load();
  }

  SweepJobId submit(std::uint32_t count = 1, std::uint32_t partSize = 1, std::int32_t priority = 0) {
    AddPackage change = makeJob(count, partSize);
    change.job.status.priority = priority;
    m_writer->write(change, StoreWriter::Patience::Once, [](Stored stored) { EXPECT_EQ(stored, Stored::Done); });
    awaitStored();
    m_table->add(change.job, change.parts);
    return change.job.status.jobId;
  }

  /// Until the table has nothing more to do at this time.
  void pollUntilIdle() {
    // A report of the engine leads to a change, and a change that is stored to a status, each in the next turn.
    constexpr int c_quietTurns = 3;
    constexpr int c_mostTurns = 1000;
    int quiet = 0;
    for (int turn = 0; turn < c_mostTurns && quiet < c_quietTurns; ++turn) {
      pollfd prepared{m_table->getDescriptor(), POLLIN, 0};
      ::poll(&prepared, 1, m_table->isPreparing() ? 10000 : 0);
      m_table->poll();
      const bool isBusy = m_writer->countWaiting() > 0 || m_table->isPreparing() || m_table->getPause().count() == 0;
      quiet = isBusy ? 0 : quiet + 1;
      awaitStored();
    }
  }
  void awaitStored() {
    while (m_writer->countWaiting() > 0) {
      m_writer->pollFor(milliseconds(100));
    }
  }

  JobStatus status(const SweepJobId& jobId) const { return m_table->getStatus(jobId).value(); }
  JobState state(const SweepJobId& jobId) const { return status(jobId).state; }
  /// The run that was started last.
  StartedRun lastRun() const { return m_engine->m_all.back(); }
  /// The run of a job that has one.
  StartedRun runOf(const SweepJobId& jobId) const {
    const auto isOfJob = [&](const auto& run) { return run.jobId.getUniqueId() == jobId.getUniqueId(); };
    return *std::find_if(m_engine->m_started.begin(), m_engine->m_started.end(), isOfJob);
  }
  PartFiles files(const StartedRun& run) const { return {m_settings.spool, run.jobId, run.part, run.attempt}; }

  /// What the job program does: reads its input, and leaves twice the id of each realization.
  void leaveResult(const StartedRun& run) const {
    PackageFileReader input(files(run).input, 1000000);
    const Request part = readRequestPackage(input.next().value());
    const Request package = readRequestPackage(input.next().value());
    SweepResult result{run.jobId};
    for (std::uint64_t index = part.skip; index < part.skip + part.count; ++index) {
      const std::uint32_t id = package.sweep.vectors.at(index).realizationId;
      result.realizations.push_back({id, 2.0 * id});
    }
    write(run, {result});
  }
  void write(const StartedRun& run, const ReplyContent& content) const {
    PackageFileWriter writer(files(run).result);
    writer.add(writeReplyPackage({content}, "test"));
    writer.finish();
  }
  void finish(StartedRun run) {
    leaveResult(run);
    m_engine->finish(run, {0, std::nullopt, ""});
    pollUntilIdle();
  }
  void fail(StartedRun run, const RunEnd& end) {
    m_engine->finish(run, end);
    pollUntilIdle();
  }

  void refuseStarts(const std::string& reason, bool isShortage) {
    m_engine->m_refusal = std::make_unique<RunReport>();
    m_engine->m_refusal->kind = RunReport::Kind::NotStarted;
    m_engine->m_refusal->reason = reason;
    m_engine->m_refusal->isShortage = isShortage;
  }

  /// Has a link to itself take the place of a file or folder: each access fails with ELOOP.
  void replaceByLoop(const std::filesystem::path& path) const {
    std::filesystem::rename(path, m_folder.file("replaced"));
    std::filesystem::create_symlink(path, path);
  }
  void putBack(const std::filesystem::path& path) const {
    std::filesystem::remove(path);
    std::filesystem::rename(m_folder.file("replaced"), path);
  }

  /// A pipe in place of what becomes the input of the job's first part. To write it waits until somebody reads.
  std::filesystem::path makePipeForInput(const SweepJobId& jobId) const {
    const PartFiles files(m_settings.spool, jobId, 1, 1);
    std::filesystem::create_directories(files.folder);
    std::filesystem::path pipe = siblingOf(files.input);
    EXPECT_EQ(::mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR), 0);
    return pipe;
  }

  void importLogs(const SweepJobId& jobId) {
    bool isDone = false;
    m_table->importLogs(jobId, [&] { isDone = true; });
    pollUntilIdle();
    EXPECT_TRUE(isDone);
  }
  std::ptrdiff_t countMessages(const SweepJobId& jobId, const std::string& text) const {
    const auto messages = m_store->readMessages(jobId, 0, 100).first;
    return std::count_if(messages.begin(), messages.end(), [&](const auto& message) { return message.text == text; });
  }

  TestSupport::TemporaryFolder m_folder;
  JobSettings m_settings{m_folder.file("spool"), 3, 100};
  FakeClock m_clock;
  std::unique_ptr<FakeEngine> m_engine;
  std::unique_ptr<JobStore> m_store;
  std::unique_ptr<StoreWriter> m_writer;
  std::unique_ptr<JobTable> m_table;
  std::vector<JobStatus> m_published;
};

TEST_F(JobTableTest, JobRunsAndIsFinishedWithItsResult) {
  const SweepJobId jobId = submit();
  EXPECT_EQ(state(jobId), JobState::Queued);
  pollUntilIdle();
  EXPECT_EQ(state(jobId), JobState::Running);
  EXPECT_EQ(m_store->getParts(jobId)[0].run, "run 1");
  finish(lastRun());
  EXPECT_EQ(state(jobId), JobState::Finished);
  EXPECT_EQ(m_published.back().state, JobState::Finished);
  EXPECT_EQ(m_store->readResults(jobId, 0, 10).at(0).value, 2);
  EXPECT_EQ(m_table->find(jobId), nullptr) << "nothing of it is held any more";
  EXPECT_FALSE(std::filesystem::exists(JobFolder(m_settings.spool, jobId).path));
}

TEST_F(JobTableTest, PartsRunSideBySideAndTheResultIsInOrderWhateverEndsFirst) {
  m_engine->m_room = 2;
  const SweepJobId jobId = submit(7, 3);
  pollUntilIdle();
  ASSERT_EQ(m_engine->m_started.size(), 2U);
  EXPECT_EQ(status(jobId).partsRunning, 2U);
  finish(m_engine->m_started[1]);
  EXPECT_EQ(status(jobId).partsDone, 1U);
  EXPECT_NEAR(status(jobId).progress, 3.0 / 7, 1e-9);
  EXPECT_EQ(state(jobId), JobState::Running);
  ASSERT_EQ(m_engine->m_started.size(), 2U);
  finish(m_engine->m_started[1]);
  finish(m_engine->m_started[0]);
  ASSERT_EQ(state(jobId), JobState::Finished);
  const auto results = m_store->readResults(jobId, 0, 100);
  ASSERT_EQ(results.size(), 7U);
  for (std::uint32_t index = 0; index < 7; ++index) {
    EXPECT_EQ(results[index].realizationId, index + 1);
    EXPECT_EQ(results[index].value, 2.0 * (index + 1));
  }
}

TEST_F(JobTableTest, UrgentJobsStartFirstThenThoseThatCameFirst) {
  m_engine->m_room = 0;
  const SweepJobId first = submit();
  const SweepJobId second = submit();
  const SweepJobId urgent = submit(1, 1, 7);
  m_engine->m_room = 1;
  for (const SweepJobId& next : {urgent, first, second}) {
    pollUntilIdle();
    EXPECT_EQ(lastRun().jobId.toString(), next.toString());
    finish(lastRun());
  }
}

TEST_F(JobTableTest, NextPartsArePreparedWhileThereIsNoRoomForThem) {
  const SweepJobId jobId = submit(4, 1);
  pollUntilIdle();
  EXPECT_EQ(m_engine->m_all.size(), 1U);
  for (const std::uint32_t part : {1U, 2U, 3U}) {
    EXPECT_TRUE(std::filesystem::exists(files({jobId, part, 1}).input)) << part;
  }
  EXPECT_FALSE(std::filesystem::exists(files({jobId, 4, 1}).input));
  EXPECT_EQ(status(jobId).partsRunning, 1U);
  EXPECT_NE(m_table->getPause(), milliseconds(0)) << "it waits for room";
  finish(lastRun());
  EXPECT_EQ(m_engine->m_all.size(), 2U);
  EXPECT_EQ(lastRun().part, 2U);
}

TEST_F(JobTableTest, LostTryIsRepeatedAfterAGrowingPauseAndThenFailsTheJob) {
  const SweepJobId jobId = submit();
  pollUntilIdle();
  fail(lastRun(), {std::nullopt, SIGKILL, ""});
  EXPECT_EQ(state(jobId), JobState::Queued);
  m_clock.pass(milliseconds(900));
  pollUntilIdle();
  EXPECT_EQ(m_engine->m_all.size(), 1U);
  m_clock.pass(milliseconds(200));
  pollUntilIdle();
  ASSERT_EQ(m_engine->m_all.size(), 2U);
  EXPECT_EQ(lastRun().attempt, 2U);
  fail(lastRun(), {std::nullopt, SIGKILL, ""});
  m_clock.pass(milliseconds(1900));
  pollUntilIdle();
  EXPECT_EQ(m_engine->m_all.size(), 2U) << "the second pause is longer";
  m_clock.pass(milliseconds(200));
  pollUntilIdle();
  ASSERT_EQ(m_engine->m_all.size(), 3U);
  fail(lastRun(), {std::nullopt, SIGKILL, ""});
  ASSERT_EQ(state(jobId), JobState::Failed);
  EXPECT_EQ(status(jobId).failure->getKind(), FailureKind::JobCrashed);
  EXPECT_EQ(status(jobId).failure->getMessage(), "the job program was ended by signal 9");
}

TEST_F(JobTableTest, OnlyTheLostPartIsTriedAgain) {
  m_engine->m_room = 2;
  const SweepJobId jobId = submit(2, 1);
  pollUntilIdle();
  const StartedRun first = m_engine->m_started[0];
  const StartedRun second = m_engine->m_started[1];
  fail(first, {7, std::nullopt, "NODE_FAIL"});
  finish(second);
  EXPECT_EQ(state(jobId), JobState::Queued) << "nothing of it runs between the tries";
  m_clock.pass(seconds(2));
  pollUntilIdle();
  ASSERT_EQ(m_engine->m_all.size(), 3U);
  EXPECT_EQ(lastRun().part, first.part);
  finish(lastRun());
  EXPECT_EQ(state(jobId), JobState::Finished);
}

TEST_F(JobTableTest, FailureOfTheSweepItselfEndsTheJobAtOnceAndItsOtherParts) {
  m_engine->m_room = 2;
  const SweepJobId jobId = submit(2, 1);
  pollUntilIdle();
  const StartedRun first = m_engine->m_started[0];
  write(first, SweepFailure(FailureKind::BadExpression, "bad expression at position 3"));
  m_engine->finish(first, {0, std::nullopt, ""});
  pollUntilIdle();
  EXPECT_EQ(state(jobId), JobState::Failed);
  EXPECT_EQ(status(jobId).failure->getKind(), FailureKind::BadExpression);
  EXPECT_EQ(m_engine->m_ended.size(), 1U);
  m_clock.pass(seconds(100));
  pollUntilIdle();
  EXPECT_EQ(m_engine->m_all.size(), 2U);
}

TEST_F(JobTableTest, ProcessorTimeIsAnOutcomeOfItsOwn) {
  const SweepJobId jobId = submit();
  pollUntilIdle();
  fail(lastRun(), {std::nullopt, SIGXCPU, ""});
  EXPECT_EQ(status(jobId).failure.value().getKind(), FailureKind::ProcessorTimeExceeded);
}

TEST_F(JobTableTest, ClockThatIsSetNeitherEndsAJobNorSparesIt) {
  for (const auto step : {std::chrono::hours(1000), std::chrono::hours(-500)}) {
    const SweepJobId jobId = submit();
    pollUntilIdle();
    ASSERT_EQ(state(jobId), JobState::Running);
    m_clock.step(step);
    m_clock.pass(seconds(99));
    pollUntilIdle();
    EXPECT_EQ(state(jobId), JobState::Running);
    m_clock.pass(seconds(2));
    pollUntilIdle();
    EXPECT_EQ(status(jobId).failure.value().getKind(), FailureKind::JobTimedOut);
  }
}

TEST_F(JobTableTest, ShortageCostsNoTryHowLongItMayLast) {
  refuseStarts("Resource temporarily unavailable", true);
  const SweepJobId jobId = submit();
  for (int round = 0; round < 20; ++round) {
    pollUntilIdle();
    EXPECT_EQ(state(jobId), JobState::Queued);
    m_clock.pass(seconds(61));
  }
  EXPECT_EQ(m_table->getStartError(), "Resource temporarily unavailable");
  m_engine->m_refusal.reset();
  pollUntilIdle();
  EXPECT_EQ(state(jobId), JobState::Running);
  EXPECT_EQ(lastRun().attempt, 1U);
  EXPECT_EQ(m_table->getStartError(), "");
}

TEST_F(JobTableTest, ShortageThatHitsManyStartsAtOncePausesThemOnce) {
  m_engine->m_room = 16;
  refuseStarts("Resource temporarily unavailable", true);
  const SweepJobId jobId = submit(16);
  pollUntilIdle();
  EXPECT_EQ(m_engine->m_all.size(), 16U);
  m_engine->m_refusal.reset();
  m_clock.pass(milliseconds(1100));
  pollUntilIdle();
  EXPECT_EQ(m_engine->m_started.size(), 16U);
  EXPECT_EQ(state(jobId), JobState::Running);
}

TEST_F(JobTableTest, LauncherThatCannotStartFailsTheJobAfterItsTries) {
  refuseStarts("cannot start '/nowhere'", false);
  const SweepJobId jobId = submit();
  for (int round = 0; round < 3; ++round) {
    pollUntilIdle();
    m_clock.pass(seconds(61));
  }
  ASSERT_EQ(state(jobId), JobState::Failed);
  EXPECT_EQ(status(jobId).failure->getKind(), FailureKind::LaunchFailed);
  EXPECT_EQ(m_engine->m_all.size(), 3U);
}

TEST_F(JobTableTest, ResultThatCannotBeReadNowIsReadLater) {
  const SweepJobId jobId = submit();
  pollUntilIdle();
  const StartedRun run = lastRun();
  leaveResult(run);
  const std::filesystem::path result = files(run).result;
  replaceByLoop(result);
  m_engine->finish(run, {0, std::nullopt, ""});
  for (int round = 0; round < 5; ++round) {
    pollUntilIdle();
    EXPECT_FALSE(isEnd(state(jobId)));
    m_clock.pass(seconds(61));
  }
  pollUntilIdle();
  putBack(result);
  m_clock.pass(seconds(2));
  pollUntilIdle();
  EXPECT_FALSE(isEnd(state(jobId))) << "the pauses grow";
  m_clock.pass(seconds(61));
  pollUntilIdle();
  EXPECT_EQ(state(jobId), JobState::Finished);
}

TEST_F(JobTableTest, MessagesThatCannotBeReadNowAreReadBeforeTheJobIsFinished) {
  const SweepJobId jobId = submit();
  pollUntilIdle();
  const StartedRun run = lastRun();
  leaveResult(run);
  const std::filesystem::path log = files(run).log;
  std::filesystem::create_symlink(log, log);
  m_engine->finish(run, {0, std::nullopt, ""});
  pollUntilIdle();
  EXPECT_FALSE(isEnd(state(jobId)));
  std::filesystem::remove(log);
  FileJobLog(log, jobId).write(LogMessage::Type::Info, "sweep-job", "done");
  m_clock.pass(seconds(2));
  pollUntilIdle();
  EXPECT_EQ(state(jobId), JobState::Finished);
  EXPECT_EQ(countMessages(jobId, "done"), 1);
}

TEST_F(JobTableTest, DamagedResultIsComputedAgainAndNeverReported) {
  const SweepJobId jobId = submit();
  for (int attempt = 1; attempt <= 3; ++attempt) {
    pollUntilIdle();
    const StartedRun run = lastRun();
    EXPECT_EQ(run.attempt, static_cast<std::uint32_t>(attempt));
    leaveResult(run);
    std::filesystem::resize_file(files(run).result, std::filesystem::file_size(files(run).result) / 2);
    fail(run, {0, std::nullopt, ""});
    m_clock.pass(seconds(10));
  }
  ASSERT_EQ(state(jobId), JobState::Failed);
  EXPECT_NE(std::string(status(jobId).failure->what()).find("the result is unreadable"), std::string::npos);
}

TEST_F(JobTableTest, ResultOfAnotherJobIsNotTaken) {
  m_settings.tries = 1;
  begin();
  const SweepJobId jobId = submit();
  pollUntilIdle();
  write(lastRun(), SweepResult{SweepJobId(), {{1, 2}}});
  fail(lastRun(), {0, std::nullopt, ""});
  EXPECT_EQ(state(jobId), JobState::Failed);
}

TEST_F(JobTableTest, ResultThatIsStillOnItsWayIsWaitedFor) {
  m_engine->m_fileDelay = seconds(30);
  const SweepJobId jobId = submit();
  pollUntilIdle();
  const StartedRun run = lastRun();
  fail(run, {0, std::nullopt, ""});
  m_clock.pass(seconds(20));
  pollUntilIdle();
  EXPECT_FALSE(isEnd(state(jobId)));
  leaveResult(run);
  m_clock.pass(seconds(2));
  pollUntilIdle();
  EXPECT_EQ(state(jobId), JobState::Finished);
}

TEST_F(JobTableTest, CancelledJobEndsItsRunsAndStaysCancelled) {
  m_engine->m_room = 2;
  const SweepJobId jobId = submit(3, 1);
  pollUntilIdle();
  Stored result = Stored::Failed;
  m_table->cancel(jobId, [&](Stored stored) { result = stored; });
  EXPECT_FALSE(isEnd(state(jobId))) << "nothing is shown before it is stored";
  pollUntilIdle();
  EXPECT_EQ(result, Stored::Done);
  EXPECT_EQ(state(jobId), JobState::Cancelled);
  EXPECT_EQ(m_engine->m_ended.size(), 2U);
  begin();
  EXPECT_EQ(state(jobId), JobState::Cancelled);
}

TEST_F(JobTableTest, JobsCancelledWhileTheirInputsAreWrittenLeaveNoFiles) {
  m_engine->m_room = 300;
  std::vector<SweepJobId> jobs;
  for (int count = 0; count < 50; ++count) {
    jobs.push_back(submit(5));
  }
  m_table->poll();
  for (const SweepJobId& job : jobs) {
    m_table->cancel(job, [](Stored stored) { EXPECT_EQ(stored, Stored::Done); });
  }
  pollUntilIdle();
  const SweepJobId last = submit();  // prepared after all the others
  pollUntilIdle();
  EXPECT_EQ(state(last), JobState::Running);
  for (const auto& entry : std::filesystem::directory_iterator(m_settings.spool / "jobs")) {
    EXPECT_EQ(entry.path().filename(), last.getUniqueId());
  }
  for (const SweepJobId& job : jobs) {
    EXPECT_EQ(state(job), JobState::Cancelled);
  }
}

TEST_F(JobTableTest, InputsThatWaitToBeWrittenAreForgottenWithTheirJob) {
  m_engine->m_room = 10;
  const SweepJobId busy = submit();
  const std::filesystem::path pipeOfBusy = makePipeForInput(busy);
  const SweepJobId cancelled = submit();
  m_table->poll();
  EXPECT_TRUE(m_table->isPreparing());
  m_table->cancel(cancelled, [](Stored stored) { EXPECT_EQ(stored, Stored::Done); });
  awaitStored();
  EXPECT_EQ(state(cancelled), JobState::Cancelled);
  const int inputOfCancelled = ::open(makePipeForInput(cancelled).c_str(), O_RDONLY | O_NONBLOCK);
  const int inputOfBusy = ::open(pipeOfBusy.c_str(), O_RDONLY | O_NONBLOCK);  // lets it be written
  pollUntilIdle();
  const SweepJobId last = submit();  // prepared after both
  pollUntilIdle();
  EXPECT_EQ(state(busy), JobState::Running);
  EXPECT_EQ(state(last), JobState::Running);
  char first = 0;
  EXPECT_EQ(::read(inputOfBusy, &first, 1), 1);
  EXPECT_LE(::read(inputOfCancelled, &first, 1), 0);
  ::close(inputOfBusy);
  ::close(inputOfCancelled);
}

TEST_F(JobTableTest, FilesThatAKilledProgramHadBegunGoWithTheirJob) {
  const SweepJobId cancelled = submit();
  pollUntilIdle();
  const std::string unfinished = files(lastRun()).result.string() + ".7.new";
  std::ofstream(unfinished) << "half";
  m_engine->m_isLeft = true;
  m_table->cancel(cancelled, [](Stored stored) { EXPECT_EQ(stored, Stored::Done); });
  pollUntilIdle();
  EXPECT_TRUE(std::filesystem::exists(unfinished)) << "the program has not ended";
  m_engine->m_isLeft = false;
  pollUntilIdle();
  EXPECT_TRUE(std::filesystem::is_empty(m_settings.spool / "jobs"));

  const SweepJobId finished = submit();
  pollUntilIdle();
  std::ofstream(files(lastRun()).result.string() + ".7.new") << "half";
  std::ofstream(files(lastRun()).output) << "kept";
  finish(lastRun());
  EXPECT_EQ(state(finished), JobState::Finished);
  EXPECT_FALSE(std::filesystem::exists(files(lastRun()).result.string() + ".7.new"));
  EXPECT_EQ(TestSupport::TemporaryFolder::read(files(lastRun()).output), "kept");
}

TEST_F(JobTableTest, FilesOfAJobWhoseFolderCannotBeListedNowAreRemovedLater) {
  const SweepJobId jobId = submit();
  pollUntilIdle();
  const std::filesystem::path folder = JobFolder(m_settings.spool, jobId).path;
  replaceByLoop(folder);
  m_table->cancel(jobId, [](Stored stored) { EXPECT_EQ(stored, Stored::Done); });
  pollUntilIdle();
  EXPECT_EQ(state(jobId), JobState::Cancelled);
  putBack(folder);
  m_clock.pass(seconds(2));
  pollUntilIdle();
  EXPECT_FALSE(std::filesystem::exists(folder));
}

TEST_F(JobTableTest, FilesOfJobsThatEndedOrWereRemovedBeforeAreRemoved) {
  const SweepJobId ended = submit();
  pollUntilIdle();
  finish(lastRun());
  const PartFiles ofEnded(m_settings.spool, ended, 1, 1);
  const PartFiles ofRemoved(m_settings.spool, SweepJobId(), 1, 1);
  for (const PartFiles& files : {ofEnded, ofRemoved}) {
    std::filesystem::create_directories(files.folder);
    std::ofstream(siblingOf(files.input)) << "half";
    std::ofstream(files.result) << "late";
  }
  std::filesystem::create_directories(m_settings.spool / "jobs" / "something else");
  begin();
  pollUntilIdle();
  EXPECT_FALSE(std::filesystem::exists(ofEnded.folder));
  EXPECT_FALSE(std::filesystem::exists(ofRemoved.folder));
  EXPECT_TRUE(std::filesystem::exists(m_settings.spool / "jobs" / "something else"));
}

TEST_F(JobTableTest, FilesOfRemovedJobsAreRemovedLaterWhereTheSpoolCannotBeListedNow) {
  const PartFiles ofRemoved(m_settings.spool, SweepJobId(), 1, 1);
  std::filesystem::create_directories(ofRemoved.folder);
  std::ofstream(ofRemoved.result) << "late";
  const std::filesystem::path jobs = m_settings.spool / "jobs";
  replaceByLoop(jobs);
  begin();
  pollUntilIdle();
  putBack(jobs);
  m_clock.pass(seconds(2));
  pollUntilIdle();
  EXPECT_FALSE(std::filesystem::exists(ofRemoved.folder));
}

TEST_F(JobTableTest, NextServerLeavesTheFilesOfARunThatHasNotEndedYet) {
  const SweepJobId jobId = submit();
  pollUntilIdle();
  const PartFiles files = this->files(lastRun());
  std::ofstream(files.output).close();  // empty until the program writes something
  m_engine->m_isLeft = true;
  m_table->cancel(jobId, [](Stored stored) { EXPECT_EQ(stored, Stored::Done); });
  pollUntilIdle();
  begin();
  m_engine->m_isLeft = true;
  pollUntilIdle();
  EXPECT_TRUE(std::filesystem::exists(files.output));
  m_engine->m_isLeft = false;
  pollUntilIdle();
  EXPECT_FALSE(std::filesystem::exists(files.folder));
}

TEST_F(JobTableTest, CancelOfAJobThatHasEndedIsRefused) {
  const SweepJobId jobId = submit();
  pollUntilIdle();
  finish(lastRun());
  Stored result = Stored::Done;
  m_table->cancel(jobId, [&](Stored stored) { result = stored; });
  EXPECT_EQ(result, Stored::Refused);
  EXPECT_EQ(state(jobId), JobState::Finished);
}

TEST_F(JobTableTest, CancelThatCannotBeStoredChangesNothing) {
  const SweepJobId jobId = submit();
  pollUntilIdle();
  Database other(m_folder.file("sweep.db"));
  other.execute("BEGIN IMMEDIATE");
  Stored result = Stored::Done;
  bool isTold = false;
  m_table->cancel(jobId, [&](Stored stored) {
    result = stored;
    isTold = true;
  });
  while (!isTold) {
    m_writer->pollFor(milliseconds(100));
  }
  EXPECT_EQ(result, Stored::Failed);
  EXPECT_EQ(state(jobId), JobState::Running);
  EXPECT_TRUE(m_engine->m_ended.empty());
  other.execute("ROLLBACK");
  finish(lastRun());
  EXPECT_EQ(state(jobId), JobState::Finished);
}

TEST_F(JobTableTest, NextServerGoesOnWithTheRunsOfTheOneBefore) {
  const SweepJobId jobId = submit();
  pollUntilIdle();
  const StartedRun run = lastRun();
  begin();
  ASSERT_EQ(m_engine->m_resumed, std::vector<std::string>{"run 1"});
  EXPECT_TRUE(m_engine->m_all.empty());
  m_engine->report({run, RunReport::Kind::Running});
  pollUntilIdle();
  EXPECT_EQ(state(jobId), JobState::Running);
  finish(run);
  EXPECT_EQ(state(jobId), JobState::Finished);
}

TEST_F(JobTableTest, RunWhoseStartTheServerBeforeCouldNotStoreIsGoneOnWith) {
  const SweepJobId jobId = submit();
  const StartedRun run{jobId, 1, 1};
  std::filesystem::create_directories(files(run).folder);
  m_engine->report({run, RunReport::Kind::Found, "run of the one before"});
  m_engine->report({run, RunReport::Kind::Running});
  pollUntilIdle();
  EXPECT_TRUE(m_engine->m_all.empty()) << "started again beside it";
  EXPECT_EQ(state(jobId), JobState::Running);
  begin();
  EXPECT_EQ(m_engine->m_resumed, std::vector<std::string>{"run of the one before"});
  SweepResult result{jobId};
  result.realizations.push_back({1, 2.0});
  write(run, {result});
  m_engine->finish(run, {});
  pollUntilIdle();
  EXPECT_EQ(state(jobId), JobState::Finished);
}

TEST_F(JobTableTest, FoundRunThatIsNotTheNextTryIsEnded) {
  m_engine->m_room = 0;
  const SweepJobId jobId = submit();
  for (const StartedRun& run : {StartedRun{SweepJobId(), 1, 1}, StartedRun{jobId, 1, 2}, StartedRun{jobId, 2, 1}}) {
    m_engine->report({run, RunReport::Kind::Found, "run"});
    m_engine->report({run, RunReport::Kind::Running});
    pollUntilIdle();
    EXPECT_FALSE(m_engine->m_ended.back() < run || run < m_engine->m_ended.back());
  }
  EXPECT_EQ(m_engine->m_ended.size(), 3U);
  EXPECT_EQ(state(jobId), JobState::Queued);
}

TEST_F(JobTableTest, RunOfTheServerBeforeIsUnknownUntilTheEngineTells) {
  m_engine->m_room = 2;
  const SweepJobId runs = submit();
  const SweepJobId waits = submit();
  pollUntilIdle();
  const StartedRun running = runOf(runs);
  const StartedRun waiting = runOf(waits);
  begin();
  pollUntilIdle();
  EXPECT_EQ(state(runs), JobState::Unknown);
  EXPECT_EQ(state(waits), JobState::Unknown);
  m_engine->report({running, RunReport::Kind::Running});
  m_engine->report({waiting, RunReport::Kind::Waiting});
  pollUntilIdle();
  EXPECT_EQ(state(runs), JobState::Running);
  EXPECT_EQ(state(waits), JobState::Queued);
}

TEST_F(JobTableTest, RunThatEndedUnseenIsFinishedByWhatItLeftOrStartsAgain) {
  m_engine->m_room = 2;
  const SweepJobId jobId = submit(2, 1);
  pollUntilIdle();
  const StartedRun first = m_engine->m_started[0];
  const StartedRun second = m_engine->m_started[1];
  leaveResult(first);
  begin();
  m_engine->m_room = 2;
  m_engine->finish(first, {});
  m_engine->finish(second, {});
  pollUntilIdle();
  EXPECT_EQ(status(jobId).partsDone, 1U);
  m_clock.pass(seconds(2));
  pollUntilIdle();
  ASSERT_EQ(m_engine->m_all.size(), 1U);
  EXPECT_EQ(lastRun().part, second.part);
  finish(lastRun());
  EXPECT_EQ(state(jobId), JobState::Finished);
}

TEST_F(JobTableTest, EndThatNobodySawNeverFailsAJobHoweverOften) {
  const SweepJobId jobId = submit();
  for (int round = 0; round < 6; ++round) {
    pollUntilIdle();
    fail(lastRun(), {});
    m_clock.pass(seconds(61));
  }
  EXPECT_FALSE(isEnd(state(jobId)));
}

TEST_F(JobTableTest, RunOfAJobCancelledJustBeforeAKillIsEndedByTheNextServer) {
  const SweepJobId jobId = submit();
  pollUntilIdle();
  m_engine->m_isLeft = true;
  m_table->cancel(jobId, [](Stored) {});
  pollUntilIdle();
  begin();
  ASSERT_EQ(m_engine->m_resumed, std::vector<std::string>{"run 1"});
  EXPECT_EQ(m_engine->m_ended.size(), 1U);
  pollUntilIdle();
  begin();
  EXPECT_TRUE(m_engine->m_resumed.empty()) << "nothing was left of it";
}

TEST_F(JobTableTest, WaitingInAClustersQueueIsQueuedAndCostsNoTime) {
  m_engine->m_runsAtOnce = false;
  const SweepJobId jobId = submit();
  pollUntilIdle();
  m_engine->report({lastRun(), RunReport::Kind::Waiting});
  m_clock.pass(seconds(1000));
  pollUntilIdle();
  EXPECT_EQ(state(jobId), JobState::Queued);
  m_engine->report({lastRun(), RunReport::Kind::Running});
  pollUntilIdle();
  EXPECT_EQ(state(jobId), JobState::Running);
  m_clock.pass(seconds(99));
  pollUntilIdle();
  EXPECT_EQ(state(jobId), JobState::Running);
  m_clock.pass(seconds(2));
  pollUntilIdle();
  ASSERT_EQ(state(jobId), JobState::Failed);
  EXPECT_EQ(status(jobId).failure->getKind(), FailureKind::JobTimedOut);
  EXPECT_EQ(m_engine->m_ended.size(), 1U);
}

TEST_F(JobTableTest, ClusterThatCannotBeAskedMakesTheStateUnknown) {
  const SweepJobId jobId = submit();
  pollUntilIdle();
  m_engine->m_error = "the controller does not answer";
  m_published.clear();
  pollUntilIdle();
  EXPECT_EQ(state(jobId), JobState::Unknown);
  ASSERT_FALSE(m_published.empty());
  EXPECT_EQ(m_published.back().state, JobState::Unknown);
  m_engine->m_error.clear();
  pollUntilIdle();
  EXPECT_EQ(state(jobId), JobState::Running);
}

TEST_F(JobTableTest, ProgressAndHostThatTheJobProgramStoresAreShown) {
  const SweepJobId jobId = submit(4, 2);
  pollUntilIdle();
  JobStatus reported{jobId, JobState::Running};
  reported.progress = 0.5;
  reported.host.setName("node7");
  replaceFile(files(lastRun()).progress, writeReplyPackage({reported}, "test"));
  m_clock.pass(seconds(1));
  pollUntilIdle();
  EXPECT_EQ(status(jobId).progress, 0.25);
  EXPECT_EQ(status(jobId).host.getName(), "node7");
  std::ofstream(files(lastRun()).progress) << "nonsense";
  m_clock.pass(seconds(1));
  pollUntilIdle();
  EXPECT_EQ(status(jobId).progress, 0.25) << "progress is no outcome";
}

TEST_F(JobTableTest, MessagesOfTheJobProgramAreReadWhileItRunsAndNoneTwice) {
  const SweepJobId jobId = submit();
  pollUntilIdle();
  std::ofstream(files(lastRun()).log) << writeLogLine({LogMessage::Type::Info, "sweep-job", 1, "begun"});
  importLogs(jobId);
  EXPECT_EQ(countMessages(jobId, "begun"), 1);
  finish(lastRun());
  EXPECT_EQ(countMessages(jobId, "begun"), 1);
  EXPECT_EQ(countMessages(jobId, "Finished"), 1);
}

TEST_F(JobTableTest, MessagesOfALostTryAreKept) {
  const SweepJobId jobId = submit();
  pollUntilIdle();
  std::ofstream(files(lastRun()).log) << writeLogLine({LogMessage::Type::Info, "sweep-job", 1, "first try"});
  fail(lastRun(), {std::nullopt, SIGKILL, ""});
  EXPECT_EQ(countMessages(jobId, "first try"), 1);
  m_clock.pass(seconds(2));
  pollUntilIdle();
  std::ofstream(files(lastRun()).log) << writeLogLine({LogMessage::Type::Info, "sweep-job", 1, "second"});
  finish(lastRun());
  EXPECT_EQ(countMessages(jobId, "first try"), 1);
  EXPECT_EQ(countMessages(jobId, "second"), 1);
}

TEST_F(JobTableTest, MessagesOfCancelledRunsAreKeptAlsoAfterACancelThatWasNotStored) {
  const SweepJobId jobId = submit();
  pollUntilIdle();
  std::ofstream(files(lastRun()).log) << writeLogLine({LogMessage::Type::Info, "sweep-job", 1, "begun"});
  Stored result = Stored::Done;
  const auto cancel = [&] {
    bool isTold = false;
    m_table->cancel(jobId, [&](Stored stored) {
      result = stored;
      isTold = true;
    });
    while (!isTold) {
      m_writer->pollFor(milliseconds(100));
    }
  };
  {
    Database other(m_folder.file("sweep.db"));
    other.execute("BEGIN IMMEDIATE");
    cancel();
    EXPECT_EQ(result, Stored::Failed);
    other.execute("ROLLBACK");
  }
  EXPECT_EQ(countMessages(jobId, "begun"), 0);
  cancel();
  EXPECT_EQ(result, Stored::Done);
  EXPECT_EQ(countMessages(jobId, "begun"), 1);
}

TEST_F(JobTableTest, MessageThatIsStillBeingWrittenIsReadOnceItIsWhole) {
  const SweepJobId jobId = submit();
  pollUntilIdle();
  const std::string line = writeLogLine({LogMessage::Type::Info, "sweep-job", 1, "begun"});
  std::ofstream log(files(lastRun()).log);
  log << line.substr(0, line.size() / 2) << std::flush;
  importLogs(jobId);
  EXPECT_EQ(countMessages(jobId, "begun"), 0);
  log << line.substr(line.size() / 2) << std::flush;
  importLogs(jobId);
  EXPECT_EQ(countMessages(jobId, "begun"), 1);
}

TEST_F(JobTableTest, MessagesAroundALineThatWasNeverFinishedAreRead) {
  const SweepJobId jobId = submit();
  pollUntilIdle();
  FileJobLog log(files(lastRun()).log, jobId);
  log.write(LogMessage::Type::Info, "sweep-job", "before");
  std::ofstream(files(lastRun()).log, std::ios::app) << "<logMessage unfini";  // by a writer that was ended
  log.write(LogMessage::Type::Info, "sweep-job", "after");
  importLogs(jobId);
  EXPECT_EQ(countMessages(jobId, "before"), 1);
  EXPECT_EQ(countMessages(jobId, "after"), 1);
}

}  // namespace
