#include <tests/docs/Pages.h>
#include <tests/support/Program.h>
#include <tests/support/TemporaryFolder.h>

#include <algorithm>
#include <filesystem>

namespace ManualTests {

namespace {

constexpr const char* c_fence = "```";

bool startsWith(const std::string& text, const std::string& start) { return text.rfind(start, 0) == 0; }

/// 0 for a line that is no heading.
std::size_t levelOf(const std::string& line) {
  const std::size_t level = line.find_first_not_of('#');
  return level != std::string::npos && level > 0 && line[level] == ' ' ? level : 0;
}

std::string withoutCodeMarks(const std::string& cell) {
  const bool isCode = cell.size() > 2 && cell.front() == '`' && cell.find('`', 1) == cell.size() - 1;
  return isCode ? cell.substr(1, cell.size() - 2) : cell;
}

/// A bar within a cell is written "\|".
std::vector<std::string> cellsOf(const std::string& row) {
  std::vector<std::string> cells(1);
  for (std::size_t place = 1; place < row.size(); ++place) {
    if (row[place] == '\\' && place + 1 < row.size() && row[place + 1] == '|') {
      cells.back() += row[++place];
    } else if (row[place] == '|') {
      cells.back() = withoutCodeMarks(trimmed(cells.back()));
      cells.emplace_back();
    } else {
      cells.back() += row[place];
    }
  }
  cells.pop_back();
  return cells;
}

}  // namespace

std::vector<std::string> pages() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(REPOSITORY "/docs")) {
    const std::string name = entry.path().filename().string();
    // The page of the benchmarks is written by their script.
    if (entry.path().extension() == ".md" && name != "benchmarks.md") {
      names.push_back(name);
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string pagePath(const std::string& page) { return REPOSITORY "/docs/" + page; }

std::vector<std::string> linesOfPage(const std::string& page) {
  return TestSupport::linesOf(TestSupport::TemporaryFolder::read(pagePath(page)));
}

std::vector<Block> blocksOfPage(const std::string& page) {
  std::vector<Block> result;
  bool isInside = false;
  std::size_t number = 0;
  for (const std::string& line : linesOfPage(page)) {
    ++number;
    if (startsWith(line, c_fence)) {
      isInside = !isInside;
      if (isInside) {
        result.push_back({page, number, line.substr(3), {}});
      }
    } else if (isInside) {
      result.back().lines.push_back(line);
    }
  }
  return result;
}

std::vector<Block> blocks(const std::string& language) {
  std::vector<Block> result;
  for (const std::string& page : pages()) {
    for (Block& block : blocksOfPage(page)) {
      if (block.language == language) {
        result.push_back(std::move(block));
      }
    }
  }
  return result;
}

std::vector<Section> sections(const std::string& page, std::size_t level) {
  std::vector<Section> result;
  bool isInside = false;
  bool isCode = false;
  for (const std::string& line : linesOfPage(page)) {
    isCode = isCode != startsWith(line, c_fence);
    const std::size_t found = isCode ? 0 : levelOf(line);
    if (found != 0 && found <= level) {
      isInside = found == level;
      if (isInside) {
        result.push_back({line.substr(level + 1), {}});
      }
    } else if (isInside) {
      result.back().lines.push_back(line);
    }
  }
  return result;
}

std::vector<std::vector<std::string>> table(const std::vector<std::string>& lines, const std::string& firstColumn) {
  std::vector<std::vector<std::string>> rows;
  auto line = std::find_if(lines.begin(), lines.end(),
                           [&](const std::string& text) { return startsWith(text, "| " + firstColumn + " |"); });
  if (line == lines.end()) {
    return rows;
  }
  for (line += 2; line != lines.end() && startsWith(*line, "|"); ++line) {
    rows.push_back(cellsOf(*line));
  }
  return rows;
}

std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(' ');
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

}  // namespace ManualTests
