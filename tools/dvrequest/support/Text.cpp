#include <tools/dvrequest/support/Text.h>

#include <boost/locale/encoding_utf.hpp>
#include <xercesc/util/XMLString.hpp>

namespace DvRequest {

namespace {

using boost::locale::utf::code_point;

/// Whether the character changes how a terminal shows what comes after it.
bool steersTerminal(code_point character) {
  const bool isControl = character < 0x20 || (character >= 0x7f && character < 0xa0);
  const bool isSeparator = character == 0x2028 || character == 0x2029;
  const bool isBidirectional = character == 0x61c || character == 0x200e || character == 0x200f ||
                               (character >= 0x202a && character <= 0x202e) ||
                               (character >= 0x2066 && character <= 0x2069);
  return isControl || isSeparator || isBidirectional;
}

/// `text` with each character that steers a terminal, and each stray byte, as `escaped` makes it.
template <typename Escaped>
std::string replaceSteering(const std::string& text, Escaped escaped) {
  std::string result;
  for (std::size_t index = 0; index < text.size();) {
    const std::size_t length = characterLength(text, index);
    const char* byte = text.data() + index;
    const code_point character =
        length == 0 ? static_cast<unsigned char>(*byte) : boost::locale::utf::utf_traits<char>::decode_valid(byte);
    if (length == 0 || steersTerminal(character)) {
      result += escaped(character);
    } else {
      result.append(text, index, length);
    }
    index += length == 0 ? 1 : length;
  }
  return result;
}

}  // namespace

std::string toText(const XMLCh* text) {
  if (text == nullptr) {
    return {};
  }
  return boost::locale::conv::utf_to_utf<char>(text, text + xercesc_3_1::XMLString::stringLen(text));
}

std::u16string toWide(const std::string& text) { return boost::locale::conv::utf_to_utf<char16_t>(text); }

std::size_t characterLength(const std::string& text, std::size_t index) {
  const char* const begin = text.data() + index;
  const char* current = begin;
  const code_point character = boost::locale::utf::utf_traits<char>::decode(current, text.data() + text.size());
  return boost::locale::utf::is_valid_codepoint(character) ? static_cast<std::size_t>(current - begin) : 0;
}

std::string hexadecimal(unsigned int value, unsigned int digits) {
  std::string text;
  while (digits-- != 0) {
    text += "0123456789ABCDEF"[(value >> (4 * digits)) & 0xfU];
  }
  return text;
}

std::string counted(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string printable(const std::string& text) {
  return replaceSteering(text, [](code_point character) {
    return character < 0x100 ? "\\x" + hexadecimal(character, 2) : "\\u" + hexadecimal(character, 4);
  });
}

std::string printableJson(const std::string& json) {
  return replaceSteering(json, [](code_point character) { return "\\u" + hexadecimal(character, 4); });
}

}  // namespace DvRequest
