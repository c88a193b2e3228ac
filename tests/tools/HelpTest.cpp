#include <gtest/gtest.h>
#include <tests/support/ManualText.h>
#include <tests/support/Pattern.h>
#include <tests/support/TemporaryFolder.h>
#include <tests/tools/Program.h>

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

using TestSupport::dvrequest;
using TestSupport::linesOf;
using TestSupport::longOptions;
using TestSupport::Pattern;
using TestSupport::ProgramRun;
using TestSupport::readManualPage;
using TestSupport::TemporaryFolder;

const std::vector<std::vector<std::string>> c_commands{
    {},         {"check"},         {"explain"},         {"schema"},
    {"job-id"}, {"job-id", "new"}, {"job-id", "check"}, {"job-id", "xml"},
    {"host"},   {"copy"},          {"host", "check"},   {"rename"},
    {"remove"}};

ProgramRun help(std::vector<std::string> command) {
  command.push_back("--help");
  return dvrequest(command);
}

TEST(Help, FitsAScreen) {
  for (const auto& command : c_commands) {
    const ProgramRun run = help(command);
    EXPECT_EQ(run.exitCode, 0);
    const auto lines = linesOf(run.output);
    EXPECT_LE(lines.size(), 24U) << run.output;
    for (const std::string& line : lines) {
      EXPECT_LE(line.size(), 80U) << line;
    }
  }
}

TEST(Help, HoldsExamples) {
  for (const char* command : {"check", "explain", "schema", "job-id", "host", "copy", "rename", "remove"}) {
    EXPECT_NE(help({command}).output.find(std::string("  dvrequest ") + command), std::string::npos) << command;
  }
}

TEST(Help, ShowsTheVersion) {
  EXPECT_TRUE(Pattern("dvrequest [0-9]+\\.[0-9]+\\.[0-9]+\n").matches(dvrequest({"--version"}).output));
}

TEST(Help, FailsWhenItCannotBeWritten) {
  for (const char* option : {"--help", "--version"}) {
    const ProgramRun run = TestSupport::program(
        {"sh", "-c", "\"$0\" " + std::string(option) + " > /dev/full", TestSupport::dvrequestPath()});
    EXPECT_EQ(run.exitCode, 2) << option;
    EXPECT_EQ(run.errors, "dvrequest: cannot write to standard output\n");
  }
}

TEST(Help, NamesAnUnknownCommandAndTheNearest) {
  const ProgramRun run = dvrequest({"chekc", "request.xml"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(linesOf(run.errors).front(), "dvrequest: unknown command 'chekc'; the nearest is 'check'");
  EXPECT_EQ(linesOf(dvrequest({"job-id", "xm", "a"}).errors).front(),
            "dvrequest: unknown command 'xm'; the nearest is 'xml'");
}

TEST(Sources, IncludeEachOtherOneWay) {
  const std::map<std::string, std::string> allowed{{"commands", "commands check report support"},
                                                   {"check", "check support"},
                                                   {"report", "report support"},
                                                   {"support", "support"}};
  const Pattern include("#include <tools/dvrequest/(\\w+)/");
  for (const auto& [folder, folders] : allowed) {
    for (const auto& entry : std::filesystem::directory_iterator(DVREQUEST_SOURCES "/" + folder)) {
      const std::string text = TemporaryFolder::read(entry.path().string());
      for (const auto& match : include.findAll(text)) {
        EXPECT_NE(folders.find(match[1]), std::string::npos) << entry.path() << " " << match[0];
      }
    }
  }
}

std::string withoutExamples(const std::string& text) { return text.substr(0, text.find("\nExamples:")); }

TEST(ManualPage, DescribesEveryCommandAndOption) {
  const std::string page = readManualPage(DVREQUEST_SOURCES "/dvrequest.1");
  for (const auto& command : c_commands) {
    for (const std::string& word : command) {
      EXPECT_NE(page.find(word), std::string::npos) << word;
    }
    for (const std::string& option : longOptions(withoutExamples(help(command).output))) {
      EXPECT_NE(page.find(option), std::string::npos) << option;
    }
  }
}

TEST(ManualPage, IsFreeOfFormattingErrors) {
  if (TestSupport::program({"groff", "--version"}).exitCode != 0) {
    GTEST_SKIP() << "groff is not installed";
  }
  EXPECT_EQ(TestSupport::program({"groff", "-man", "-ww", "-z", DVREQUEST_SOURCES "/dvrequest.1"}).errors, "");
}

/// What bash offers after these words, the last of which is being typed.
std::set<std::string> completions(const std::vector<std::string>& words) {
  std::string script = "source " DVREQUEST_SOURCES "/dvrequest.bash; COMP_WORDS=(dvrequest";
  for (const std::string& word : words) {
    script += " '" + word + "'";
  }
  script += "); COMP_CWORD=" + std::to_string(words.size()) + "; _dvrequest; printf '%s\\n' \"${COMPREPLY[@]}\"";
  const auto lines = linesOf(TestSupport::program({"bash", "-c", script}).output);
  return {lines.begin(), lines.end()};
}

TEST(Completion, OffersTheCommands) {
  const std::set<std::string> offered = completions({""});
  for (const auto& command : c_commands) {
    if (command.size() == 1) {
      EXPECT_EQ(offered.count(command.front()), 1U) << command.front();
    }
  }
  EXPECT_EQ(completions({"ch"}), std::set<std::string>{"check"});
  EXPECT_EQ(completions({"job-id", ""}), (std::set<std::string>{"new", "check", "xml", "--help"}));
}

TEST(Completion, OffersEveryOptionOfTheHelp) {
  for (const auto& command : c_commands) {
    std::vector<std::string> words = command;
    words.push_back("--");
    const std::set<std::string> offered = completions(words);
    for (const std::string& option : longOptions(withoutExamples(help(command).output))) {
      EXPECT_EQ(offered.count(option), 1U) << option << " of " << (command.empty() ? "" : command.front());
    }
  }
}

TEST(Completion, OffersFilesAndFormats) {
  const TemporaryFolder folder;
  const std::string file = folder.write("request.xml", "");
  EXPECT_EQ(completions({"check", folder.file("req")}), std::set<std::string>{file});
  EXPECT_EQ(completions({"check", "-f", folder.file("req")}), std::set<std::string>{file});
  EXPECT_EQ(completions({"check", "--format", "j"}), std::set<std::string>{"json"});
}

}  // namespace
