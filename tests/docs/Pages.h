#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace ManualTests {

/// A fenced block of a page.
struct Block {
  std::string page;      ///< "getting-started.md"
  std::size_t line = 0;  ///< of the opening fence, from 1
  std::string language;
  std::vector<std::string> lines;

  /// "getting-started.md:12", for messages.
  std::string place() const { return page + ":" + std::to_string(line); }
};

/// A section of a page: a heading, and all lines up to the next heading of its level or above.
struct Section {
  std::string heading;
  std::vector<std::string> lines;
};

/// The pages written by hand, by their file names.
std::vector<std::string> pages();
std::string pagePath(const std::string& page);
std::vector<std::string> linesOfPage(const std::string& page);

/// All fenced blocks of a page.
std::vector<Block> blocksOfPage(const std::string& page);

/// The fenced blocks of this language on all pages.
std::vector<Block> blocks(const std::string& language);

/// The sections with headings of this level ("##" is 2) of a page.
std::vector<Section> sections(const std::string& page, std::size_t level);

/// The cells of the first table behind a header row that begins with `firstColumn`, without header; empty when there is
/// none. Code marks around a cell are taken off.
std::vector<std::vector<std::string>> table(const std::vector<std::string>& lines, const std::string& firstColumn);

/// Without blanks at both ends.
std::string trimmed(const std::string& text);

}  // namespace ManualTests
