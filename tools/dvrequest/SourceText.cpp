#include <tools/dvrequest/SourceText.h>

#include <algorithm>
#include <cctype>
#include <tuple>

namespace DvRequest {

namespace {

constexpr const char* c_blanks = " \t\r\n";
constexpr std::size_t c_markDistance = 4096;
constexpr const char* c_byteOrderMark = "\xef\xbb\xbf";

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
  return text;
}

/// Whether the XML declaration, if there is one, says UTF-8 or a part of it.
bool isUtf8(const std::string& content) {
  const std::string declaration = lowerCase(content.substr(0, std::min(content.find("?>"), std::size_t{200})));
  if (declaration.find('\0') != std::string::npos) {
    return false;
  }
  const std::size_t encoding = declaration.find("encoding");
  return declaration.find("<?xml") == std::string::npos || encoding == std::string::npos ||
         declaration.find("utf-8", encoding) != std::string::npos ||
         declaration.find("us-ascii", encoding) != std::string::npos;
}

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xc0U) == 0x80; }

/// How many units of UTF-16 the character that begins with `byte` takes.
std::size_t unitsOf(char byte) { return static_cast<unsigned char>(byte) >= 0xf0 ? 2 : 1; }

/// Where the attribute `name` begins in the tag from `begin` to `end`.
std::optional<std::size_t> findAttribute(const std::string& text, std::size_t begin, std::size_t end,
                                         const std::string& name) {
  std::size_t current = text.find_first_of(c_blanks, begin);
  while (current < end) {
    const std::size_t start = text.find_first_not_of(c_blanks, current);
    const std::size_t equals = text.find('=', start);
    const std::size_t quote = text.find_first_of("\"'", equals);
    if (quote >= end) {
      return std::nullopt;
    }
    std::string found = text.substr(start, equals - start);
    found = found.substr(found.find(':') + 1);
    if (found.substr(0, found.find_first_of(c_blanks)) == name) {
      return start;
    }
    current = text.find(text[quote], quote + 1) + 1;
  }
  return std::nullopt;
}

}  // namespace

SourceText::SourceText(const std::string& content) : m_content(content) {
  if (!isUtf8(content)) {
    return;
  }
  m_lines.push_back(content.compare(0, 3, c_byteOrderMark) == 0 ? 3 : 0);
  std::size_t offset = 0;
  for (Count count; offset < content.size(); addCharacter(offset, count)) {
    if (m_marks.empty() || offset - m_marks.back().first >= c_markDistance) {
      m_marks.emplace_back(offset, count);
    }
  }
  for (std::size_t index = 0; index < content.size(); ++index) {
    const bool isReturn = content[index] == '\r' && (index + 1 == content.size() || content[index + 1] != '\n');
    if (content[index] == '\n' || isReturn) {
      m_lines.push_back(index + 1);
    }
  }
}

void SourceText::addCharacter(std::size_t& index, Count& count) const {
  count.units += unitsOf(m_content[index]);
  ++count.characters;
  do {
    ++index;
  } while (index < m_content.size() && isContinuation(m_content[index]));
}

SourceText::Count SourceText::countBefore(std::size_t offset) const {
  const auto isBehind = [](std::size_t wanted, const auto& mark) { return wanted < mark.first; };
  const auto next = std::upper_bound(m_marks.begin(), m_marks.end(), offset, isBehind);
  if (next == m_marks.begin()) {
    return {};
  }
  std::size_t index = std::prev(next)->first;
  Count count = std::prev(next)->second;
  while (index < offset) {
    addCharacter(index, count);
  }
  return count;
}

std::optional<std::size_t> SourceText::offset(const Place& place) const {
  if (place.line < 1 || place.column < 1 || static_cast<std::size_t>(place.line) > m_lines.size()) {
    return std::nullopt;
  }
  std::size_t index = m_lines[static_cast<std::size_t>(place.line) - 1];
  Count count = countBefore(index);
  const std::size_t wanted = count.units + static_cast<std::size_t>(place.column) - 1;
  const auto isBehind = [](std::size_t units, const auto& mark) { return units < mark.second.units; };
  const auto next = std::upper_bound(m_marks.begin(), m_marks.end(), wanted, isBehind);
  if (next != m_marks.begin() && std::prev(next)->first > index) {
    std::tie(index, count) = *std::prev(next);
  }
  while (count.units < wanted && index < m_content.size()) {
    addCharacter(index, count);
  }
  return index;
}

Place SourceText::place(std::size_t offset) const {
  const auto next = std::upper_bound(m_lines.begin(), m_lines.end(), offset);
  const std::size_t column = countBefore(offset).characters - countBefore(*std::prev(next)).characters + 1;
  return {next - m_lines.begin(), static_cast<long>(column)};
}

std::optional<std::size_t> SourceText::tagOffset(const Place& behind) const {
  const std::optional<std::size_t> end = offset(behind);
  if (!end || *end == 0 || m_content[*end - 1] != '>') {
    return std::nullopt;
  }
  const std::size_t begin = m_content.rfind('<', *end - 1);
  return begin == std::string::npos ? std::nullopt : std::make_optional(begin);
}

std::optional<Place> SourceText::tag(const Place& behind) const {
  const std::optional<std::size_t> begin = tagOffset(behind);
  return begin ? std::make_optional(place(*begin)) : std::nullopt;
}

std::optional<Place> SourceText::attribute(const Place& behind, const std::string& name) const {
  const std::optional<std::size_t> begin = tagOffset(behind);
  if (!begin) {
    return std::nullopt;
  }
  const std::optional<std::size_t> found = findAttribute(m_content, *begin, *offset(behind), name);
  return found ? std::make_optional(place(*found)) : std::nullopt;
}

}  // namespace DvRequest
