#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <examples/parameter_sweep/common/SweepSchema.h>
#include <examples/parameter_sweep/server/Submissions.h>
#include <gtest/gtest.h>
#include <tests/examples/SweepFakes.h>
#include <tests/support/TemporaryFolder.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using namespace ParameterSweep;
using std::chrono::milliseconds;
using SweepTest::FakeClock;
using SweepTest::FakeEngine;

/// Submissions on a store of their own; no process is started.
class SubmissionsTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { static const Drelvan::ParserSession parser{SweepSchema()}; }

  void begin(const SubmissionSettings& settings) {
    m_submissions = std::make_unique<Submissions>(settings, m_store, m_writer, m_table, m_clock.get());
  }

  /// Package `number` of a submission.
  static Request makePackage(const SweepJobId& jobId, std::uint32_t number, bool more, std::uint32_t count = 1) {
    Request request{number == 1 ? RequestKind::Submit : RequestKind::Append, jobId};
    request.sweep.expression = number == 1 ? "2*x" : "";
    for (std::uint32_t index = 0; index < count; ++index) {
      request.sweep.vectors.push_back({number * 1000000 + index, {{"x", 1.0}}});
    }
    request.packageNumber = number;
    request.more = more;
    return request;
  }
  static Request makeAgain(const SweepJobId& ofJob) {
    Request request{RequestKind::Again, SweepJobId()};
    request.ofJob = ofJob;
    return request;
  }

  /// The answers to requests that arrive together, in the order in which they are given.
  std::vector<ReplyContent> answers(const std::vector<Request>& requests, const Client& client = {"alice", false}) {
    std::vector<ReplyContent> answers;
    const auto reply = [&](const ReplyContent& content) { answers.push_back(content); };
    for (const Request& request : requests) {
      try {
        if (request.kind == RequestKind::Again) {
          m_submissions->submitAgain(request, client, reply);
        } else {
          m_submissions->receive(request, writeRequestPackage(request), client, reply);
        }
      } catch (const SweepFailure& failure) {
        reply(failure);
      }
    }
    storeAll();
    return answers;
  }
  ReplyContent answer(const Request& request, const Client& client = {"alice", false}) {
    return answers({request}, client).at(0);
  }
  void storeAll() {
    while (m_writer.countWaiting() > 0) {
      m_writer.pollFor(milliseconds(100));
    }
  }

  static bool isTaken(const ReplyContent& content) { return std::holds_alternative<JobStatus>(content); }
  static FailureKind refusal(const ReplyContent& content) {
    const auto* failure = std::get_if<SweepFailure>(&content);
    EXPECT_NE(failure, nullptr);
    return failure == nullptr ? FailureKind::Internal : failure->getKind();
  }
  void cancel(const SweepJobId& jobId) {
    m_table.cancel(jobId, [](Stored) {});
    storeAll();
  }

  TestSupport::TemporaryFolder m_folder;
  FakeClock m_clock;
  FakeEngine m_engine;
  JobStore m_store{m_folder.file("sweep.db")};
  StoreWriter m_writer{m_store};
  JobTable m_table{{m_folder.file("spool"), 3, 100}, m_store, m_writer, m_engine, m_clock.get()};
  std::unique_ptr<Submissions> m_submissions;
};

TEST_F(SubmissionsTest, JobsOfSeveralPackagesCountForTheirOwnerHoweverTheyArrive) {
  begin({0, 1, 0});
  const SweepJobId first;
  const SweepJobId second;
  EXPECT_FALSE(isTaken(answer(makePackage(first, 1, true))));
  EXPECT_FALSE(isTaken(answer(makePackage(second, 1, true))));
  const auto last = answers({makePackage(first, 2, false), makePackage(second, 2, false)});
  EXPECT_EQ(refusal(last.at(0)), FailureKind::TooMuch);  // a refusal does not wait for the store
  EXPECT_TRUE(isTaken(last.at(1)));
  EXPECT_EQ(m_table.countOf("alice"), 1U);
  EXPECT_TRUE(isTaken(answer(makePackage(SweepJobId(), 1, false), {"bob", false})));
}

TEST_F(SubmissionsTest, CopiesCountForTheirOwnerWhileTheyAreBeingStored) {
  begin({0, 1, 0});
  const SweepJobId old;
  ASSERT_TRUE(isTaken(answer(makePackage(old, 1, false))));
  cancel(old);
  const auto both = answers({makeAgain(old), makeAgain(old)});
  EXPECT_EQ(refusal(both.at(0)), FailureKind::TooMuch);
  EXPECT_TRUE(isTaken(both.at(1)));
}

TEST_F(SubmissionsTest, SubmissionThatIsRefusedInItsMiddleLeavesNothingThatCounts) {
  constexpr std::uint32_t c_much = 100;
  begin({0, 0, static_cast<std::int64_t>(3 * writeRequestPackage(makePackage(SweepJobId(), 1, true, c_much)).size())});
  const SweepJobId large;
  for (std::uint32_t number = 1; number <= 2; ++number) {
    ASSERT_TRUE(std::holds_alternative<PackageReceived>(answer(makePackage(large, number, true, c_much))));
  }
  const auto rest = answers({makePackage(large, 3, true, 2 * c_much), makePackage(large, 4, false)});
  EXPECT_EQ(refusal(rest.at(0)), FailureKind::TooMuch);
  EXPECT_EQ(refusal(rest.at(1)), FailureKind::MissingPackage);
  EXPECT_FALSE(m_store.find(large).has_value());
  EXPECT_EQ(m_store.getUsage("alice").bytes, 0);
  EXPECT_TRUE(isTaken(answer(makePackage(SweepJobId(), 1, false, c_much))));
}

TEST_F(SubmissionsTest, RefusalInTheMiddleSparesWhatAnotherClientSubmits) {
  begin({0, 0, static_cast<std::int64_t>(3 * writeRequestPackage(makePackage(SweepJobId(), 1, true)).size())});
  const SweepJobId jobId;
  ASSERT_TRUE(std::holds_alternative<PackageReceived>(answer(makePackage(jobId, 1, true))));
  EXPECT_EQ(refusal(answer(makePackage(jobId, 2, true, 1000), {"bob", false})), FailureKind::TooMuch);
  EXPECT_TRUE(isTaken(answer(makePackage(jobId, 2, false))));
}

TEST_F(SubmissionsTest, SameRequestToSubmitAgainMakesOneJobHoweverOftenItIsSent) {
  begin({});
  const SweepJobId old;
  ASSERT_TRUE(isTaken(answer(makePackage(old, 1, false))));
  cancel(old);
  const Request again = makeAgain(old);
  for (const ReplyContent& content : answers({again, again})) {
    ASSERT_TRUE(isTaken(content));
    EXPECT_EQ(std::get<JobStatus>(content).state, JobState::Queued);
  }
  m_store.apply({Change(RemoveJob{old})});
  EXPECT_TRUE(isTaken(answer(again)));
  EXPECT_EQ(m_table.countOf("alice"), 1U);
  EXPECT_EQ(refusal(answer(again, {"bob", false})), FailureKind::JobExists);
  EXPECT_EQ(refusal(answer(makeAgain(old))), FailureKind::UnknownJob);
}

TEST_F(SubmissionsTest, JobThatIsRemovedWhileItIsSubmittedAgainIsUnknown) {
  begin({});
  const SweepJobId old;
  ASSERT_TRUE(isTaken(answer(makePackage(old, 1, false))));
  cancel(old);
  m_writer.write(RemoveJob{old}, StoreWriter::Patience::Once, [](Stored) {});
  EXPECT_EQ(refusal(answer(makeAgain(old))), FailureKind::UnknownJob);
}

TEST_F(SubmissionsTest, CopyOfAFinishedJobIsFinishedAtOnce) {
  begin({});
  const AddPackage change = SweepTest::makeJob(2, 2, "alice");
  m_store.apply({change});
  FinishPart end;
  end.jobId = change.job.status.jobId;
  end.part = 1;
  end.results = packResults({{1, 2}, {2, 4}});
  end.time = 2000;
  m_store.apply({Change(end)});
  const Request again = makeAgain(end.jobId);
  const auto status = std::get<JobStatus>(answer(again));
  EXPECT_EQ(status.state, JobState::Finished);
  EXPECT_EQ(status.progress, 1);
  const JobStatus stored = m_table.getStatus(again.jobId).value();
  EXPECT_EQ(stored.state, status.state);
  EXPECT_EQ(stored.submitted, status.submitted);
  EXPECT_EQ(stored.ended, status.ended);
  EXPECT_EQ(stored.partsDone, status.partsDone);
  EXPECT_EQ(m_store.readResults(again.jobId, 0, 10).size(), 2U);
  EXPECT_EQ(m_store.readMessages(again.jobId, 0, 10).first.back().text, "Finished");
}

}  // namespace
