#include <fuzz/parse/Encodings.h>
#include <fuzz/parse/PeerDifferences.h>

#include <algorithm>
#include <string_view>

namespace Fuzz {

namespace {

bool contains(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

/// The value that libxml2 objects to, between its quotes.
std::string_view refusedValue(std::string_view objection) {
  const std::size_t start = objection.find(": '");
  const std::size_t end = objection.find("' is not a valid value of the atomic type 'xs:");
  return start == std::string_view::npos || end == std::string_view::npos || end < start + 3
             ? std::string_view()
             : objection.substr(start + 3, end - start - 3);
}

bool isSpace(char character) { return contains(" \t\r\n", std::string_view(&character, 1)); }

bool hasSpaceAround(const std::string&, const std::string& objection) {
  const std::string_view value = refusedValue(objection);
  return !value.empty() && (isSpace(value.front()) || isSpace(value.back()));
}

bool isSignedZero(const std::string&, const std::string& objection) {
  const std::string_view value = refusedValue(objection);
  return value.size() > 1 && value.front() == '-' && value.find_first_not_of('0', 1) == std::string_view::npos;
}

bool isVersion11(const std::string& document, const std::string&) {
  const std::string text = decoded(document, encodingOf(document));
  return text.compare(0, 5, "<?xml") == 0 && contains(text.substr(0, text.find("?>")), "1.1");
}

bool hasReservedPrefix(const std::string& document, const std::string&) {
  return contains(decoded(document, encodingOf(document)), "<xmlns:");
}

}  // namespace

bool isExplained(const std::string& document, const std::string& objection) {
  using Explanation = bool (*)(const std::string&, const std::string&);
  // In the order of README.md.
  static constexpr Explanation explanations[] = {hasSpaceAround, isSignedZero, isVersion11, hasReservedPrefix};
  return std::any_of(std::begin(explanations), std::end(explanations),
                     [&](Explanation explains) { return explains(document, objection); });
}

}  // namespace Fuzz
