#include <gtest/gtest.h>
#include <tests/docs/Pages.h>
#include <tests/support/Pattern.h>
#include <tests/support/TemporaryFolder.h>

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;
using TestSupport::Pattern;
using TestSupport::TemporaryFolder;

/// The drawing docs/diagrams/sources.dot, read back.
class SourceMap {
 public:
  SourceMap() : m_text(TemporaryFolder::read(REPOSITORY "/docs/diagrams/sources.dot")) {
    std::map<std::string, std::string> folders;
    for (const auto& node : Pattern("(\\w+) \\[label=\"([^\"]+)\"").findAll(m_text)) {
      folders[node[1]] = node[2];
      m_folders.insert(node[2]);
    }
    for (const auto& arrow : Pattern("(\\w+) -> (\\w+)( \\[style=dashed\\])?;").findAll(m_text)) {
      auto& arrows = arrow[3].empty() ? m_arrows : m_privateArrows;
      arrows.emplace(folders.at(arrow[1]), folders.at(arrow[2]));
    }
  }

  const std::set<std::string>& folders() const { return m_folders; }

  /// The innermost folder of the map that holds the file; empty when none does.
  std::string folderOf(const std::string& file) const {
    std::string found;
    for (const std::string& folder : m_folders) {
      if (file.rfind(folder + "/", 0) == 0 && folder.size() > found.size()) {
        found = folder;
      }
    }
    return found;
  }

  bool allows(const std::string& from, const std::string& to) const {
    return from == to || m_privateArrows.count({from, to}) != 0 || leads(from, to);
  }

 private:
  using Arrows = std::set<std::pair<std::string, std::string>>;

  bool leads(const std::string& from, const std::string& to) const {
    for (const auto& [begin, end] : m_arrows) {
      if (begin == from && (end == to || leads(end, to))) {
        return true;
      }
    }
    return false;
  }

  std::string m_text;
  std::set<std::string> m_folders;
  Arrows m_arrows;
  Arrows m_privateArrows;
};

bool isSource(const fs::path& file) { return file.extension() == ".h" || file.extension() == ".cpp"; }

/// Calls `action` with each source file of the folders of the map, by its path in the repository.
template <typename Action>
void forEachSource(const SourceMap& map, Action action) {
  for (const std::string& folder : map.folders()) {
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(REPOSITORY) / folder)) {
      const std::string file = fs::relative(entry.path(), REPOSITORY).string();
      if (isSource(file) && map.folderOf(file) == folder) {
        action(file);
      }
    }
  }
}

TEST(SourceMap, LeadsToEveryHeaderOfTheRepositoryThatASourceIncludes) {
  const SourceMap map;
  std::size_t includes = 0;
  forEachSource(map, [&](const std::string& file) {
    const std::string text = TemporaryFolder::read((fs::path(REPOSITORY) / file).string());
    for (const auto& include : Pattern("\n#include <([^>]+)>").findAll("\n" + text)) {
      const std::string folder = map.folderOf(include[1]);
      if (!folder.empty()) {
        ++includes;
      }
      EXPECT_TRUE(folder.empty() || map.allows(map.folderOf(file), folder))
          << file << " includes " << include[1] << ": no arrow of docs/diagrams/sources.dot leads there";
    }
  });
  EXPECT_GT(includes, 0U);
}

TEST(SourceMap, HasEveryFolderWithSources) {
  const SourceMap map;
  for (const auto& entry : fs::directory_iterator(REPOSITORY)) {
    const std::string name = entry.path().filename().string();
    if (!entry.is_directory() || name == "build" || name.rfind('.', 0) == 0) {
      continue;
    }
    for (const auto& inner : fs::recursive_directory_iterator(entry.path())) {
      const std::string file = fs::relative(inner.path(), REPOSITORY).string();
      EXPECT_TRUE(!isSource(file) || !map.folderOf(file).empty()) << file;
    }
  }
}

TEST(SourceMap, IsExplainedFolderByFolder) {
  const std::string page = TemporaryFolder::read(REPOSITORY "/CONTRIBUTING.md");
  const SourceMap map;
  for (const std::string& folder : map.folders()) {
    EXPECT_NE(page.find("| `" + folder + "/` |"), std::string::npos) << folder;
  }
}

}  // namespace
