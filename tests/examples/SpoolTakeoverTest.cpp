#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/SweepSchema.h>
#include <examples/parameter_sweep/server/SpoolTakeover.h>
#include <gtest/gtest.h>
#include <tests/support/TemporaryFolder.h>

#include <filesystem>
#include <fstream>

namespace {

using namespace ParameterSweep;
using TestSupport::TemporaryFolder;
namespace fs = std::filesystem;

/// A spool with a folder of several files for each job.
class SpoolTakeoverTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { static const Drelvan::ParserSession parser{SweepSchema()}; }

  Request accept() const {
    const Request request{RequestKind::Submit, SweepJobId(), {"2*x", {{7, {{"x", 1.0}}}, {9, {{"x", 2.0}}}}}};
    fs::create_directories(folder(request));
    write(request, "request.xml", writeRequestPackage(request));
    write(request, "server.log", writeLogLine({LogMessage::Type::Info, "sweep-server", 5, "accepted"}));
    return request;
  }
  fs::path folder(const Request& request) const { return m_folder.path() / "jobs" / request.jobId.getUniqueId(); }
  void write(const Request& request, const std::string& name, const std::string& content) const {
    std::ofstream(folder(request) / name) << content;
  }
  JobStatus status(const Request& request) { return m_store.find(request.jobId).value().status; }
  std::size_t takeOver() { return takeOverSpool(m_folder.path(), m_store); }

  TemporaryFolder m_folder;
  JobStore m_store{m_folder.file("sweep.db")};
};

TEST_F(SpoolTakeoverTest, FinishedJobKeepsItsResultsAndMessages) {
  fs::create_directories(m_folder.path() / "jobs");
  const Request request = accept();
  write(request, "result.xml", writeReplyPackage({SweepResult{request.jobId, {{7, 2}, {9, 4}}}}, "sweep-job"));
  write(request, "job.log", writeLogLine({LogMessage::Type::Info, "sweep-job", 6, "finished"}));
  EXPECT_EQ(takeOver(), 1U);
  EXPECT_EQ(status(request).state, JobState::Finished);
  const auto results = m_store.readResults(request.jobId, 0, 10);
  ASSERT_EQ(results.size(), 2U);
  EXPECT_EQ(results[1].realizationId, 9U);
  EXPECT_EQ(results[1].value, 4);
  EXPECT_EQ(m_store.readMessages(request.jobId, 0, 10).first.size(), 2U);
  EXPECT_FALSE(fs::exists(folder(request)));
  EXPECT_EQ(takeOver(), 0U);
}

TEST_F(SpoolTakeoverTest, CancelledAndFailedJobsStaySo) {
  const Request cancelled = accept();
  JobStatus outcome{cancelled.jobId, JobState::Cancelled};
  outcome.failure.emplace(FailureKind::JobCancelled, "the job was cancelled");
  write(cancelled, "outcome.xml", writeReplyPackage({outcome}, "sweep-server"));
  const Request failed = accept();
  write(failed, "result.xml", writeReplyPackage({SweepFailure(FailureKind::BadExpression, "bad")}, "sweep-job"));
  EXPECT_EQ(takeOver(), 2U);
  EXPECT_EQ(status(cancelled).state, JobState::Cancelled);
  EXPECT_EQ(status(failed).failure.value().getKind(), FailureKind::BadExpression);
}

TEST_F(SpoolTakeoverTest, JobThatHasNotEndedStartsAgainAndADamagedResultIsComputedAgain) {
  const Request queued = accept();
  const Request damaged = accept();
  write(damaged, "result.xml", "<DV_Rep");
  EXPECT_EQ(takeOver(), 2U);
  EXPECT_EQ(m_store.loadActive().size(), 2U);
  EXPECT_EQ(m_store.readPackage(queued.jobId, 1).substr(0, 18), "<DV_RequestPackage");
}

TEST_F(SpoolTakeoverTest, TakeoverThatWasInterruptedAfterTheStoreKeepsTheJob) {
  const Request request = accept();
  const std::string package = TemporaryFolder::read((folder(request) / "request.xml").string());
  EXPECT_EQ(takeOver(), 1U);
  fs::create_directories(folder(request));
  write(request, "request.xml", package);
  EXPECT_EQ(takeOver(), 1U);
  EXPECT_EQ(m_store.loadActive().size(), 1U);
  EXPECT_FALSE(fs::exists(folder(request)));
}

TEST_F(SpoolTakeoverTest, WhatIsNoJobIsLeftAsItIs) {
  fs::create_directories(m_folder.path() / "jobs" / "something else");
  std::ofstream(m_folder.path() / "jobs" / "something else" / "request.xml") << "no job";
  fs::create_symlink("loop", m_folder.path() / "jobs" / "loop");
  EXPECT_EQ(takeOver(), 0U);
  EXPECT_TRUE(fs::exists(m_folder.path() / "jobs" / "something else" / "request.xml"));
}

}  // namespace
