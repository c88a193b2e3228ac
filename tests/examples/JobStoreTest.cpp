#include <examples/parameter_sweep/store/JobStore.h>
#include <examples/parameter_sweep/store/StoreSchema.h>
#include <examples/parameter_sweep/store/StoreWriter.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <tests/examples/SweepFakes.h>
#include <tests/support/TemporaryFolder.h>
#include <unistd.h>

#include <cmath>
#include <limits>
#include <memory>

namespace {

using namespace ParameterSweep;
using SweepTest::makeJob;

class JobStoreTest : public testing::Test {
 protected:
  SweepJobId add(const AddPackage& change) {
    EXPECT_EQ(m_store->apply({change}), std::vector<bool>{true});
    return change.job.status.jobId;
  }
  bool apply(const Change& change) { return m_store->apply(std::vector<Change>{change}).front(); }
  void reopen() {
    m_store.reset();
    m_store = std::make_unique<JobStore>(file());
  }
  std::string file() const { return m_folder.file("sweep.db"); }
  JobState state(const SweepJobId& jobId) { return m_store->find(jobId).value().status.state; }

  static FinishPart finish(const SweepJobId& jobId, std::uint32_t part, std::vector<Realization> results) {
    FinishPart change{jobId, part, packResults(results)};
    change.time = 5000;
    change.host = "node1";
    return change;
  }
  static EndJob cancel(const SweepJobId& jobId) {
    EndJob change{jobId, JobState::Cancelled, SweepFailure(FailureKind::JobCancelled, "the job was cancelled")};
    change.time = 6000;
    return change;
  }

  TestSupport::TemporaryFolder m_folder;
  std::unique_ptr<JobStore> m_store = std::make_unique<JobStore>(file());
};

TEST_F(JobStoreTest, OtherProgramsAreLockedOutHoweverManyConnectionsThisOneMakes) {
  add(makeJob(1, 1));
  { const Database other(m_store->getFile()); }
  const pid_t child = ::fork();
  if (child == 0) {
    // What another program must not get to take itself for the last one that uses the database.
    constexpr off_t c_firstShared = 0x40000002;
    constexpr off_t c_shared = 510;
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = c_firstShared;
    lock.l_len = c_shared;
    const int descriptor = ::open(file().c_str(), O_RDWR | O_CLOEXEC);
    const bool isAnswered = ::fcntl(descriptor, F_GETLK, &lock) == 0;  // NOLINT(cppcoreguidelines-pro-type-vararg)
    ::_exit(isAnswered && lock.l_type != F_UNLCK ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST_F(JobStoreTest, JobIsReadAsItWasStoredAlsoByAnotherProgram) {
  AddPackage change = makeJob(5, 2, "alice");
  change.job.status.title = "first";
  change.job.status.priority = -3;
  const SweepJobId jobId = add(change);
  reopen();
  const JobRecord job = m_store->find(jobId).value();
  EXPECT_EQ(job.status.jobId.toString(), jobId.toString());
  EXPECT_EQ(job.status.owner, "alice");
  EXPECT_EQ(job.status.title, "first");
  EXPECT_EQ(job.status.priority, -3);
  EXPECT_EQ(job.status.state, JobState::Queued);
  EXPECT_EQ(job.status.realizations, 5U);
  EXPECT_EQ(job.status.parts, 3U);
  EXPECT_EQ(job.status.submitted, 1000);
  EXPECT_EQ(job.expression, "2*x");
  EXPECT_EQ(job.bytes, static_cast<std::int64_t>(change.content.size()));
  EXPECT_EQ(m_store->readPackage(jobId, 1), change.content);
  const std::vector<PartRecord> parts = m_store->getParts(jobId);
  ASSERT_EQ(parts.size(), 3U);
  EXPECT_EQ(parts[2].first, 4U);
  EXPECT_EQ(parts[2].count, 1U);
}

TEST_F(JobStoreTest, UnknownJobIsNone) { EXPECT_FALSE(m_store->find(SweepJobId()).has_value()); }

TEST_F(JobStoreTest, SameIdIsStoredOnce) {
  const AddPackage change = makeJob(1, 1);
  add(change);
  EXPECT_FALSE(apply(change));
  EXPECT_EQ(m_store->countJobs(), 1);
}

TEST_F(JobStoreTest, SubmissionOfSeveralPackagesIsAJobOnlyWithTheLast) {
  AddPackage first = makeJob(2, 2);
  const std::vector<PartRecord> parts = first.parts;
  first.parts.clear();
  first.job.isComplete = false;
  const SweepJobId jobId = add(first);
  EXPECT_EQ(m_store->countJobs(), 0);
  EXPECT_TRUE(m_store->loadActive().empty());
  AddPackage last = first;
  last.job.isComplete = true;
  last.job.status.realizations = 4;
  last.package = {3, 2, 2};
  EXPECT_FALSE(apply(last)) << "the second package is missing";
  last.package.number = 2;
  last.parts = parts;
  EXPECT_TRUE(apply(last));
  EXPECT_FALSE(apply(last));
  EXPECT_EQ(m_store->countJobs(), 1);
  EXPECT_EQ(m_store->find(jobId)->status.realizations, 4U);
  EXPECT_EQ(m_store->find(jobId)->bytes, static_cast<std::int64_t>(2 * first.content.size()));
}

TEST_F(JobStoreTest, JobIsFinishedWithTheLastOfItsParts) {
  const SweepJobId jobId = add(makeJob(3, 2));
  EXPECT_TRUE(apply(StartParts{jobId, {{1, 0, 2, PartState::Running, 1, "run 1"}}, 2000}));
  EXPECT_EQ(state(jobId), JobState::Running);
  EXPECT_TRUE(apply(finish(jobId, 2, {{3, 6}})));
  EXPECT_EQ(state(jobId), JobState::Running);
  EXPECT_FALSE(apply(finish(jobId, 2, {{3, 7}}))) << "a part ends once";
  EXPECT_TRUE(apply(finish(jobId, 1, {{1, 2}, {2, 4}})));
  const JobStatus status = m_store->find(jobId)->status;
  EXPECT_EQ(status.state, JobState::Finished);
  EXPECT_EQ(status.started, 2000);
  EXPECT_EQ(status.ended, 5000);
  EXPECT_EQ(status.host.getName(), "node1");
  EXPECT_EQ(status.progress, 1);
}

TEST_F(JobStoreTest, ResultsAreReadInTheirOrderInPiecesOfAnySize) {
  const SweepJobId jobId = add(makeJob(5, 2));
  const double infinity = std::numeric_limits<double>::infinity();
  apply(finish(jobId, 3, {{5, infinity}}));
  apply(finish(jobId, 1, {{1, 2.5}, {2, -0.0}}));
  apply(finish(jobId, 2, {{3, 1e-300}, {4294967295U, 8}}));
  for (std::size_t limit = 1; limit <= 6; ++limit) {
    std::vector<Realization> all;
    while (all.size() < 5) {
      const auto piece = m_store->readResults(jobId, all.size(), limit);
      ASSERT_EQ(piece.size(), std::min(limit, 5 - all.size()));
      all.insert(all.end(), piece.begin(), piece.end());
    }
    EXPECT_EQ(all[0].value, 2.5);
    EXPECT_TRUE(std::signbit(all[1].value));
    EXPECT_EQ(all[2].value, 1e-300);
    EXPECT_EQ(all[3].realizationId, 4294967295U);
    EXPECT_EQ(all[4].value, infinity);
    EXPECT_TRUE(m_store->readResults(jobId, 5, limit).empty());
  }
}

TEST_F(JobStoreTest, StoredEndNeverChanges) {
  const SweepJobId finished = add(makeJob(1, 1));
  apply(finish(finished, 1, {{1, 2}}));
  EXPECT_FALSE(apply(cancel(finished)));
  EXPECT_EQ(state(finished), JobState::Finished);
  const SweepJobId cancelled = add(makeJob(1, 1));
  EXPECT_TRUE(apply(cancel(cancelled)));
  EXPECT_FALSE(apply(finish(cancelled, 1, {{1, 2}})));
  EXPECT_FALSE(apply(StartParts{cancelled, {{1, 0, 1, PartState::Running, 1, "run"}}, 1}));
  EXPECT_FALSE(apply(EndJob{cancelled, JobState::Failed, SweepFailure(FailureKind::JobFailed, "late")}));
  reopen();
  const JobStatus status = m_store->find(cancelled)->status;
  EXPECT_EQ(status.state, JobState::Cancelled);
  EXPECT_EQ(status.failure->getKind(), FailureKind::JobCancelled);
  EXPECT_EQ(status.failure->getMessage(), "the job was cancelled");
  EXPECT_EQ(status.ended, 6000);
}

TEST_F(JobStoreTest, OnlyJobsThatHaveNotEndedAreLoadedTheUrgentOnesFirst) {
  const SweepJobId late = add(makeJob(1, 1));
  AddPackage urgent = makeJob(1, 1);
  urgent.job.status.priority = 5;
  add(urgent);
  const SweepJobId ended = add(makeJob(1, 1));
  apply(cancel(ended));
  const auto jobs = m_store->loadActive();
  ASSERT_EQ(jobs.size(), 2U);
  EXPECT_EQ(jobs[0].first.status.jobId.toString(), urgent.job.status.jobId.toString());
  EXPECT_EQ(jobs[1].first.status.jobId.toString(), late.toString());
  EXPECT_EQ(jobs[1].second.size(), 1U);
}

TEST_F(JobStoreTest, TriesAndRunsOfPartsAreKept) {
  const SweepJobId jobId = add(makeJob(2, 1));
  apply(StartParts{jobId, {{1, 0, 1, PartState::Running, 2, "17_1"}, {2, 1, 1, PartState::Running, 1, "17_2"}}, 1});
  apply(QueuePart{jobId, 2});
  const auto parts = m_store->getParts(jobId);
  EXPECT_EQ(parts[0].state, PartState::Running);
  EXPECT_EQ(parts[0].run, "17_1");
  EXPECT_EQ(parts[0].tries, 2U);
  EXPECT_EQ(parts[1].state, PartState::Queued);
  EXPECT_EQ(parts[1].tries, 1U);
}

TEST_F(JobStoreTest, RunsOfEndedJobsAreKnownUntilNothingIsLeftOfThem) {
  const SweepJobId jobId = add(makeJob(1, 1));
  apply(StartParts{jobId, {{1, 0, 1, PartState::Running, 1, "pid"}}, 1});
  EXPECT_TRUE(m_store->loadStrayRuns().empty());
  apply(cancel(jobId));
  ASSERT_EQ(m_store->loadStrayRuns().size(), 1U);
  EXPECT_EQ(m_store->loadStrayRuns()[0].second.run, "pid");
  EXPECT_TRUE(apply(ForgetRun{jobId, 1, 1}));
  EXPECT_TRUE(m_store->loadStrayRuns().empty());
}

TEST_F(JobStoreTest, CopyOfAJobKeepsTheResultsOfFinishedParts) {
  const SweepJobId failed = add(makeJob(2, 1));
  apply(finish(failed, 1, {{1, 2}}));
  apply(EndJob{failed, JobState::Failed, SweepFailure(FailureKind::JobCrashed, "node lost")});
  CopyJob copy{failed, {}};
  copy.job.isComplete = true;
  copy.job.status.owner = "bob";
  EXPECT_TRUE(apply(copy));
  EXPECT_FALSE(apply(copy));
  const SweepJobId again = copy.job.status.jobId;
  EXPECT_EQ(m_store->readPackage(again, 1), m_store->readPackage(failed, 1));
  EXPECT_EQ(m_store->getParts(again)[0].state, PartState::Finished);
  EXPECT_EQ(m_store->getParts(again)[1].state, PartState::Queued);
  EXPECT_EQ(m_store->find(again)->status.owner, "bob");
  apply(finish(again, 2, {{2, 4}}));
  EXPECT_EQ(state(again), JobState::Finished);
  EXPECT_EQ(m_store->readResults(again, 0, 10).at(1).value, 4);
  EXPECT_EQ(state(failed), JobState::Failed);
}

TEST_F(JobStoreTest, MessagesFollowTheLastOneThatWasRead) {
  const SweepJobId jobId = add(makeJob(1, 1));
  apply(StartParts{jobId, {{1, 0, 1, PartState::Running, 1, "run"}}, 1});
  EXPECT_TRUE(
      apply(AddMessages{jobId, {{LogMessage::Type::Info, "a", 1, "one"}, {LogMessage::Type::Error, "b", 2, "two"}}}));
  EXPECT_TRUE(apply(AddMessages{jobId, {{LogMessage::Type::Info, "c", 3, "three"}}, 1, 50}));
  EXPECT_FALSE(apply(AddMessages{jobId, {{LogMessage::Type::Info, "c", 3, "three"}}, 1, 50})) << "read already";
  const auto [messages, next] = m_store->readMessages(jobId, 0, 2);
  ASSERT_EQ(messages.size(), 2U);
  EXPECT_EQ(messages[1].text, "two");
  EXPECT_EQ(messages[1].type, LogMessage::Type::Error);
  const auto [rest, end] = m_store->readMessages(jobId, next, 10);
  ASSERT_EQ(rest.size(), 1U);
  EXPECT_EQ(rest[0].group, "c");
  EXPECT_TRUE(m_store->readMessages(jobId, end, 10).first.empty());
}

TEST_F(JobStoreTest, ListGoesFromTheNewestInPiecesAndByStateAndOwner) {
  std::vector<SweepJobId> jobs;
  for (int index = 0; index < 5; ++index) {
    jobs.push_back(add(makeJob(1, 1, index % 2 == 0 ? "alice" : "bob")));
  }
  apply(cancel(jobs[4]));
  JobStore::Filter filter;
  filter.limit = 2;
  const JobList first = m_store->list(filter);
  ASSERT_EQ(first.jobs.size(), 2U);
  EXPECT_EQ(first.jobs[0].jobId.toString(), jobs[4].toString());
  filter.before = first.next;
  EXPECT_EQ(m_store->list(filter).jobs.at(0).jobId.toString(), jobs[2].toString());
  filter = {JobState::Cancelled, std::nullopt, 0, 10};
  EXPECT_EQ(m_store->list(filter).jobs.size(), 1U);
  filter = {std::nullopt, "bob", 0, 10};
  EXPECT_EQ(m_store->list(filter).jobs.size(), 2U);
  EXPECT_EQ(m_store->list(filter).next, 0U);
  filter = {std::nullopt, "alice", 0, 10, true};
  EXPECT_EQ(m_store->list(filter).jobs.size(), 2U);
}

TEST_F(JobStoreTest, UsageOfAnOwnerCountsBytesAndJobsThatHaveNotEnded) {
  const AddPackage change = makeJob(1, 1, "alice");
  add(change);
  const SweepJobId ended = add(makeJob(1, 1, "alice"));
  apply(finish(ended, 1, {{1, 2}}));
  add(makeJob(1, 1, "bob"));
  const JobStore::Usage usage = m_store->getUsage("alice");
  EXPECT_EQ(usage.activeJobs, 1);
  EXPECT_NEAR(static_cast<double>(usage.bytes), 2.0 * static_cast<double>(change.content.size()) + 12, 10);
  EXPECT_EQ(m_store->getUsage("nobody").bytes, 0);
}

TEST_F(JobStoreTest, RemovedJobLeavesNothingAndOneThatHasNotEndedStays) {
  const SweepJobId jobId = add(makeJob(1, 1));
  EXPECT_FALSE(apply(RemoveJob{jobId}));
  apply(cancel(jobId));
  EXPECT_TRUE(apply(RemoveJob{jobId}));
  EXPECT_FALSE(m_store->find(jobId).has_value());
  EXPECT_TRUE(m_store->readPackage(jobId, 1).empty());
  EXPECT_TRUE(m_store->getParts(jobId).empty());
}

TEST_F(JobStoreTest, ExpiredAreThoseThatEndedEarlyAndSubmissionsThatWereGivenUp) {
  const SweepJobId ended = add(makeJob(1, 1));
  apply(cancel(ended));
  AddPackage begun = makeJob(1, 1);
  begun.parts.clear();
  begun.job.isComplete = false;
  add(begun);
  add(makeJob(1, 1));
  EXPECT_TRUE(m_store->findExpired(6000, 1000, 10).empty());
  EXPECT_EQ(m_store->findExpired(6001, 1000, 10).size(), 1U);
  EXPECT_EQ(m_store->findExpired(6001, 1001, 10).size(), 2U);
  EXPECT_EQ(m_store->findExpired(6001, 1001, 1).size(), 1U);
}

TEST_F(JobStoreTest, DatabaseIsForItsOwnerOnly) {
  add(makeJob(1, 1));
  for (const char* name : {"sweep.db", "sweep.db-wal", "sweep.db-shm"}) {
    struct stat status {};
    ASSERT_EQ(::stat(m_folder.file(name).c_str(), &status), 0) << name;
    EXPECT_EQ(status.st_mode & 0777U, 0600U) << name;
  }
}

TEST_F(JobStoreTest, DatabaseOfANewerServerIsRefused) {
  m_store.reset();
  {
    Database database(file());
    database.execute("PRAGMA user_version = " + std::to_string(getStoreVersion() + 1));
  }
  try {
    const JobStore store(file());
    FAIL();
  } catch (const SweepFailure& failure) {
    EXPECT_NE(std::string(failure.what()).find("newer sweep-server"), std::string::npos) << failure.what();
  }
}

TEST_F(JobStoreTest, FileThatIsNoDatabaseIsRefusedAndLeftAsItIs) {
  const std::string other = m_folder.write("other", std::string(2000, 'x'));
  EXPECT_THROW(JobStore store(other), DatabaseError);
  EXPECT_EQ(TestSupport::TemporaryFolder::read(other), std::string(2000, 'x'));
}

TEST_F(JobStoreTest, WriterTellsWhatBecameOfEachChange) {
  StoreWriter writer(*m_store);
  const AddPackage change = makeJob(1, 1);
  std::vector<Stored> results;
  for (int index = 0; index < 2; ++index) {
    writer.write(change, StoreWriter::Patience::Once, [&](Stored result) { results.push_back(result); });
  }
  while (results.size() < 2) {
    writer.pollFor(std::chrono::seconds(1));
  }
  EXPECT_EQ(results[0], Stored::Done);
  EXPECT_EQ(results[1], Stored::Refused);
  EXPECT_EQ(writer.countWaiting(), 0U);
  EXPECT_EQ(writer.getError(), "");
}

TEST_F(JobStoreTest, WriterThatEndsStoresWhatWaits) {
  const AddPackage change = makeJob(1, 1);
  {
    StoreWriter writer(*m_store);
    writer.write(change, StoreWriter::Patience::Forever, [](Stored) { FAIL() << "nobody is called any more"; });
  }
  EXPECT_TRUE(m_store->find(change.job.status.jobId).has_value());
}

/// A store that cannot be written to: another connection holds it.
TEST_F(JobStoreTest, WriterTellsOfAFailureOrTriesUntilItIsStored) {
  Database other(file());
  StoreWriter writer(*m_store);
  other.execute("BEGIN IMMEDIATE");
  const AddPackage once = makeJob(1, 1);
  const AddPackage forever = makeJob(1, 1);
  std::vector<Stored> results;
  writer.write(once, StoreWriter::Patience::Once, [&](Stored result) { results.push_back(result); });
  writer.write(forever, StoreWriter::Patience::Forever, [&](Stored result) { results.push_back(result); });
  while (results.empty()) {
    writer.pollFor(std::chrono::seconds(1));
  }
  EXPECT_EQ(results, std::vector<Stored>{Stored::Failed});
  EXPECT_NE(writer.getError(), "");
  EXPECT_FALSE(m_store->find(once.job.status.jobId).has_value());
  other.execute("ROLLBACK");
  while (results.size() < 2) {
    writer.pollFor(std::chrono::seconds(1));
  }
  EXPECT_EQ(results[1], Stored::Done);
  EXPECT_EQ(writer.getError(), "");
}

}  // namespace
