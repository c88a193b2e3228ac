#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/common/SweepSchema.h>
#include <examples/parameter_sweep/server/SweepServer.h>
#include <gtest/gtest.h>
#include <tests/examples/SweepFakes.h>
#include <tests/support/TemporaryFolder.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

namespace {

using namespace ParameterSweep;
using std::chrono::milliseconds;
namespace fs = std::filesystem;

/// The request server on a fake engine and a fake clock; no process is started.
class SweepServerTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { static const Drelvan::ParserSession parser{SweepSchema()}; }

  SweepServerTest() {
    fs::create_directories(spool() / "jobs");
    m_settings.spool = spool();
  }

  void begin() {
    m_server = std::make_unique<SweepServer>(m_settings, m_store, m_writer, m_engine, m_table, Drelvan::HostInfo(),
                                             m_clock.get());
  }
  fs::path spool() const { return m_folder.file("spool"); }
  /// A job that was cancelled an hour ago.
  SweepJobId makeEndedJob() {
    const AddPackage change = SweepTest::makeJob(1, 1);
    const SweepJobId& jobId = change.job.status.jobId;
    const std::int64_t now = m_clock.get().millisecondsSince1970();
    const SweepFailure reason(FailureKind::JobCancelled, "the job was cancelled");
    m_store.apply({Change(change), Change(EndJob{jobId, JobState::Cancelled, reason, {}, "", now - 3600000})});
    return jobId;
  }
  ReplyContent ask(const Request& request) {
    return readReplyPackage(m_server->handleRequest(writeRequestPackage(request))).content;
  }
  void poll() {
    m_server->poll();
    while (m_writer.countWaiting() > 0) {
      m_writer.pollFor(milliseconds(100));
    }
  }

  TestSupport::TemporaryFolder m_folder;
  SweepTest::FakeClock m_clock;
  SweepTest::FakeEngine m_engine;
  JobStore m_store{m_folder.file("sweep.db")};
  StoreWriter m_writer{m_store};
  JobTable m_table{{spool(), 3, 100}, m_store, m_writer, m_engine, m_clock.get()};
  ServerSettings m_settings;
  std::unique_ptr<SweepServer> m_server;
};

TEST_F(SweepServerTest, JobsAreKeptForTheDaysThatWereAskedFor) {
  constexpr double c_twoHours = 2.0 / 24;
  m_settings.keepDays = c_twoHours;
  begin();
  const SweepJobId jobId = makeEndedJob();
  poll();
  EXPECT_TRUE(m_store.find(jobId).has_value());
  m_clock.pass(std::chrono::minutes(61));
  poll();
  EXPECT_FALSE(m_store.find(jobId).has_value());
}

TEST_F(SweepServerTest, JobsThatCannotBeRemovedNowAreRemovedLater) {
  constexpr double c_aSecond = 1.0 / 86400;
  m_settings.keepDays = c_aSecond;
  begin();
  const SweepJobId jobId = makeEndedJob();
  fs::remove(spool() / "jobs");
  m_folder.write("spool/jobs", "no folder");
  for (int count = 0; count < 3; ++count) {
    poll();
    m_clock.pass(std::chrono::minutes(2));
    EXPECT_TRUE(m_store.find(jobId).has_value());
  }
  fs::remove(spool() / "jobs");
  fs::create_directories(JobFolder(spool(), jobId).path);
  poll();
  EXPECT_FALSE(m_store.find(jobId).has_value());
  EXPECT_FALSE(fs::exists(JobFolder(spool(), jobId).path));
}

TEST_F(SweepServerTest, OutputIsFollowedInTheOrderOfThePartsAndNoneIsLeftOut) {
  begin();
  const AddPackage change = SweepTest::makeJob(2, 1);
  const SweepJobId& jobId = change.job.status.jobId;
  m_store.apply({change});
  m_table.add(change.job, change.parts);
  const auto writeOutput = [&](std::uint32_t part, std::uint32_t attempt, const std::string& text) {
    const PartFiles files(spool(), jobId, part, attempt);
    fs::create_directories(files.folder);
    std::ofstream(files.output, std::ios::app) << text;
  };
  Request followed{RequestKind::Output, jobId};
  followed.follow = true;
  const auto readOn = [&](Request& request) {
    std::string text;
    for (JobOutput piece{{}, 0, true}; piece.more; request.after = piece.next) {
      piece = std::get<JobOutput>(ask(request));
      text += piece.text;
    }
    return text;
  };
  writeOutput(1, 1, "a");
  writeOutput(2, 1, "b");
  EXPECT_EQ(readOn(followed), "== part 1, try 1 ==\na");
  writeOutput(1, 1, "c");
  writeOutput(1, 2, "d");
  EXPECT_EQ(readOn(followed), "c== part 1, try 2 ==\nd");
  Request all{RequestKind::Output, jobId};
  EXPECT_EQ(readOn(all), "== part 1, try 1 ==\nac== part 1, try 2 ==\nd== part 2, try 1 ==\nb");
  ASSERT_TRUE(std::holds_alternative<JobStatus>(ask(Request{RequestKind::Cancel, jobId})));
  EXPECT_EQ(readOn(followed), "== part 2, try 1 ==\nb");
  EXPECT_EQ(readOn(followed), "");
}

TEST_F(SweepServerTest, RemovalThatFailsLeavesTheJob) {
  begin();
  const SweepJobId jobId = makeEndedJob();
  fs::remove(spool() / "jobs");
  m_folder.write("spool/jobs", "no folder");
  const ReplyContent refused = ask(Request{RequestKind::Remove, jobId});
  ASSERT_TRUE(std::holds_alternative<SweepFailure>(refused));
  EXPECT_EQ(std::get<SweepFailure>(refused).getKind(), FailureKind::NotStored);
  EXPECT_TRUE(std::holds_alternative<JobStatus>(ask(Request{RequestKind::Status, jobId})));
  fs::remove(spool() / "jobs");
  EXPECT_TRUE(std::holds_alternative<JobRemoved>(ask(Request{RequestKind::Remove, jobId})));
  EXPECT_TRUE(std::holds_alternative<SweepFailure>(ask(Request{RequestKind::Status, jobId})));
}

}  // namespace
