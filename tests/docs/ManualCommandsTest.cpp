#include <gtest/gtest.h>
#include <tests/docs/Pages.h>
#include <tests/support/Pattern.h>
#include <tests/support/Program.h>
#include <tests/support/TemporaryFolder.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

using ManualTests::Block;
using TestSupport::Pattern;
using TestSupport::TemporaryFolder;

/// A command of a page and what the page shows of its output.
struct Command {
  std::string line;
  std::string output;
};

std::vector<Command> commandsOf(const Block& block) {
  std::vector<Command> commands;
  for (const std::string& line : block.lines) {
    if (line.rfind("$ ", 0) == 0) {
      commands.push_back({line.substr(2), ""});
    } else if (!commands.empty()) {
      commands.back().output += line + "\n";
    }
  }
  return commands;
}

/// Ids, times and places differ from run to run.
std::string withoutChance(std::string text) {
  const std::vector<std::pair<Pattern, std::string>> patterns{
      {Pattern("[0-9a-f]{16}-[0-9a-f]{16}-[0-9a-f]{16}"), "UID"},
      {Pattern("_[0-9a-f]{10}\\b"), "_START"},
      {Pattern("[0-9]{4}-[0-9]{2}-[0-9]{2}[T ][0-9:]{8}(\\.[0-9]+)?"), "TIME"},
      {Pattern("(\\.cpp:)[0-9]+"), "$1LINE"},
      {Pattern("[^ \"]*/RequestXmlHelper"), "RequestXmlHelper"},
      {Pattern("(\"(line|thread)\":)[0-9]+"), "$1NUMBER"}};
  for (const auto& [pattern, replacement] : patterns) {
    text = pattern.replaceAll(text, replacement);
  }
  return text;
}

/// The folder in which the commands of a page are given: that of the repository, or the project of the mean service
/// with its programs in "build". The tool and the programs of the manual are found by their names.
class Workplace {
 public:
  explicit Workplace(const std::string& page) {
    std::filesystem::create_directory_symlink(REPOSITORY "/examples", m_folder.file("examples"));
    if (page == "writing-a-program.md") {
      std::filesystem::copy(REPOSITORY "/docs/examples/mean", m_folder.path());
      std::filesystem::create_directory_symlink(PROGRAMS, m_folder.file("build"));
    } else {
      std::filesystem::create_directories(m_folder.file("build/first"));
      std::filesystem::create_symlink(PROGRAMS "/manual-first", m_folder.file("build/first/first"));
    }
    std::filesystem::create_symlink(PROGRAMS "/manual-logging", m_folder.file("logging"));
  }

  /// Both outputs, as a terminal shows them. What a command exports holds for those that follow.
  std::string run(const std::string& command) {
    if (command.rfind("export ", 0) == 0) {
      m_exports += command + "; ";
      return {};
    }
    const std::string script =
        "cd \"$1\" && PATH=\"$2:$1:$PATH\" && unset DV_LOG_LEVEL DV_LOG_FORMAT; { " + m_exports + command + "\n} 2>&1";
    return TestSupport::runProgram({"sh", "-c", script, "sh", m_folder.path().string(), PROGRAMS}).output;
  }

 private:
  TemporaryFolder m_folder;
  std::string m_exports;
};

class ManualCommands : public testing::TestWithParam<std::string> {};

TEST_P(ManualCommands, DoWhatThePageShows) {
  Workplace workplace(GetParam());
  for (const Block& block : ManualTests::blocks("console")) {
    if (block.page != GetParam()) {
      continue;
    }
    for (const Command& command : commandsOf(block)) {
      EXPECT_EQ(withoutChance(workplace.run(command.line)), withoutChance(command.output))
          << block.place() << ": " << command.line;
    }
  }
}

std::string titleOf(const testing::TestParamInfo<std::string>& info) {
  return Pattern("[^A-Za-z]").replaceAll(info.param, "_");
}

INSTANTIATE_TEST_SUITE_P(Of, ManualCommands, testing::ValuesIn(ManualTests::pages()), titleOf);

TEST(ManualCommandsOfAllPages, AreThere) { EXPECT_GT(ManualTests::blocks("console").size(), 5U); }

}  // namespace
