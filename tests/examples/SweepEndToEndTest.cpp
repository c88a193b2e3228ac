#include <tests/examples/SweepPrograms.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>

namespace {

using SweepTest::Outcome;
using SweepTest::Server;
using TestSupport::TemporaryFolder;

constexpr const char* c_expression = "amplitude*exp(-damping*time)*cos(frequency*time)";

class SweepEndToEndTest : public testing::Test {
 protected:
  std::string table(const std::string& text) const { return m_folder.write("table.csv", text); }

  TemporaryFolder m_folder;
  Server m_server{m_folder.file("spool")};
};

/// The numbers of each line of a CSV text, without the first line.
std::vector<std::vector<double>> readRows(const std::string& text) {
  std::vector<std::vector<double>> rows;
  std::istringstream stream(text);
  std::string line;
  for (std::getline(stream, line); std::getline(stream, line);) {
    rows.emplace_back();
    std::istringstream cells(line);
    for (std::string cell; std::getline(cells, cell, ',');) {
      rows.back().push_back(std::stod(cell));
    }
  }
  return rows;
}

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t found = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
    ++found;
  }
  return found;
}

TEST_F(SweepEndToEndTest, SubmissionThatWaitsPrintsTheValueOfEveryRealization) {
  const Outcome outcome =
      m_server.client({"submit", "--expression", c_expression, "--parameters", SWEEP_MODEL, "--wait"});
  ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
  const auto inputs = readRows(TemporaryFolder::read(SWEEP_MODEL));
  const auto results = readRows(outcome.output);
  ASSERT_EQ(inputs.size(), 400U);
  ASSERT_EQ(results.size(), inputs.size());
  for (std::size_t row = 0; row < inputs.size(); ++row) {
    const auto& in = inputs[row];
    EXPECT_EQ(results[row][0], in[0]);
    EXPECT_NEAR(results[row][1], in[1] * std::exp(-in[2] * in[4]) * std::cos(in[3] * in[4]), 1e-12) << "row " << row;
  }
}

TEST_F(SweepEndToEndTest, ProgressIsPlainLinesWhereThereIsNoTerminalAndNothingWhenQuiet) {
  const Outcome shown = m_server.client({"submit", "--expression", "x", "--parameters", table("x\n1\n"), "--wait"});
  EXPECT_EQ(count(shown.errors, "Finished 100 %\n"), 1U) << shown.errors;
  EXPECT_EQ(shown.errors.find('\r'), std::string::npos);
  const Outcome quiet =
      m_server.client({"--quiet", "submit", "--expression", "x", "--parameters", table("x\n1\n"), "--wait"});
  EXPECT_EQ(quiet.errors, "");
  EXPECT_EQ(quiet.output, "realizationId,result\n1,1\n");
}

TEST_F(SweepEndToEndTest, ProgressIsABarOnATerminal) {
  const Outcome outcome = SweepTest::runOnTerminal(SweepTest::clientProgram() + " --server " + m_server.address() +
                                                   " submit --wait --expression x --parameters " + table("x\n1\n") +
                                                   " --output " + m_folder.file("out.csv"));
  EXPECT_EQ(outcome.exitCode, 0) << outcome.output;
  EXPECT_NE(outcome.output.find("\r[........................................] 0 % Queued"), std::string::npos)
      << outcome.output;
  EXPECT_NE(outcome.output.find("\r[########################################] 100 % Finished"), std::string::npos)
      << outcome.output;
}

TEST_F(SweepEndToEndTest, MachineOfTheJobIsNamed) {
  const std::string job = m_server.submit("x", table("x\n1\n"));
  m_server.client({"wait", job});
  EXPECT_NE(nlohmann::json::parse(m_server.client({"--json", "status", job}).output).value("host", ""), "");
}

TEST_F(SweepEndToEndTest, ProgressThatTheJobStoresReachesThoseWhoWait) {
  const std::string spool = m_folder.file("slow");
  const Server server(spool, {"--launch-with", "sh -c 'while [ ! -e " + m_folder.file("go") +
                                                   " ]; do sleep 0.02; done; exec \"$@\"' launcher"});
  const std::string job = server.submit("x", table("x\n1\n"));
  SweepTest::RunningClient waiting(server.address(), {"wait", job});
  SweepTest::storeProgress(spool, job, 0.5);
  EXPECT_TRUE(SweepTest::eventually([&] { return count(waiting.errors(), "Running 50 %\n") == 1; }));
  m_folder.write("go", "");
  EXPECT_EQ(waiting.wait().exitCode, 0);
}

TEST_F(SweepEndToEndTest, JobIsFollowedAskedForAndFetchedByItsId) {
  const std::string job = m_server.submit("2*x", table("realizationId,x\n7,1\n9,4\n"));
  EXPECT_EQ(m_server.client({"wait", job}).exitCode, 0);
  EXPECT_EQ(m_server.client({"result", job}).output, "realizationId,result\n7,2\n9,8\n");
  const std::string uniqueId = job.substr(job.find('#') + 1);
  EXPECT_EQ(m_server.client({"result", uniqueId}).output, "realizationId,result\n7,2\n9,8\n");
  const Outcome status = m_server.client({"status", job});
  EXPECT_EQ(status.output.rfind(job + " Finished 100 %", 0), 0U) << status.output;
}

TEST_F(SweepEndToEndTest, LogOfServerAndJobReachesTheClient) {
  const std::string job = m_server.submit("2*x", table("x\n1\n"));
  m_server.client({"wait", job});
  const std::string log = m_server.client({"log", job}).output;
  EXPECT_NE(log.find("Info sweep-server: accepted"), std::string::npos) << log;
  EXPECT_NE(log.find("Info sweep-job: evaluating '2*x' for 1 realizations"), std::string::npos) << log;
  EXPECT_NE(log.find("Info sweep-server: Finished"), std::string::npos) << log;
}

TEST_F(SweepEndToEndTest, AnswersAreJsonWhereAskedFor) {
  const auto parameters = table("x\n1\n0\n");
  const Outcome submitted = m_server.client({"--json", "submit", "--expression", "1/x", "--parameters", parameters});
  const std::string job = nlohmann::json::parse(submitted.output)["job"];
  m_server.client({"wait", job});
  const auto result = nlohmann::json::parse(m_server.client({"--json", "result", job}).output);
  EXPECT_EQ(result["results"][0]["result"], 1.0);
  EXPECT_EQ(result["results"][1]["result"], "INF");
  EXPECT_EQ(nlohmann::json::parse(m_server.client({"--json", "status", job}).output)["state"], "Finished");
  EXPECT_GE(nlohmann::json::parse(m_server.client({"--json", "log", job}).output)["messages"].size(), 4U);
}

TEST_F(SweepEndToEndTest, ResultGoesToAFileAndIntoADrawing) {
  const std::string job = m_server.submit(c_expression, SWEEP_MODEL);
  m_server.client({"wait", job});
  const std::string csv = m_folder.write("out.csv", "old");
  const std::string svg = m_folder.file("out.svg");
  const Outcome outcome = m_server.client({"result", job, "--output", csv, "--plot", svg});
  ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
  EXPECT_EQ(readRows(TemporaryFolder::read(csv)).size(), 400U);
  EXPECT_EQ(TemporaryFolder::read(svg).rfind("<?xml", 0), 0U);
  EXPECT_NE(TemporaryFolder::read(svg).find("</svg>"), std::string::npos);
}

TEST_F(SweepEndToEndTest, ValuesThatAreNotFiniteAreWrittenAsTheSchemaDoes) {
  const Outcome outcome = m_server.client(
      {"--quiet", "submit", "--expression", "x/y", "--parameters", table("x,y\n1,0\n-1,0\n0,0\n"), "--wait"});
  ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
  EXPECT_EQ(outcome.output, "realizationId,result\n1,INF\n2,-INF\n3,NaN\n");
}

TEST_F(SweepEndToEndTest, ServerEndsInOrderAndLeavesNoProcess) { EXPECT_EQ(m_server.stop(), 0); }

TEST_F(SweepEndToEndTest, SecondServerOnTheSameSpoolIsRefused) {
  const Outcome second = SweepTest::run(
      SweepTest::serverProgram(), {"--request-port", "0", "--publisher-port", "0", "--spool", m_folder.file("spool")});
  EXPECT_EQ(second.exitCode, 1);
  EXPECT_NE(second.errors.find("end the other server that uses it"), std::string::npos) << second.errors;
}

TEST_F(SweepEndToEndTest, FolderWithOtherThingsInItIsNoSpool) {
  namespace fs = std::filesystem;
  const std::string folder = m_folder.file("documents");
  fs::create_directory(folder);
  fs::permissions(folder, fs::perms::owner_all | fs::perms::group_read);
  const auto start = [&] {
    return SweepTest::run(SweepTest::serverProgram(),
                          {"--request-port", "0", "--publisher-port", "0", "--spool", folder});
  };
  const std::string file = m_folder.write("documents/a.txt", "");
  const Outcome outcome = start();
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_NE(outcome.errors.find("contains other files"), std::string::npos) << outcome.errors;
  EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all | fs::perms::group_read);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
  fs::remove(file);
  const Server server(folder);
  EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
}

}  // namespace
