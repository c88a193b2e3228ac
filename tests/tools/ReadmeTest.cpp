#include <gtest/gtest.h>
#include <tests/support/TemporaryFolder.h>
#include <tests/tools/Program.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using TestSupport::ProgramRun;
using TestSupport::TemporaryFolder;

std::string readme() { return TemporaryFolder::read(REPOSITORY "/README.md"); }

TEST(Readme, FirstProgramPrintsWhatItSays) {
  const ProgramRun run = TestSupport::program({README_PROGRAM, TestSupport::package("cancel-request.xml")});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.output, "cancel Aquifer_a3f09c51de\n");
  EXPECT_NE(readme().find("it prints `cancel Aquifer_a3f09c51de`"), std::string::npos);
}

TEST(Readme, FirstProgramReportsABadPackage) {
  const ProgramRun run = TestSupport::program({README_PROGRAM, TestSupport::package("bad-uid.xml")});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.output, "");
  EXPECT_NE(run.errors.find("Errors occurred while parsing input: "), std::string::npos) << run.errors;
}

TEST(Readme, FirstProgramAsksForAPackage) {
  const ProgramRun run = TestSupport::program({README_PROGRAM});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.errors, "usage: cancel PACKAGE\n");
}

/// The block of the README after the line `start`.
std::vector<std::string> blockAfter(const std::string& start) {
  const std::string text = readme();
  const std::size_t begin = text.find("\n" + start + "\n");
  return begin == std::string::npos ? std::vector<std::string>()
                                    : TestSupport::linesOf(text.substr(begin + 1, text.find("\n```", begin) - begin));
}

TEST(Readme, ShowsWhatThePackagesReallyGive) {
  const ProgramRun run =
      TestSupport::program({"sh", "-c", "cd \"${1%/*}\" && for f in *.xml; do \"$0\" check -f \"$1\" \"$f\"; done",
                            TestSupport::dvrequestPath(), TestSupport::fragment()});
  const auto real = TestSupport::linesOf(run.output);
  const auto shown = blockAfter("$ ./run");
  ASSERT_GT(shown.size(), 8U);
  for (const std::string& line : shown) {
    if (line.rfind("==", 0) != 0 && line != "$ ./run" && line != "[...]") {
      EXPECT_NE(std::find(real.begin(), real.end(), line), real.end()) << line;
    }
  }
}

}  // namespace
