#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <service/GeneralServices.h>
#include <tests/support/ParsedDocument.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using Drelvan::XmlUtils;
using TestSupport::ParsedDocument;

std::string utf8(std::uint32_t code) {
  const auto byte = [](std::uint32_t value) { return static_cast<char>(static_cast<unsigned char>(value)); };
  if (code < 0x80) {
    return {byte(code)};
  }
  if (code < 0x800) {
    return {byte(0xC0 | code >> 6U), byte(0x80 | (code & 0x3FU))};
  }
  if (code < 0x10000) {
    return {byte(0xE0 | code >> 12U), byte(0x80 | (code >> 6U & 0x3FU)), byte(0x80 | (code & 0x3FU))};
  }
  return {byte(0xF0 | code >> 18U), byte(0x80 | (code >> 12U & 0x3FU)), byte(0x80 | (code >> 6U & 0x3FU)),
          byte(0x80 | (code & 0x3FU))};
}

/// Characters that XML 1.0 can carry, the special ones more often.
rc::Gen<std::uint32_t> xmlCharacters() {
  return rc::gen::oneOf(rc::gen::element<std::uint32_t>('&', '<', '>', '"', '\'', '\r', '\n', '\t', ';', '#', ']'),
                        rc::gen::inRange<std::uint32_t>(0x20, 0x7F), rc::gen::inRange<std::uint32_t>(0x7F, 0xD800),
                        rc::gen::inRange<std::uint32_t>(0xE000, 0xFFFE),
                        rc::gen::inRange<std::uint32_t>(0x10000, 0x110000));
}

rc::Gen<std::string> xmlTexts() {
  return rc::gen::map(rc::gen::container<std::vector<std::uint32_t>>(xmlCharacters()),
                      [](const std::vector<std::uint32_t>& codes) {
                        std::string text;
                        for (const std::uint32_t code : codes) {
                          text += utf8(code);
                        }
                        return text;
                      });
}

/// Any bytes, among them parts of characters and control characters.
rc::Gen<std::string> anyBytes() {
  return rc::gen::oneOf(rc::gen::container<std::string>(rc::gen::arbitrary<char>()),
                        rc::gen::container<std::string>(rc::gen::elementOf(std::string(
                            "\x00\x01\x1F<&>'\"\r\n\x7F\x80\xBF\xC0\xC3\xA9\xE2\x82\xED\xA0\xF0\x9F\xF4\xFF", 25))));
}

rc::Gen<std::string> nearlyReferences() {
  return rc::gen::map(
      rc::gen::container<std::vector<std::string>>(rc::gen::element<std::string>(
          "&", "#", "x", ";", "amp", "lt", "gt", "quot", "apos", "6", "5", "D800", "&amp;", "&#", "\xC3\xA9", "a")),
      [](const std::vector<std::string>& parts) {
        std::string text;
        for (const std::string& part : parts) {
          text += part;
        }
        return text;
      });
}

RC_GTEST_PROP(XmlUtilsProperty, UnescapingUndoesEscaping, ()) {
  const std::string text = *xmlTexts();
  RC_ASSERT(XmlUtils::fromXml(XmlUtils::toXml(text)) == text);
}

RC_GTEST_PROP(XmlUtilsProperty, EscapedTextReadsBackThroughAParse, ()) {
  const std::string text = *xmlTexts();
  const ParsedDocument document("<r>" + XmlUtils::toXml(text) + "</r>");
  RC_ASSERT(XmlUtils::getContent(document.root()) == text);
}

RC_GTEST_PROP(XmlUtilsProperty, EscapedBytesAlwaysParse, ()) {
  const std::string escaped = XmlUtils::toXml(*anyBytes());
  const ParsedDocument document("<r a=\"" + escaped + "\" b='" + escaped + "'>" + escaped + "</r>");
  RC_ASSERT(XmlUtils::toXml(XmlUtils::getContent(document.root())) == escaped);
}

RC_GTEST_PROP(XmlUtilsProperty, EscapingEndsAtAFixedPoint, ()) {
  const std::string text = XmlUtils::fromXml(XmlUtils::toXml(*anyBytes()));
  RC_ASSERT(XmlUtils::fromXml(XmlUtils::toXml(text)) == text);
}

RC_GTEST_PROP(XmlUtilsProperty, UnescapingNeverGrows, ()) {
  const std::string text = *nearlyReferences();
  const std::string unescaped = XmlUtils::fromXml(text);
  RC_ASSERT(unescaped.size() <= text.size());
  RC_ASSERT(text.find(';') != std::string::npos || unescaped == text);
}

RC_GTEST_PROP(XmlUtilsProperty, UnescapingAgreesWithTheParserOnNumbers, ()) {
  const std::uint32_t code = *xmlCharacters();
  const std::string decimal = "&#" + std::to_string(code) + ";";
  const ParsedDocument document("<r>" + decimal + "</r>");
  RC_ASSERT(XmlUtils::fromXml(decimal) == XmlUtils::getContent(document.root()));
  RC_ASSERT(XmlUtils::fromXml(decimal) == utf8(code));
}

}  // namespace
