#include <gtest/gtest.h>
#include <tests/examples/SweepPrograms.h>
#include <tests/support/ManualText.h>
#include <tests/support/Program.h>
#include <tests/support/TemporaryFolder.h>

#include <string>
#include <vector>

namespace {

using SweepTest::Outcome;
using TestSupport::longOptions;
using TestSupport::readManualPage;
using TestSupport::TemporaryFolder;

struct Page {
  std::string program;                ///< its path
  std::vector<std::string> commands;  ///< each has a help text of its own

  std::string name() const { return program.substr(program.rfind('/') + 1); }
  std::string file() const { return SWEEP_SOURCES "/man/" + name() + ".1"; }
};

std::vector<Page> pages() {
  return {{SweepTest::clientProgram(),
           {"submit", "status", "wait", "result", "cancel", "remove", "log", "output", "list", "ping"}},
          {SweepTest::serverProgram(), {"keygen"}},
          {SweepTest::jobProgram(), {}}};
}

void expectOptions(const Page& page, const SweepTest::Arguments& help) {
  const std::string text = readManualPage(page.file());
  const Outcome outcome = SweepTest::run(page.program, help);
  EXPECT_EQ(outcome.exitCode, 0) << page.name();
  for (const std::string& option : longOptions(outcome.output)) {
    EXPECT_NE(text.find(option), std::string::npos) << page.name() << " " << option;
  }
}

TEST(SweepManualPages, NameEveryCommandAndOption) {
  for (const Page& page : pages()) {
    expectOptions(page, {"--help"});
    const std::string text = TemporaryFolder::read(page.file());
    for (const std::string& command : page.commands) {
      EXPECT_NE(text.find(command), std::string::npos) << command;
      expectOptions(page, {command, "--help"});
    }
  }
}

TEST(SweepManualPages, NameOnlyOptionsThatExist) {
  for (const Page& page : pages()) {
    std::string help = SweepTest::run(page.program, {"--help"}).output;
    for (const std::string& command : page.commands) {
      help += SweepTest::run(page.program, {command, "--help"}).output;
    }
    const std::string text = readManualPage(page.file());
    const std::string options = text.substr(0, text.find(".SH EXAMPLES"));
    for (const std::string& option : longOptions(options)) {
      EXPECT_NE(help.find(option), std::string::npos) << page.name() << " " << option;
    }
  }
}

TEST(SweepManualPages, HaveNoFormattingErrors) {
  for (const Page& page : pages()) {
    const Outcome outcome = SweepTest::run("groff", {"-t", "-man", "-ww", "-z", page.file()});
    if (outcome.exitCode == 127) {
      GTEST_SKIP() << "groff is not installed";
    }
    EXPECT_EQ(outcome.errors, "") << page.name();
  }
}

}  // namespace
