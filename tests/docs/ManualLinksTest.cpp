#include <gtest/gtest.h>
#include <tests/docs/Pages.h>
#include <tests/support/Pattern.h>
#include <tests/support/TemporaryFolder.h>

#include <cstddef>
#include <filesystem>
#include <set>
#include <string>

namespace {

using TestSupport::Pattern;

/// Calls `action` with each target of a link or picture of a page that lies in the repository.
template <typename Action>
void forEachLink(const std::string& page, Action action) {
  const std::string text =
      Pattern("`[^`\n]*`").replaceAll(TestSupport::TemporaryFolder::read(ManualTests::pagePath(page)), "code");
  for (const auto& link : Pattern("\\]\\(([^)#:]+)(#[^)]*)?\\)").findAll(text)) {
    action(link[1]);
  }
}

TEST(ManualLinks, LeadToFilesOfTheRepository) {
  std::size_t links = 0;
  for (const std::string& page : ManualTests::pages()) {
    forEachLink(page, [&](const std::string& target) {
      ++links;
      EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(ManualTests::pagePath(page)).parent_path() / target))
          << page << ": " << target;
    });
  }
  EXPECT_GT(links, ManualTests::pages().size()) << "the links were not found";
}

TEST(ManualLinks, OfTheFirstPageReachEveryPage) {
  std::string reached;
  forEachLink("README.md", [&](const std::string& target) { reached += target + "\n"; });
  for (const std::string& page : ManualTests::pages()) {
    EXPECT_TRUE(page == "README.md" || reached.find(page + "\n") != std::string::npos) << page;
  }
}

/// Headers that programs do not use.
bool isInternal(const std::filesystem::path& header) {
  static const std::set<std::string> s_internal{"RequestNamespace.h", "PackageParser.h", "Failure.h", "Lexical.h",
                                                "Text.h"};
  return s_internal.count(header.filename().string()) != 0;
}

/// Whether a table of the page names each public header of the folder.
void expectHeadersOn(const std::string& page, const std::string& folder) {
  const std::string text = TestSupport::TemporaryFolder::read(ManualTests::pagePath(page));
  for (const auto& entry : std::filesystem::directory_iterator(REPOSITORY "/" + folder)) {
    const std::filesystem::path& file = entry.path();
    if (file.extension() == ".h" && !isInternal(file)) {
      const std::string name = file.filename().string();
      EXPECT_NE(text.find("| `" + name + "` |"), std::string::npos) << page << ": " << name;
    }
  }
}

TEST(ManualReference, ListsEveryPublicHeader) {
  expectHeadersOn("api-reference.md", "Platform/RemoteComputation/Service/RequestPackages");
  expectHeadersOn("api-reference.md", "Platform/RemoteComputation/Service/RequestHandlingBase");
  expectHeadersOn("api-reference.md", "service");
}

TEST(ManualReference, ListsTheRequirementsOfEveryHeaderOfTheContract) {
  expectHeadersOn("service-layer.md", "service");
}

}  // namespace
