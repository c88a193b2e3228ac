#include <service/Xerces.h>
#include <tools/dvrequest/check/SourceText.h>
#include <tools/dvrequest/support/Text.h>

#include <algorithm>
#include <array>
#include <boost/locale/encoding_utf.hpp>
#include <cstring>
#include <memory>
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
constexpr std::size_t c_maxAfter = 80;

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xc0U) == 0x80; }

bool equalsIgnoringCase(const std::string& left, const std::string& right) {
  const auto same = [](unsigned char one, unsigned char other) { return std::tolower(one) == std::tolower(other); };
  return std::equal(left.begin(), left.end(), right.begin(), right.end(), same);
}

/// The encoding that the XML declaration of `text` names; empty when it names none.
std::string declaredEncoding(const std::string& text) {
  static const std::regex declared("^(\xef\xbb\xbf)?<\\?xml[^>]*encoding[ \t\r\n]*=[ \t\r\n]*[\"']([^\"'>]*)[\"']");
  std::smatch match;
  const std::string start = text.substr(0, c_maxDeclaration);
  return std::regex_search(start, match, declared) ? match[2].str() : "";
}

std::string encodingOf(const std::string& content) {
  const auto found =
      XMLRecognizer::basicEncodingProbe(reinterpret_cast<const XMLByte*>(content.data()), content.size());
  if (found != XMLRecognizer::UTF_8) {
    return toText(XMLRecognizer::nameForEncoding(found, xercesc_3_1::XMLPlatformUtils::fgMemoryManager));
  }
  const std::string declared = declaredEncoding(content);
  return declared.empty() ? "UTF-8" : declared;
}

/// Without an unfinished character at the end. Nothing when the bytes do not fit the encoding, when it is not known, or
/// when Xerces-C is not started.
std::optional<std::u16string> decode(const std::string& content, const std::string& encoding) {
  // Xerces-C's transcoders write past their buffers when they are asked for more than they were made for, as its
  // `TranscodeFromStr` does.
  constexpr XMLSize_t block = 4096;
  if (xercesc_3_1::XMLPlatformUtils::fgTransService == nullptr) {
    return std::nullopt;
  }
  xercesc_3_1::XMLTransService::Codes unused{};
  const std::unique_ptr<xercesc_3_1::XMLTranscoder> transcoder(
      xercesc_3_1::XMLPlatformUtils::fgTransService->makeNewTranscoderFor(encoding.c_str(), unused, block));
  if (transcoder == nullptr) {
    return std::nullopt;
  }
  std::array<XMLCh, block> decoded{};
  std::array<unsigned char, block> sizes{};
  std::u16string text;
  for (std::size_t begin = 0; begin < content.size();) {
    XMLSize_t eaten = 0;
    const XMLSize_t count =
        transcoder->transcodeFrom(reinterpret_cast<const XMLByte*>(content.data()) + begin, content.size() - begin,
                                  decoded.data(), block, eaten, sizes.data());
    if (eaten == 0) {
      break;
    }
    text.append(decoded.data(), count);
    begin += eaten;
  }
  return text;
}

/// `content` as UTF-8, without a byte order mark; nothing when it is no document in `encoding`.
std::optional<std::string> convert(const std::string& content, const std::string& encoding) {
  try {
    const std::optional<std::u16string> text = decode(content, encoding);
    const std::size_t begin = text && text->compare(0, 1, u"\ufeff") == 0 ? 1 : 0;
    return text && text->compare(begin, 1, u"<") == 0
               ? std::make_optional(boost::locale::conv::utf_to_utf<char>(text->substr(begin)))
               : std::nullopt;
  } catch (const xercesc_3_1::XMLException&) {
    return std::nullopt;
  }
}

bool isVersion11(const std::string& text) {
  static const std::regex declared("^(\xef\xbb\xbf)?<\\?xml[ \t\r\n]+version[ \t\r\n]*=[ \t\r\n]*[\"']1\\.1[\"']");
  return std::regex_search(text.substr(0, c_maxDeclaration), declared);
}

/// Where each line begins.
std::vector<std::size_t> linesOf(const std::string& text) {
  std::vector<const char*> ends{"\r\n", "\n", "\r"};
  if (isVersion11(text)) {
    ends.insert(ends.begin(), {"\r\xc2\x85", "\xc2\x85", "\xe2\x80\xa8"});
  }
  std::vector<std::size_t> lines{text.compare(0, 3, c_byteOrderMark) == 0 ? std::size_t{3} : 0};
  for (std::size_t index = text.find_first_of("\r\n\xc2\xe2"); index != std::string::npos;
       index = text.find_first_of("\r\n\xc2\xe2", index)) {
    const auto end = std::find_if(ends.begin(), ends.end(),
                                  [&](const char* one) { return text.compare(index, std::strlen(one), one) == 0; });
    index += end == ends.end() ? 1 : std::strlen(*end);
    if (end != ends.end()) {
      lines.push_back(index);
    }
  }
  return lines;
}

}  // namespace

SourceText::SourceText(std::string content, std::string name)
    : m_name(std::move(name)),
      m_content(std::move(content)),
      m_encoding(encodingOf(m_content)),
      m_converted(equalsIgnoringCase(m_encoding, "UTF-8") ? std::nullopt : convert(m_content, m_encoding)),
      m_lines(linesOf(text())) {}

std::string SourceText::contradictoryEncoding() const {
  static const std::regex ofBytes("(utf-8|us-ascii|iso-8859-|windows-).*", std::regex::icase);
  const std::string named = declaredEncoding(text());
  return m_encoding.compare(0, 6, "UTF-16") == 0 && std::regex_match(named, ofBytes) ? named : "";
}

Place SourceText::place(std::size_t offset) const {
  const auto line = std::prev(std::upper_bound(m_lines.begin() + 1, m_lines.end(), offset));
  const long number = line - m_lines.begin() + 1;
  Position& last = m_lastOfPlace;
  if (last.place.line != number || offset < last.offset) {
    last = {*line, {number, 1}};
  }
  for (; last.offset < offset; ++last.offset) {
    last.place.column += isContinuation(text()[last.offset]) ? 0 : 1;
  }
  return last.place;
}

std::optional<std::size_t> SourceText::offset(const Place& place) const {
  if (place.line < 1 || static_cast<std::size_t>(place.line) > m_lines.size()) {
    return std::nullopt;
  }
  Position& last = m_lastOfOffset;
  if (last.place.line != place.line || place < last.place) {
    last = {m_lines[static_cast<std::size_t>(place.line) - 1], {place.line, 1}};
  }
  while (last.place < place && last.offset < text().size()) {
    const std::size_t length = std::max(characterLength(text(), last.offset), std::size_t{1});
    last.offset += length;
    last.place.column += length == 4 ? 2 : 1;
  }
  return last.offset;
}

Excerpt SourceText::excerpt(std::size_t offset) const {
  const auto next = std::upper_bound(m_lines.begin() + 1, m_lines.end(), offset);
  std::size_t begin = offset;
  for (std::size_t count = 0; begin > *std::prev(next) && count < c_maxBefore; ++count) {
    do {
      --begin;
    } while (begin > *std::prev(next) && isContinuation(text()[begin]));
  }
  std::size_t end = std::min(next == m_lines.end() ? text().size() : *next, offset + c_maxAfter);
  while (end < text().size() && end > offset && isContinuation(text()[end])) {
    --end;
  }
  const std::string after = text().substr(offset, end - offset);
  return {text().substr(begin, offset - begin), after.substr(0, after.find_first_of("\r\n"))};
}

std::optional<std::size_t> SourceText::invalidByte() const {
  for (std::size_t index = 0; index < text().size();) {
    const std::size_t length = characterLength(text(), index);
    if (length == 0) {
      return index;
    }
    index += length;
  }
  return std::nullopt;
}

std::optional<std::size_t> SourceText::attribute(std::size_t begin, std::size_t end, const std::string& name) const {
  std::size_t current = text().find_first_of(c_blanks, begin);
  while (current < end) {
    const std::size_t start = text().find_first_not_of(c_blanks, current);
    const std::size_t equals = text().find('=', start);
    const std::size_t quote = text().find_first_of("\"'", equals);
    if (quote >= end) {
      return std::nullopt;
    }
    std::string found = text().substr(start, equals - start);
    found = found.substr(found.find(':') + 1);
    if (found.substr(0, found.find_first_of(c_blanks)) == name) {
      return start;
    }
    current = text().find(text()[quote], quote + 1) + 1;
  }
  return std::nullopt;
}

}  // namespace DvRequest
