#include <gtest/gtest.h>
#include <tests/support/TemporaryFolder.h>
#include <tests/tools/Program.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

using TestSupport::dvrequest;
using TestSupport::ProgramRun;
using TestSupport::TemporaryFolder;

/// Runs with the library's log on standard error.
ProgramRun logged(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"env", "DV_LOG_LEVEL=debug", TestSupport::dvrequestPath()});
  return TestSupport::program(arguments);
}

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t number = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++number;
  }
  return number;
}

TEST(FileCommands, CopyMakesAWholeCopy) {
  const TemporaryFolder folder;
  const std::string source = folder.write("source", "content");
  EXPECT_EQ(dvrequest({"copy", source, folder.file("target")}).exitCode, 0);
  EXPECT_EQ(TemporaryFolder::read(folder.file("target")), "content");
  EXPECT_EQ(TemporaryFolder::read(source), "content");
  folder.expectEntries(2);
}

TEST(FileCommands, RenameMovesTheFile) {
  const TemporaryFolder folder;
  const std::string source = folder.write("source", "content");
  EXPECT_EQ(dvrequest({"rename", "--tries", "2", source, folder.file("target")}).exitCode, 0);
  EXPECT_EQ(TemporaryFolder::read(folder.file("target")), "content");
  folder.expectEntries(1);
}

TEST(FileCommands, RemoveRemovesTheFile) {
  const TemporaryFolder folder;
  EXPECT_EQ(dvrequest({"remove", folder.write("file", ""), "--tries", "-1"}).exitCode, 0);
  folder.expectEntries(0);
}

TEST(FileCommands, SayWhatFailedAndHowToTryAgain) {
  const TemporaryFolder folder;
  const std::string missing = folder.file("missing");
  const ProgramRun copy = dvrequest({"copy", missing, folder.file("target")});
  EXPECT_EQ(copy.exitCode, 1);
  EXPECT_EQ(copy.output, "");
  EXPECT_NE(copy.errors.find(missing), std::string::npos) << copy.errors;
  EXPECT_NE(copy.errors.find("No such file or directory"), std::string::npos) << copy.errors;
  EXPECT_NE(copy.errors.find("--tries"), std::string::npos) << copy.errors;
  EXPECT_EQ(dvrequest({"rename", missing, folder.file("target")}).exitCode, 1);
  EXPECT_EQ(dvrequest({"remove", missing}).exitCode, 1);
  folder.expectEntries(0);
}

TEST(FileCommands, TryAsOftenAsTold) {
  const TemporaryFolder folder;
  const ProgramRun run = logged({"remove", folder.file("missing"), "--tries", "3", "--wait", "7"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(count(run.errors, "Waiting 7ms to retry ("), 2U) << run.errors;
  EXPECT_EQ(count(run.errors, "Doing one last try..."), 1U) << run.errors;
  EXPECT_EQ(count(run.errors, "--tries"), 0U) << run.errors;
}

TEST(FileCommands, TryOnceUnlessTold) {
  const TemporaryFolder folder;
  const ProgramRun run = logged({"remove", folder.file("missing")});
  EXPECT_EQ(count(run.errors, "to retry ("), 0U) << run.errors;
}

TEST(FileCommands, WaitForAFileThatComesLater) {
  const TemporaryFolder folder;
  const std::string source = folder.file("late");
  const std::string target = folder.file("target");
  const ProgramRun run = TestSupport::program(
      {"sh", "-c", "(sleep 1; echo done > \"$1\") & \"$0\" copy \"$1\" \"$2\" --wait 20 --tries -1",
       TestSupport::dvrequestPath(), source, target});
  EXPECT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_TRUE(std::filesystem::exists(target));
}

TEST(FileCommands, ExplainWrongUse) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"copy", "a"},
                                             {"remove"},
                                             {"remove", "a", "--tries", "0"},
                                             {"remove", "a", "--tries", "-2"},
                                             {"remove", "a", "--tries", "x"},
                                             {"remove", "a", "--wait", "-1"},
                                             {"remove", "a", "--wait", "x"}}) {
    const ProgramRun run = dvrequest(arguments);
    EXPECT_EQ(run.exitCode, 2) << arguments.back();
    EXPECT_NE(run.errors.find("--help"), std::string::npos) << run.errors;
  }
}

}  // namespace
