#include <fuzz/parse/Encodings.h>
#include <fuzz/parse/PeerDifferences.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace Fuzz {

namespace {

bool contains(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

/// The part of `text` between two markers; empty when they are not found.
std::string_view between(std::string_view text, std::string_view before, std::string_view after) {
  const std::size_t start = text.find(before);
  const std::size_t end = text.find(after);
  return start == std::string_view::npos || end == std::string_view::npos || end < start + before.size()
             ? std::string_view()
             : text.substr(start + before.size(), end - start - before.size());
}

std::string_view refusedValue(const Objection& objection) {
  const std::string_view type = between(objection.message, "The QName value '", "' of the xsi:type attribute");
  return type.empty() ? between(objection.message, ": '", "' is not a valid value of") : type;
}

bool isSpace(char character) { return contains(" \t\r\n", std::string_view(&character, 1)); }

bool hasSpaceAround(const std::string&, const Objection& objection) {
  const std::string_view value = refusedValue(objection);
  return !value.empty() && (isSpace(value[value.find('}') + 1]) || isSpace(value.front()) || isSpace(value.back()));
}

bool isSignedUnsigned(const std::string&, const Objection& objection) {
  const std::string_view value = refusedValue(objection);
  const bool isUnsigned = contains(objection.message, "'xs:unsigned") || contains(objection.message, "NoteKind");
  return isUnsigned && (contains(value, "+") || contains(value, "-0"));
}

bool hasNoDigit(const std::string&, const Objection& objection) {
  const std::string_view value = refusedValue(objection);
  return value == "." || value == "+." || value == "-.";
}

bool isUnassessed(const std::string&, const Objection& objection) { return objection.unassessed; }

bool isVersion11(const std::string& document, const Objection&) {
  const std::string text = decoded(document, encodingOf(document));
  return text.compare(0, 5, "<?xml") == 0 && contains(text.substr(0, text.find("?>")), "1.1");
}

bool hasReservedPrefix(const std::string& document, const Objection&) {
  return contains(decoded(document, encodingOf(document)), "<xmlns:");
}

/// The length in bytes that Xerces-C expects of a UTF-8 character, by its first byte.
std::size_t lengthByFirstByte(unsigned char byte) {
  return byte < 0xC0 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : byte < 0xF8 ? 4 : byte < 0xFC ? 5 : 6;
}

bool endsWithinCharacter(const std::string& document, const Objection& objection) {
  const std::string_view tail = std::string_view(document).substr(document.rfind('>') + 1);
  const std::size_t first = tail.find_first_not_of(" \t\r\n");
  return contains(objection.message, "Extra content at the end of the document") && first != std::string_view::npos &&
         tail.size() - first < lengthByFirstByte(static_cast<unsigned char>(tail[first]));
}

}  // namespace

bool isExplained(const std::string& document, const Objection& objection) {
  using Explanation = bool (*)(const std::string&, const Objection&);
  // In the order of README.md.
  static constexpr Explanation explanations[] = {hasSpaceAround,    isSignedUnsigned, hasNoDigit,         isVersion11,
                                                 hasReservedPrefix, isUnassessed,     endsWithinCharacter};
  return std::any_of(std::begin(explanations), std::end(explanations),
                     [&](Explanation explains) { return explains(document, objection); });
}

}  // namespace Fuzz
