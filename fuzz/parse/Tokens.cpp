#include <fuzz/parse/Tokens.h>

#include <algorithm>

namespace Fuzz {

namespace {

using Kind = Token::Kind;

struct Shape {
  std::string_view start;
  std::string_view end;
  Kind kind;
};

constexpr Shape c_shapes[] = {{"<!--", "-->", Kind::Comment},
                              {"<![CDATA[", "]]>", Kind::Cdata},
                              {"<?", "?>", Kind::Instruction},
                              {"</", ">", Kind::Close},
                              {"<", ">", Kind::Open}};

/// A document type declaration ends at the first ">" outside its internal subset.
std::size_t doctypeEnd(std::string_view text) {
  const std::size_t subset = text.find('[');
  const std::size_t end = text.find('>');
  if (subset == std::string_view::npos || end < subset) {
    return end;
  }
  const std::size_t close = text.find("]>");
  return close == std::string_view::npos ? close : close + 1;
}

/// The text to the end, or all of it when there is none.
std::string upTo(std::string_view text, std::size_t end) {
  return std::string(end == std::string_view::npos ? text : text.substr(0, end + 1));
}

Token markup(std::string_view text) {
  if (text.substr(0, 9) == "<!DOCTYPE") {
    return {Kind::Doctype, upTo(text, doctypeEnd(text))};
  }
  const auto* shape = std::find_if(std::begin(c_shapes), std::end(c_shapes), [&](const Shape& candidate) {
    return text.substr(0, candidate.start.size()) == candidate.start;
  });
  const std::size_t end = text.find(shape->end, shape->start.size());
  if (end == std::string_view::npos) {
    return {Kind::Text, std::string(text)};
  }
  const std::string_view piece = text.substr(0, end + shape->end.size());
  const bool empty = shape->kind == Kind::Open && piece.size() > 2 && piece[piece.size() - 2] == '/';
  return {empty ? Kind::Empty : shape->kind, std::string(piece)};
}

}  // namespace

Tokens tokensOf(std::string_view document) {
  Tokens tokens;
  while (!document.empty()) {
    tokens.push_back(document.front() == '<' ? markup(document)
                                             : Token{Kind::Text, std::string(document.substr(0, document.find('<')))});
    document.remove_prefix(tokens.back().text.size());
  }
  return tokens;
}

std::string textOf(const Tokens& tokens) {
  std::string text;
  for (const Token& token : tokens) {
    text += token.text;
  }
  return text;
}

std::size_t elementEnd(const Tokens& tokens, std::size_t start) {
  if (tokens[start].kind != Kind::Open) {
    return start + 1;
  }
  std::size_t depth = 0;
  for (std::size_t index = start; index < tokens.size(); ++index) {
    depth += tokens[index].kind == Kind::Open ? 1U : 0U;
    depth -= tokens[index].kind == Kind::Close ? 1U : 0U;
    if (depth == 0) {
      return index + 1;
    }
  }
  return tokens.size();
}

}  // namespace Fuzz
