#include <service/Xerces.h>
#include <tools/dvrequest/check/SourceText.h>
#include <tools/dvrequest/support/Text.h>

#include <algorithm>
#include <boost/locale/encoding_utf.hpp>
#include <regex>
#include <utility>
#include <xercesc/framework/XMLRecognizer.hpp>
#include <xercesc/util/TransService.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLUni.hpp>

namespace DvRequest {

namespace {

using xercesc_3_1::XMLRecognizer;

constexpr const char* c_blanks = " \t\r\n";
constexpr const char* c_byteOrderMark = "\xef\xbb\xbf";
constexpr std::size_t c_maxDeclaration = 200;
constexpr std::size_t c_maxBefore = 50;
constexpr std::size_t c_maxBehind = 80;

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xc0U) == 0x80; }

bool equalsIgnoringCase(const std::string& left, const std::string& right) {
  const auto same = [](unsigned char one, unsigned char other) { return std::tolower(one) == std::tolower(other); };
  return std::equal(left.begin(), left.end(), right.begin(), right.end(), same);
}

std::string encodingOf(const std::string& content) {
  const auto found =
      XMLRecognizer::basicEncodingProbe(reinterpret_cast<const XMLByte*>(content.data()), content.size());
  if (found != XMLRecognizer::UTF_8) {
    return toText(XMLRecognizer::nameForEncoding(found, xercesc_3_1::XMLPlatformUtils::fgMemoryManager));
  }
  static const std::regex declared("^(\xef\xbb\xbf)?<\\?xml[^>]*encoding[ \t\r\n]*=[ \t\r\n]*[\"']([^\"'>]*)[\"']");
  std::smatch match;
  const std::string start = content.substr(0, c_maxDeclaration);
  return std::regex_search(start, match, declared) ? match[2].str() : "UTF-8";
}

/// `content` as UTF-8, without a byte order mark; nothing when it is no document in `encoding`.
std::optional<std::string> convert(const std::string& content, const std::string& encoding) {
  try {
    const xercesc_3_1::TranscodeFromStr text(reinterpret_cast<const XMLByte*>(content.data()), content.size(),
                                             encoding.c_str());
    const XMLCh* const begin = text.str() + (text.length() != 0 && *text.str() == 0xfeff ? 1 : 0);
    const bool isDocument = begin != text.str() + text.length() && *begin == u'<';
    return isDocument ? std::make_optional(boost::locale::conv::utf_to_utf<char>(begin, text.str() + text.length()))
                      : std::nullopt;
  } catch (const xercesc_3_1::XMLException&) {
    return std::nullopt;
  }
}

}  // namespace

SourceText::SourceText(std::string content, std::string name)
    : m_name(std::move(name)), m_text(std::move(content)), m_encoding(encodingOf(m_text)) {
  if (!equalsIgnoringCase(m_encoding, "UTF-8")) {
    if (auto converted = convert(m_text, m_encoding)) {
      m_text = std::move(*converted);
      m_wasConverted = true;
    }
  }
  m_lines.push_back(m_text.compare(0, 3, c_byteOrderMark) == 0 ? 3 : 0);
  for (std::size_t index = 0; index < m_text.size(); ++index) {
    const bool isReturn = m_text[index] == '\r' && (index + 1 == m_text.size() || m_text[index + 1] != '\n');
    if (m_text[index] == '\n' || isReturn) {
      m_lines.push_back(index + 1);
    }
  }
}

Place SourceText::place(std::size_t offset) const {
  const auto line = std::prev(std::upper_bound(m_lines.begin() + 1, m_lines.end(), offset));
  const long number = line - m_lines.begin() + 1;
  if (m_lastPlace.line != number || offset < m_lastOffset) {
    m_lastOffset = *line;
    m_lastPlace = {number, 1};
  }
  for (; m_lastOffset < offset; ++m_lastOffset) {
    m_lastPlace.column += isContinuation(m_text[m_lastOffset]) ? 0 : 1;
  }
  return m_lastPlace;
}

std::optional<std::size_t> SourceText::offset(const Place& place) const {
  if (place.line < 1 || static_cast<std::size_t>(place.line) > m_lines.size()) {
    return std::nullopt;
  }
  std::size_t offset = m_lines[static_cast<std::size_t>(place.line) - 1];
  for (long column = 1; column < place.column && offset < m_text.size(); ++column) {
    offset += std::max(characterLength(m_text, offset), std::size_t{1});
  }
  return offset;
}

Excerpt SourceText::excerpt(std::size_t offset) const {
  const auto next = std::upper_bound(m_lines.begin() + 1, m_lines.end(), offset);
  std::size_t begin = offset;
  for (std::size_t count = 0; begin > *std::prev(next) && count < c_maxBefore; ++count) {
    do {
      --begin;
    } while (begin > *std::prev(next) && isContinuation(m_text[begin]));
  }
  std::size_t end = std::min(next == m_lines.end() ? m_text.size() : *next, offset + c_maxBehind);
  while (end < m_text.size() && end > offset && isContinuation(m_text[end])) {
    --end;
  }
  const std::string behind = m_text.substr(offset, end - offset);
  return {m_text.substr(begin, offset - begin), behind.substr(0, behind.find_first_of("\r\n"))};
}

std::optional<std::size_t> SourceText::invalidByte() const {
  for (std::size_t index = 0; index < m_text.size();) {
    const std::size_t length = characterLength(m_text, index);
    if (length == 0) {
      return index;
    }
    index += length;
  }
  return std::nullopt;
}

std::optional<std::size_t> SourceText::attribute(std::size_t begin, std::size_t end, const std::string& name) const {
  std::size_t current = m_text.find_first_of(c_blanks, begin);
  while (current < end) {
    const std::size_t start = m_text.find_first_not_of(c_blanks, current);
    const std::size_t equals = m_text.find('=', start);
    const std::size_t quote = m_text.find_first_of("\"'", equals);
    if (quote >= end) {
      return std::nullopt;
    }
    std::string found = m_text.substr(start, equals - start);
    found = found.substr(found.find(':') + 1);
    if (found.substr(0, found.find_first_of(c_blanks)) == name) {
      return start;
    }
    current = m_text.find(m_text[quote], quote + 1) + 1;
  }
  return std::nullopt;
}

}  // namespace DvRequest
