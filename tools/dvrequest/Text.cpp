#include <service/Xerces.h>
#include <tools/dvrequest/Text.h>

#include <boost/locale/encoding_utf.hpp>
#include <xercesc/util/XMLString.hpp>

namespace DvRequest {

namespace {

/// How many bytes the control character at `index` takes in UTF-8; 0 when there is none.
std::size_t controlLength(const std::string& text, std::size_t index) {
  const auto byte = static_cast<unsigned char>(text[index]);
  if (byte < 0x20 || byte == 0x7f) {
    return 1;
  }
  const auto next = static_cast<unsigned char>(index + 1 < text.size() ? text[index + 1] : '\0');
  return byte == 0xc2 && next >= 0x80 && next < 0xa0 ? 2 : 0;
}

void appendEscaped(char character, std::string& result) {
  constexpr const char* digits = "0123456789abcdef";
  const auto byte = static_cast<unsigned char>(character);
  result.append({'\\', 'x', digits[byte >> 4], digits[byte & 0xf]});
}

}  // namespace

std::string toText(const XMLCh* text) {
  if (text == nullptr) {
    return {};
  }
  return boost::locale::conv::utf_to_utf<char>(text, text + xercesc_3_1::XMLString::stringLen(text));
}

std::u16string toWide(const std::string& text) { return boost::locale::conv::utf_to_utf<char16_t>(text); }

std::string counted(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string printable(const std::string& text) {
  std::string result;
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (const std::size_t length = controlLength(text, index)) {
      appendEscaped(text[index + length - 1], result);
      index += length - 1;
    } else {
      result.push_back(text[index]);
    }
  }
  return result;
}

}  // namespace DvRequest
