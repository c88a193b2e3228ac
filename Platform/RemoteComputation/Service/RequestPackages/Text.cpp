#include <Platform/RemoteComputation/Service/RequestPackages/Text.h>

#include <algorithm>

namespace Drelvan::Private {

namespace {

constexpr char32_t c_replacement = 0xFFFD;

constexpr bool isHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
constexpr bool isLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

/// The character at `text`, which is moved past it.
char32_t takeCharacter(const XMLCh*& text) {
  const char32_t unit = *text++;
  if (isHighSurrogate(unit) && isLowSurrogate(*text)) {
    return 0x10000 + ((unit - 0xD800) << 10) + (*text++ - 0xDC00U);
  }
  return isHighSurrogate(unit) || isLowSurrogate(unit) ? c_replacement : unit;
}

void appendByte(char32_t byte, std::string& text) { text.push_back(static_cast<char>(byte)); }

void appendCharacter(char32_t character, std::string& text) {
  if (character < 0x80) {
    appendByte(character, text);
    return;
  }
  if (character < 0x800) {
    appendByte(0xC0 | (character >> 6), text);
  } else {
    if (character < 0x10000) {
      appendByte(0xE0 | (character >> 12), text);
    } else {
      appendByte(0xF0 | (character >> 18), text);
      appendByte(0x80 | ((character >> 12) & 0x3F), text);
    }
    appendByte(0x80 | ((character >> 6) & 0x3F), text);
  }
  appendByte(0x80 | (character & 0x3F), text);
}

/// How many bytes the sequence has that begins with `lead`; 0 when none does.
std::size_t sequenceLength(unsigned char lead) {
  if (lead < 0x80) {
    return 1;
  }
  if (lead >= 0xC2 && lead < 0xE0) {
    return 2;
  }
  if (lead >= 0xE0 && lead < 0xF0) {
    return 3;
  }
  return lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
}

bool isXmlCharacter(char32_t character) {
  if (character < 0x20) {
    return character == '\t' || character == '\n' || character == '\r';
  }
  return character < 0xD800 || (character >= 0xE000 && character < 0xFFFE) ||
         (character >= 0x10000 && character < 0x110000);
}

}  // namespace

std::string toUtf8(const XMLCh* text) {
  std::string utf8;
  appendUtf8(text, utf8);
  return utf8;
}

void appendUtf8(const XMLCh* text, std::string& utf8) {
  while (text != nullptr && *text != 0) {
    appendCharacter(takeCharacter(text), utf8);
  }
}

bool equals(const XMLCh* wide, std::string_view utf8) {
  for (std::size_t index = 0; index < utf8.size(); ++index) {
    const auto byte = static_cast<unsigned char>(utf8[index]);
    if (byte >= 0x80) {
      return toUtf8(wide + index) == utf8.substr(index);
    }
    if (wide[index] != byte) {
      return false;
    }
  }
  return wide[utf8.size()] == 0;
}

std::u16string toWide(std::string_view utf8) {
  std::u16string wide;
  wide.reserve(utf8.size());
  while (!utf8.empty()) {
    const std::size_t length = characterLength(utf8);
    char32_t character = length == 0 ? c_replacement : static_cast<unsigned char>(utf8[0]);
    if (length > 1) {
      character &= 0x7FU >> length;
    }
    for (std::size_t index = 1; index < length; ++index) {
      character = (character << 6) | (static_cast<unsigned char>(utf8[index]) & 0x3FU);
    }
    if (character >= 0x10000) {
      wide.push_back(static_cast<char16_t>(0xD800 + ((character - 0x10000) >> 10)));
      character = 0xDC00 + ((character - 0x10000) & 0x3FF);
    }
    wide.push_back(static_cast<char16_t>(character));
    utf8.remove_prefix(length == 0 ? 1 : length);
  }
  return wide;
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char byte) { return (byte & '\x80') == 0; });
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && isBlank(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

std::size_t characterLength(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t length = sequenceLength(lead);
  if (length == 0 || length > text.size()) {
    return 0;
  }
  char32_t character = length == 1 ? lead : lead & (0x7FU >> length);
  for (std::size_t index = 1; index < length; ++index) {
    const auto byte = static_cast<unsigned char>(text[index]);
    if ((byte & 0xC0U) != 0x80) {
      return 0;
    }
    character = (character << 6) | (byte & 0x3FU);
  }
  const bool isOverlong = (length == 3 && character < 0x800) || (length == 4 && character < 0x10000);
  return isOverlong || !isXmlCharacter(character) ? 0 : length;
}

}  // namespace Drelvan::Private
