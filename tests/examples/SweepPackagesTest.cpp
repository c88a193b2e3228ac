#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageSchema.h>
#include <examples/parameter_sweep/common/PackageFile.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/SweepSchema.h>
#include <gtest/gtest.h>
#include <service/ExceptionHandling.h>
#include <tests/support/TemporaryFolder.h>

#include <boost/algorithm/string/replace.hpp>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <limits>

namespace {

using namespace ParameterSweep;

const std::string c_text = "<&>\"' \t\n]]> \xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80";

class SweepPackagesTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { static const Drelvan::ParserSession parser{SweepSchema()}; }

  static Request exchange(const Request& request) { return readRequestPackage(writeRequestPackage(request)); }

  template <typename Content>
  static Content exchange(const Content& content) {
    const Reply reply = readReplyPackage(writeReplyPackage({content, m_requestId}, c_text));
    EXPECT_EQ(reply.requestId, m_requestId);
    return std::get<Content>(reply.content);
  }

  static Request makeSubmission() {
    return {RequestKind::Submit, SweepJobId(), {"x < 1", {{7, {{c_text, 0.1}, {"y", -1e-300}}}, {8, {{"x", 2.0}}}}}};
  }

  /// The kind with which a submission is refused of which one text is another.
  static FailureKind refusedWith(const std::string& text, const std::string& other) {
    const std::string package = writeRequestPackage(makeSubmission());
    const std::string changed = boost::algorithm::replace_first_copy(package, text, other);
    EXPECT_NE(changed, package);
    try {
      readRequestPackage(changed);
    } catch (const SweepFailure& failure) {
      return failure.getKind();
    }
    ADD_FAILURE() << "read: " << changed;
    return FailureKind::Internal;
  }

  inline static const std::string m_requestId = Drelvan::UniqueID::generateId();
};

TEST_F(SweepPackagesTest, SchemaIsSound) { EXPECT_EQ(Drelvan::PackageSchema({SweepSchema()}).describeErrors(), ""); }

TEST_F(SweepPackagesTest, RequestOfEveryKindReadsAsItWasWritten) {
  for (const auto kind : {RequestKind::Submit, RequestKind::Append, RequestKind::Again, RequestKind::Status,
                          RequestKind::Result, RequestKind::Cancel, RequestKind::Log, RequestKind::Output,
                          RequestKind::Remove, RequestKind::Follow, RequestKind::Compute}) {
    Request request = makeSubmission();
    request.kind = kind;
    request.ofJob = SweepJobId();
    const Request read = exchange(request);
    EXPECT_EQ(read.kind, kind);
    EXPECT_EQ(read.id, request.id);
    EXPECT_EQ(read.jobId.toString(), request.jobId.toString());
  }
  EXPECT_EQ(exchange(Request{RequestKind::List}).kind, RequestKind::List);
  EXPECT_EQ(exchange(Request{RequestKind::Ping}).kind, RequestKind::Ping);
}

TEST_F(SweepPackagesTest, SubmissionKeepsItsTextsAndNumbers) {
  Request request = makeSubmission();
  request.title = c_text;
  request.priority = -100;
  request.partSize = std::numeric_limits<std::uint32_t>::max();
  request.more = true;
  const Request read = exchange(request);
  EXPECT_EQ(read.title, c_text);
  EXPECT_EQ(read.priority, -100);
  EXPECT_EQ(read.partSize, request.partSize);
  EXPECT_TRUE(read.more);
  EXPECT_EQ(read.packageNumber, 1U);
  EXPECT_EQ(read.sweep.expression, "x < 1");
  ASSERT_EQ(read.sweep.vectors.size(), 2U);
  EXPECT_EQ(read.sweep.vectors[0].realizationId, 7U);
  ASSERT_EQ(read.sweep.vectors[0].parameters.size(), 2U);
  EXPECT_EQ(read.sweep.vectors[0].parameters[0].id, c_text);
  EXPECT_EQ(read.sweep.vectors[0].parameters[0].getNumber(), 0.1);
  EXPECT_EQ(read.sweep.vectors[0].parameters[1].getNumber(), -1e-300);
}

TEST_F(SweepPackagesTest, QuestionsKeepWhatTheyAskFor) {
  Request request{RequestKind::List};
  request.state = JobState::Cancelled;
  request.owner = "";
  request.before = std::numeric_limits<std::uint64_t>::max();
  const Request list = exchange(request);
  EXPECT_EQ(list.state, JobState::Cancelled);
  EXPECT_EQ(list.owner, "");
  EXPECT_EQ(list.before, request.before);
  request = Request{RequestKind::Append};
  request.sweep = makeSubmission().sweep;
  request.packageNumber = 9;
  EXPECT_EQ(exchange(request).packageNumber, 9U);
  request.kind = RequestKind::Output;
  request.after = 5;
  EXPECT_EQ(exchange(request).after, 5U);
  EXPECT_FALSE(exchange(request).follow);
  request.follow = true;
  EXPECT_TRUE(exchange(request).follow);
  request.kind = RequestKind::Compute;
  request.skip = 3;
  request.count = 4;
  EXPECT_EQ(exchange(request).skip, 3U);
  EXPECT_EQ(exchange(request).count, 4U);
  request.kind = RequestKind::Again;
  request.ofJob = SweepJobId();
  EXPECT_EQ(exchange(request).ofJob.value().toString(), request.ofJob->toString());
}

TEST_F(SweepPackagesTest, FlagsAreReadInBothFormsOfTheSchema) {
  Request request = makeSubmission();
  request.more = true;
  const std::string package = writeRequestPackage(request);
  const auto more = [&](const std::string& text) {
    return readRequestPackage(boost::algorithm::replace_first_copy(package, ">true<", ">" + text + "<")).more;
  };
  EXPECT_TRUE(more("1"));
  EXPECT_TRUE(more(" true "));
  EXPECT_FALSE(more("0"));
}

TEST_F(SweepPackagesTest, WhatDoesNotConvertIsMalformedAndTheIdOfAnotherServiceUnknown) {
  EXPECT_EQ(refusedWith("<value>0.1<", "<value>.<"), FailureKind::MalformedPackage);
  EXPECT_EQ(refusedWith("<value>0.1<", "<value>one<"), FailureKind::MalformedPackage);
  EXPECT_EQ(refusedWith("<realizationId>7<", "<realizationId>4294967296<"), FailureKind::MalformedPackage);
  EXPECT_EQ(refusedWith("<name>Sweep_", "<name>Other_"), FailureKind::UnknownJob);
}

TEST_F(SweepPackagesTest, StatusKeepsAllThatIsKnownOfAJob) {
  JobStatus status{SweepJobId(), JobState::Failed, 0.25};
  status.host.setName("node1");
  status.server.setIp("127.0.0.1");
  status.server.setRequestServerPort(5701);
  status.title = c_text;
  status.owner = "alice";
  status.priority = 5;
  status.realizations = 1;
  status.parts = 2;
  status.partsDone = 3;
  status.partsRunning = 4;
  status.submitted = 5;
  status.started = 6;
  status.ended = 7;
  status.failure = SweepFailure(FailureKind::JobCrashed, c_text, "function", "file", 8);
  const JobStatus read = exchange(status);
  EXPECT_EQ(read.jobId.toString(), status.jobId.toString());
  EXPECT_EQ(read.state, JobState::Failed);
  EXPECT_EQ(read.progress, 0.25);
  EXPECT_EQ(read.host.toString(), status.host.toString());
  EXPECT_EQ(read.server.toString(), status.server.toString());
  EXPECT_EQ(read.title + read.owner, status.title + status.owner);
  EXPECT_EQ(read.priority, 5);
  EXPECT_EQ(read.realizations, 1U);
  EXPECT_EQ(read.parts, 2U);
  EXPECT_EQ(read.partsDone, 3U);
  EXPECT_EQ(read.partsRunning, 4U);
  EXPECT_EQ(read.submitted, 5);
  EXPECT_EQ(read.started, 6);
  EXPECT_EQ(read.ended, 7);
  ASSERT_TRUE(read.failure);
  EXPECT_EQ(read.failure->getKind(), FailureKind::JobCrashed);
  EXPECT_EQ(read.failure->getMessage(), c_text);
  EXPECT_EQ(read.failure->getFunction(), "function");
  EXPECT_EQ(read.failure->getFile(), "file");
  EXPECT_EQ(read.failure->getLine(), 8);
}

TEST_F(SweepPackagesTest, ResultsKeepEveryNumber) {
  constexpr double c_infinity = std::numeric_limits<double>::infinity();
  const SweepResult result{SweepJobId(), {{1, 0.1}, {2, c_infinity}, {3, -c_infinity}, {4, std::nan("")}}, 5, 6};
  const SweepResult read = exchange(result);
  ASSERT_EQ(read.realizations.size(), 4U);
  EXPECT_EQ(read.realizations[0].value, 0.1);
  EXPECT_EQ(read.realizations[1].value, c_infinity);
  EXPECT_EQ(read.realizations[2].value, -c_infinity);
  EXPECT_TRUE(std::isnan(read.realizations[3].value));
  EXPECT_EQ(read.realizations[3].realizationId, 4U);
  EXPECT_EQ(read.first, 5U);
  EXPECT_EQ(read.total, 6U);
}

TEST_F(SweepPackagesTest, OtherRepliesReadAsTheyWereWritten) {
  const SweepJobId job;
  const auto log = exchange(JobMessages{job, {{LogMessage::Type::Warning, "group", -1, c_text}}, 2});
  EXPECT_EQ(log.messages.at(0).type, LogMessage::Type::Warning);
  EXPECT_EQ(log.messages.at(0).group, "group");
  EXPECT_EQ(log.messages.at(0).timestamp, -1);
  EXPECT_EQ(log.messages.at(0).text, c_text);
  EXPECT_EQ(log.next, 2U);
  const auto received = exchange(PackageReceived{job, 3, 4});
  EXPECT_EQ(received.packages, 3U);
  EXPECT_EQ(received.realizations, 4U);
  const auto output = exchange(JobOutput{job, 5, true, c_text});
  EXPECT_EQ(output.next, 5U);
  EXPECT_TRUE(output.more);
  EXPECT_EQ(output.text, c_text);
  const auto list = exchange(JobList{{JobStatus{job, JobState::Running}, JobStatus{SweepJobId()}}, 6});
  EXPECT_EQ(list.jobs.size(), 2U);
  EXPECT_EQ(list.jobs.at(0).state, JobState::Running);
  EXPECT_EQ(list.next, 6U);
  EXPECT_EQ(exchange(JobRemoved{job}).jobId.toString(), job.toString());
  const auto health = exchange(ServerHealth{{}, "1", 2.5, "local", c_text, "", 3, 4, 5, 6});
  EXPECT_EQ(health.version + health.engine + health.engineError + health.storeError, "1local" + c_text);
  EXPECT_EQ(health.upSeconds, 2.5);
  EXPECT_EQ(health.queued, 3U);
  EXPECT_EQ(health.running, 4U);
  EXPECT_EQ(health.partsRunning, 5U);
  EXPECT_EQ(health.bytesFree, 6U);
  EXPECT_EQ(exchange(SweepFailure(FailureKind::TooMuch, "full")).getKind(), FailureKind::TooMuch);
}

TEST_F(SweepPackagesTest, UnknownKindOfFailureIsAnErrorOfTheService) {
  const std::string reply = writeReplyPackage({SweepFailure(FailureKind::TooMuch, "full")}, "");
  const Reply read = readReplyPackage(boost::algorithm::replace_first_copy(reply, "TooMuch", "FromLaterVersion"));
  EXPECT_EQ(std::get<SweepFailure>(read.content).getKind(), FailureKind::Internal);
}

TEST_F(SweepPackagesTest, LogMessageIsOneLineWhateverItsTextIs) {
  const LogMessage message{LogMessage::Type::Error, "a\nb", 5, "\n" + c_text + "\n"};
  const std::string line = writeLogLine(message);
  EXPECT_EQ(line.find('\n'), line.size() - 1);
  const auto read =
      readLogLines(line + "<logMessage unfinished\n" + writeLogLine({LogMessage::Type::Debug, "", 0, ""}));
  ASSERT_EQ(read.size(), 2U);
  EXPECT_EQ(read[0].group, message.group);
  EXPECT_EQ(read[0].text, message.text);
  EXPECT_EQ(read[1].type, LogMessage::Type::Debug);
}

TEST_F(SweepPackagesTest, FileOfPackagesIsThereOnceItIsFinishedAndNothingBefore) {
  const TestSupport::TemporaryFolder folder;
  const std::filesystem::path file = folder.file("packages");
  {
    PackageFileWriter writer(file);
    writer.add("given up");
    EXPECT_FALSE(std::filesystem::exists(file));
  }
  EXPECT_TRUE(std::filesystem::is_empty(file.parent_path()));
  for (void (PackageFileWriter::*finish)() : {&PackageFileWriter::finish, &PackageFileWriter::finishUnflushed}) {
    PackageFileWriter writer(file);
    writer.add("first");
    writer.add(c_text);
    (writer.*finish)();
    PackageFileReader reader(file, 1000);
    EXPECT_EQ(reader.next(), "first");
    EXPECT_EQ(reader.next(), c_text);
    EXPECT_EQ(reader.next(), std::nullopt);
  }
  const std::filesystem::directory_iterator files(file.parent_path());
  EXPECT_EQ(std::distance(begin(files), end(files)), 1);
}

TEST_F(SweepPackagesTest, FileOfPackagesThatCannotBePutIntoPlaceLeavesNothing) {
  const TestSupport::TemporaryFolder folder;
  const std::filesystem::path file = folder.file("packages");
  std::filesystem::create_directory(file);
  PackageFileWriter writer(file);
  EXPECT_THROW(writer.finishUnflushed(), Drelvan::DvException);
  const std::filesystem::directory_iterator files(file.parent_path());
  EXPECT_EQ(std::distance(begin(files), end(files)), 1);
}

}  // namespace
