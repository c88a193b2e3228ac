#include <tests/support/Pattern.h>

#include <regex>

namespace TestSupport {

struct Pattern::Compiled {
  std::regex expression;
};

Pattern::Pattern(const std::string& expression)
    : m_compiled(std::make_shared<const Compiled>(Compiled{std::regex(expression)})) {}

std::vector<std::string> Pattern::groupsOf(const std::string& text) const {
  std::smatch match;
  if (!std::regex_match(text, match, m_compiled->expression)) {
    return {};
  }
  return {match.begin(), match.end()};
}

std::vector<std::vector<std::string>> Pattern::findAll(const std::string& text) const {
  std::vector<std::vector<std::string>> found;
  std::sregex_iterator match(text.begin(), text.end(), m_compiled->expression);
  for (; match != std::sregex_iterator(); ++match) {
    found.emplace_back(match->begin(), match->end());
  }
  return found;
}

std::string Pattern::replaceAll(const std::string& text, const std::string& replacement) const {
  return std::regex_replace(text, m_compiled->expression, replacement);
}

}  // namespace TestSupport
