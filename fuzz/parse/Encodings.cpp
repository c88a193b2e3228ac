#include <fuzz/parse/Encodings.h>

#include <algorithm>
#include <boost/locale/encoding_utf.hpp>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Fuzz {

namespace {

using boost::locale::conv::utf_to_utf;
using namespace std::string_view_literals;

struct Marker {
  std::string_view bytes;
  Encoding encoding;
};

// The longer ones first where one begins like another.
constexpr Marker c_markers[] = {{"\xef\xbb\xbf"sv, Encoding::Utf8Marked},
                                {"<\0\0\0"sv, Encoding::Utf32Little},
                                {"\xff\xfe"sv, Encoding::Utf16LittleMarked},
                                {"\xfe\xff"sv, Encoding::Utf16BigMarked},
                                {"<\0"sv, Encoding::Utf16Little},
                                {"\0<"sv, Encoding::Utf16Big},
                                {"\x4c\x6f\xa7\x94"sv, Encoding::Ebcdic}};

/// The printable ASCII characters in code page 037, in their order from the blank on.
constexpr std::string_view c_ebcdic =
    "\x40\x5a\x7f\x7b\x5b\x6c\x50\x7d\x4d\x5d\x5c\x4e\x6b\x60\x4b\x61"
    "\xf0\xf1\xf2\xf3\xf4\xf5\xf6\xf7\xf8\xf9\x7a\x5e\x4c\x7e\x6e\x6f"
    "\x7c\xc1\xc2\xc3\xc4\xc5\xc6\xc7\xc8\xc9\xd1\xd2\xd3\xd4\xd5\xd6"
    "\xd7\xd8\xd9\xe2\xe3\xe4\xe5\xe6\xe7\xe8\xe9\xba\xe0\xbb\xb0\x6d"
    "\x79\x81\x82\x83\x84\x85\x86\x87\x88\x89\x91\x92\x93\x94\x95\x96"
    "\x97\x98\x99\xa2\xa3\xa4\xa5\xa6\xa7\xa8\xa9\xc0\x4f\xd0\xa1";

std::string fromEbcdic(std::string_view document) {
  std::string text;
  for (const char byte : document) {
    const std::size_t place = c_ebcdic.find(byte);
    text += place == std::string_view::npos ? '\n' : static_cast<char>(' ' + place);
  }
  return text;
}

std::string toEbcdic(std::string_view text) {
  std::string document;
  for (const char character : text) {
    const auto place = static_cast<std::size_t>(static_cast<unsigned char>(character) - ' ');
    document += place < c_ebcdic.size() ? c_ebcdic[place] : '\x25';
  }
  return document;
}

/// The units of `size` bytes each as characters of the type.
template <typename Unit>
std::basic_string<Unit> unitsOf(std::string_view bytes, bool big) {
  std::basic_string<Unit> units;
  for (std::size_t start = 0; start + sizeof(Unit) <= bytes.size(); start += sizeof(Unit)) {
    std::uint32_t unit = 0;
    for (std::size_t index = 0; index < sizeof(Unit); ++index) {
      unit = unit << 8U | static_cast<unsigned char>(bytes[start + (big ? index : sizeof(Unit) - 1 - index)]);
    }
    units.push_back(static_cast<Unit>(unit));
  }
  return units;
}

template <typename Unit>
std::string bytesOf(const std::basic_string<Unit>& units, bool big) {
  std::string bytes;
  for (const Unit unit : units) {
    for (std::size_t index = 0; index < sizeof(Unit); ++index) {
      const std::size_t shift = 8 * (big ? sizeof(Unit) - 1 - index : index);
      bytes.push_back(static_cast<char>(static_cast<std::uint32_t>(unit) >> shift & 0xffU));
    }
  }
  return bytes;
}

}  // namespace

Encoding encodingOf(const std::string& document) {
  const auto* marker = std::find_if(std::begin(c_markers), std::end(c_markers), [&](const Marker& candidate) {
    return document.compare(0, candidate.bytes.size(), candidate.bytes) == 0;
  });
  return marker == std::end(c_markers) ? Encoding::Utf8 : marker->encoding;
}

std::string decoded(const std::string& document, Encoding encoding) {
  const std::string_view bytes(document);
  switch (encoding) {
    case Encoding::Utf8:
      return document;
    case Encoding::Utf8Marked:
      return document.substr(3);
    case Encoding::Utf16Little:
    case Encoding::Utf16Big:
      return utf_to_utf<char>(unitsOf<char16_t>(bytes, encoding == Encoding::Utf16Big));
    case Encoding::Utf16LittleMarked:
    case Encoding::Utf16BigMarked:
      return utf_to_utf<char>(unitsOf<char16_t>(bytes.substr(2), encoding == Encoding::Utf16BigMarked));
    case Encoding::Utf32Little:
      return utf_to_utf<char>(unitsOf<char32_t>(bytes, false));
    case Encoding::Ebcdic:
      return fromEbcdic(bytes);
  }
  return document;
}

std::string encoded(const std::string& text, Encoding encoding) {
  switch (encoding) {
    case Encoding::Utf8:
      return text;
    case Encoding::Utf8Marked:
      return "\xef\xbb\xbf" + text;
    case Encoding::Utf16Little:
    case Encoding::Utf16Big:
      return bytesOf(utf_to_utf<char16_t>(text), encoding == Encoding::Utf16Big);
    case Encoding::Utf16LittleMarked:
      return "\xff\xfe" + bytesOf(utf_to_utf<char16_t>(text), false);
    case Encoding::Utf16BigMarked:
      return "\xfe\xff" + bytesOf(utf_to_utf<char16_t>(text), true);
    case Encoding::Utf32Little:
      return bytesOf(utf_to_utf<char32_t>(text), false);
    case Encoding::Ebcdic:
      return toEbcdic(text);
  }
  return text;
}

}  // namespace Fuzz
