#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Fuzz {

/// A piece of an XML document. Broken documents have pieces too: whatever is not recognised is text.
struct Token {
  enum class Kind { Text, Open, Close, Empty, Comment, Instruction, Cdata, Doctype };

  Kind kind;
  std::string text;
};

using Tokens = std::vector<Token>;

Tokens tokensOf(std::string_view document);
std::string textOf(const Tokens& tokens);

/// The end (after the last) of the tokens that belong to the element opened at `start`; `start + 1` for anything else.
std::size_t elementEnd(const Tokens& tokens, std::size_t start);

}  // namespace Fuzz
