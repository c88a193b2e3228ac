#pragma once

#include <memory>
#include <string>
#include <vector>

namespace TestSupport {

/// A regular expression as of ECMAScript. Each source that uses <regex> itself takes two seconds longer to compile.
class Pattern {
 public:
  /// Throws `std::regex_error` for what is no regular expression.
  explicit Pattern(const std::string& expression);

  /// Whether it describes the whole text.
  bool matches(const std::string& text) const { return !groupsOf(text).empty(); }
  /// The whole text and its groups, those that took no part empty; nothing when it does not describe the whole text.
  std::vector<std::string> groupsOf(const std::string& text) const;
  /// Each place in the text that it describes, with its groups.
  std::vector<std::vector<std::string>> findAll(const std::string& text) const;
  /// The text with each such place replaced; "$1" is the first group.
  std::string replaceAll(const std::string& text, const std::string& replacement) const;

 private:
  struct Compiled;
  std::shared_ptr<const Compiled> m_compiled;
};

}  // namespace TestSupport
