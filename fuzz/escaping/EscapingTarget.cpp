// One input is any text.

#include <fuzz/support/Input.h>
#include <fuzz/support/Parsing.h>
#include <fuzz/support/Property.h>
#include <service/GeneralServices.h>

#include <string>

namespace {

using Drelvan::XmlUtils;
using Fuzz::require;

constexpr const char* c_replacement = "\xef\xbf\xbd";

void checkEscaped(const std::string& text) {
  const std::string escaped = XmlUtils::toXml(text);
  const std::string plain = XmlUtils::fromXml(escaped);
  require(escaped.find_first_of("<>\"'\r") == std::string::npos, "no markup is left");
  require(plain == text || escaped.find(c_replacement) != std::string::npos,
          "escaping is undone, or something was replaced");
  require(XmlUtils::toXml(plain) == escaped, "what was undone escapes to the same");
  const Fuzz::Document document = Fuzz::parsed("<r>" + escaped + "</r>");
  require(document != nullptr, "escaped text is content of an element");
  require(XmlUtils::getContent(document->getDocumentElement()) == plain, "the parser undoes escaping as fromXml does");
}

void checkUnescaped(const std::string& text) {
  const std::string plain = XmlUtils::fromXml(text);
  require(plain.size() <= text.size(), "undoing references makes no text longer");
  require(plain == text || text.find('&') != std::string::npos, "a text without references stays as it is");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  require(Fuzz::parsed("<r/>") != nullptr, "the parser starts");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input = Fuzz::textOf(data, size);
  checkEscaped(input);
  checkUnescaped(input);
  return 0;
}
