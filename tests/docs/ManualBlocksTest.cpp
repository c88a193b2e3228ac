#include <docs/examples/mean/MeanSchema.h>
#include <gtest/gtest.h>
#include <tests/docs/Pages.h>
#include <tests/support/Program.h>
#include <tests/support/TemporaryFolder.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using ManualTests::Block;
using ManualTests::blocks;
using TestSupport::TemporaryFolder;
using Lines = std::vector<std::string>;

/// The lines without the indentation that all of them share.
Lines outdented(Lines lines) {
  std::size_t indentation = std::string::npos;
  for (const std::string& line : lines) {
    indentation = std::min(indentation, line.find_first_not_of(' '));
  }
  for (std::string& line : lines) {
    line.erase(0, std::min(indentation, line.size()));
  }
  return lines;
}

/// The text files that the manual quotes; the tests build, run or validate each of them.
std::vector<Lines> quotedFiles() {
  std::vector<Lines> files;
  for (const char* folder : {"/docs/examples", "/examples/packages", "/tests/consumers"}) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(REPOSITORY + std::string(folder))) {
      if (entry.is_regular_file()) {
        files.push_back(TestSupport::linesOf(TemporaryFolder::read(entry.path().string())));
      }
    }
  }
  return files;
}

bool contains(const Lines& file, const Lines& block) {
  const Lines wanted = outdented(block);
  for (std::size_t start = 0; start + block.size() <= file.size(); ++start) {
    const auto first = file.begin() + static_cast<std::ptrdiff_t>(start);
    if (outdented(Lines(first, first + static_cast<std::ptrdiff_t>(block.size()))) == wanted) {
      return true;
    }
  }
  return false;
}

void expectQuotesOfFiles(const std::string& language) {
  const auto files = quotedFiles();
  const auto all = blocks(language);
  EXPECT_FALSE(all.empty());
  for (const Block& block : all) {
    EXPECT_FALSE(block.lines.empty()) << block.place();
    EXPECT_TRUE(std::any_of(files.begin(), files.end(), [&](const Lines& file) { return contains(file, block.lines); }))
        << block.place() << ": no file of the examples holds this block";
  }
}

TEST(ManualBlocks, OfCodeAreQuotesOfProgramsThatAreBuilt) { expectQuotesOfFiles("cpp"); }

TEST(ManualBlocks, OfXmlAreQuotesOfFilesThatAreValidated) { expectQuotesOfFiles("xml"); }

TEST(ManualBlocks, OfCMakeAreQuotesOfProjectsThatAreBuilt) { expectQuotesOfFiles("cmake"); }

TEST(ManualBlocks, HaveALanguageThatATestKnows) {
  const std::vector<std::string> known{"cpp", "xml", "cmake", "console", "sh", "text"};
  std::size_t all = 0;
  for (const std::string& language : known) {
    all += blocks(language).size();
  }
  std::size_t fences = 0;
  for (const std::string& page : ManualTests::pages()) {
    for (const std::string& line : ManualTests::linesOfPage(page)) {
      fences += line.rfind("```", 0) == 0 ? 1U : 0U;
    }
  }
  EXPECT_EQ(fences, 2 * all);
}

TEST(ManualBlocks, ShowTheFragmentThatTheProgramsCarry) {
  const std::string file = TemporaryFolder::read(REPOSITORY "/docs/examples/mean/mean.fragment.xsd");
  EXPECT_EQ(MeanSchema().getSchemaNoHeader(), "\n" + file);
}

}  // namespace
