#include <service/Xerces.h>
#include <tools/dvrequest/Text.h>

#include <boost/locale/encoding_utf.hpp>
#include <xercesc/util/XMLString.hpp>

namespace DvRequest {

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
  constexpr const char* digits = "0123456789abcdef";
  std::string result;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= 0x20 && byte != 0x7f) {
      result.push_back(character);
    } else {
      result.append({'\\', 'x', digits[byte >> 4], digits[byte & 0xf]});
    }
  }
  return result;
}

}  // namespace DvRequest
