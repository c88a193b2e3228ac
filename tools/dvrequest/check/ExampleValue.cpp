#include <tools/dvrequest/check/ExampleValue.h>
#include <tools/dvrequest/check/SchemaModel.h>
#include <tools/dvrequest/support/Text.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <utility>
#include <vector>

namespace DvRequest {

namespace {

using xercesc_3_1::XSSimpleTypeDefinition;

/// Makes the shortest text of the first branch of a regular expression.
class PatternReader {
 public:
  explicit PatternReader(const std::string& pattern) : m_pattern(pattern) {}

  std::string branches() {
    std::string text = sequence();
    while (skip('|')) {
      sequence();
    }
    return text;
  }

 private:
  using Ranges = std::vector<std::pair<char, char>>;

  bool atEnd() const { return m_index >= m_pattern.size(); }
  char take() { return atEnd() ? '\0' : m_pattern[m_index++]; }

  bool skip(char character) {
    const bool isIt = !atEnd() && m_pattern[m_index] == character;
    m_index += isIt ? 1 : 0;
    return isIt;
  }

  std::string sequence() {
    std::string text;
    while (!atEnd() && m_pattern[m_index] != '|' && m_pattern[m_index] != ')') {
      const std::string atom = this->atom();
      for (std::size_t count = leastCount(); count != 0; --count) {
        text += atom;
      }
    }
    return text;
  }

  std::string atom() {
    const char first = take();
    if (first == '(') {
      std::string text = branches();
      skip(')');
      return text;
    }
    if (first == '[') {
      return {ofClass()};
    }
    if (first == '\\') {
      return {escaped().front().first};
    }
    return {first == '.' ? 'x' : first};
  }

  /// How often the atom before must stand at least.
  std::size_t leastCount() {
    if (skip('?') || skip('*')) {
      return 0;
    }
    if (skip('{')) {
      const std::size_t count = std::strtoul(m_pattern.c_str() + m_index, nullptr, 10);
      m_index = std::min(m_pattern.find('}', m_index), m_pattern.size() - 1) + 1;
      return count;
    }
    skip('+');
    return 1;
  }

  Ranges escaped() {
    static const std::map<char, Ranges> known{{'d', {{'0', '9'}}},   {'w', {{'a', 'z'}, {'0', '9'}}},
                                              {'i', {{'a', 'z'}}},   {'c', {{'a', 'z'}, {'0', '9'}}},
                                              {'s', {{' ', ' '}}},   {'D', {{'x', 'z'}}},
                                              {'W', {{' ', ' '}}},   {'S', {{'x', 'z'}}},
                                              {'n', {{'\n', '\n'}}}, {'t', {{'\t', '\t'}}},
                                              {'r', {{'\r', '\r'}}}};
    const char kind = take();
    if (kind == 'p' || kind == 'P') {
      const std::size_t end = m_pattern.find('}', m_index);
      const bool isUpper = m_pattern.compare(m_index, 3, "{Lu") == 0;
      const bool isDigit = m_pattern.compare(m_index, 2, "{N") == 0;
      m_index = end == std::string::npos ? m_pattern.size() : end + 1;
      return isDigit ? Ranges{{'0', '9'}} : isUpper ? Ranges{{'A', 'Z'}} : Ranges{{'a', 'z'}};
    }
    const auto found = known.find(kind);
    return found == known.end() ? Ranges{{kind, kind}} : found->second;
  }

  char ofClass() {
    const bool isNegated = skip('^');
    Ranges ranges;
    while (!atEnd() && !skip(']')) {
      const char first = take();
      if (first == '\\') {
        const Ranges more = escaped();
        ranges.insert(ranges.end(), more.begin(), more.end());
      } else {
        const bool isRange =
            m_index + 1 < m_pattern.size() && m_pattern[m_index] == '-' && m_pattern[m_index + 1] != ']';
        m_index += isRange ? 1 : 0;
        ranges.emplace_back(first, isRange ? take() : first);
      }
    }
    if (!isNegated) {
      return ranges.empty() ? 'x' : ranges.front().first;
    }
    const std::string candidates = "xX0 _-.";
    const auto isFree = [&](char candidate) {
      return std::none_of(ranges.begin(), ranges.end(),
                          [&](const auto& range) { return range.first <= candidate && candidate <= range.second; });
    };
    const auto found = std::find_if(candidates.begin(), candidates.end(), isFree);
    return found == candidates.end() ? 'x' : *found;
  }

  const std::string& m_pattern;
  std::size_t m_index = 0;
};

const std::map<std::string, std::string>& builtInValues() {
  static const std::map<std::string, std::string> values{{"boolean", "true"},
                                                         {"double", "1.5"},
                                                         {"float", "1.5"},
                                                         {"decimal", "1.5"},
                                                         {"date", "2024-05-07"},
                                                         {"time", "13:45:09"},
                                                         {"dateTime", "2024-05-07T13:45:09Z"},
                                                         {"duration", "PT1H"},
                                                         {"gYear", "2024"},
                                                         {"gYearMonth", "2024-05"},
                                                         {"gMonth", "--05"},
                                                         {"gMonthDay", "--05-07"},
                                                         {"gDay", "---07"},
                                                         {"hexBinary", "0fb7"},
                                                         {"base64Binary", "D7c="},
                                                         {"language", "en"},
                                                         {"anyURI", "file://server/file"}};
  return values;
}

bool isInteger(const std::string& builtIn) {
  return builtIn.find("nteger") != std::string::npos || builtIn == "int" || builtIn == "long" || builtIn == "short" ||
         builtIn == "byte" || builtIn.rfind("unsigned", 0) == 0;
}

/// A number within the limits of the type.
std::string exampleNumber(XSSimpleTypeDefinition& type, const std::string& usual) {
  const auto limit = [&](XSSimpleTypeDefinition::FACET facet) { return toText(type.getLexicalFacetValue(facet)); };
  std::string least = limit(XSSimpleTypeDefinition::FACET_MININCLUSIVE);
  const std::string above = limit(XSSimpleTypeDefinition::FACET_MINEXCLUSIVE);
  std::string most = limit(XSSimpleTypeDefinition::FACET_MAXINCLUSIVE);
  const double value = std::strtod(usual.c_str(), nullptr);
  if (!least.empty() && std::strtod(least.c_str(), nullptr) > value) {
    return least;
  }
  if (!most.empty() && std::strtod(most.c_str(), nullptr) < value) {
    return most;
  }
  return !above.empty() && std::strtod(above.c_str(), nullptr) >= value
             ? std::to_string(std::strtoll(above.c_str(), nullptr, 10) + 1)
             : usual;
}

/// `text` made as long as the type wants it.
std::string fitLength(XSSimpleTypeDefinition& type, std::string text) {
  const auto limit = [&](XSSimpleTypeDefinition::FACET facet, std::size_t otherwise) {
    const std::string value = toText(type.getLexicalFacetValue(facet));
    return value.empty() ? otherwise : std::strtoul(value.c_str(), nullptr, 10);
  };
  const std::size_t length = limit(XSSimpleTypeDefinition::FACET_LENGTH, text.size());
  const std::size_t least = std::max(length, limit(XSSimpleTypeDefinition::FACET_MINLENGTH, 0));
  text.resize(std::min(least, limit(XSSimpleTypeDefinition::FACET_MAXLENGTH, least)), 'x');
  return text;
}

}  // namespace

std::string exampleOfPattern(const std::string& pattern) { return PatternReader(pattern).branches(); }

std::string exampleValue(XSSimpleTypeDefinition& type) {
  static const std::map<std::string, std::string> shared{{"DVUid", c_exampleId},
                                                         {"DVTimestamp", "UTC/ISO_2024-05-07T13:45:09"}};
  const auto known = shared.find(typeName(type));
  if (known != shared.end()) {
    return known->second;
  }
  if (auto* values = type.getLexicalEnumeration(); values != nullptr && values->size() != 0) {
    return toText(values->elementAt(0));
  }
  if (type.getVariety() == XSSimpleTypeDefinition::VARIETY_LIST) {
    return exampleValue(*type.getItemType());
  }
  if (type.getVariety() == XSSimpleTypeDefinition::VARIETY_UNION && type.getMemberTypes()->size() != 0) {
    return exampleValue(*type.getMemberTypes()->elementAt(0));
  }
  const std::string builtIn = builtInName(type);
  auto* patterns = builtIn == "string" || builtIn == "token" ? type.getLexicalPattern() : nullptr;
  if (patterns != nullptr && patterns->size() != 0) {
    return exampleOfPattern(toText(patterns->elementAt(0)));
  }
  const auto value = builtInValues().find(builtIn);
  if (isInteger(builtIn) || builtIn == "double" || builtIn == "float" || builtIn == "decimal") {
    return exampleNumber(type, isInteger(builtIn) ? "1" : value->second);
  }
  return value != builtInValues().end() ? value->second : fitLength(type, "text");
}

}  // namespace DvRequest
