#include <fuzz/parse/DocumentMutator.h>
#include <fuzz/parse/Encodings.h>
#include <fuzz/parse/Sequence.h>
#include <fuzz/parse/Vocabulary.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace Fuzz {

namespace {

using Kind = Token::Kind;

constexpr std::size_t c_repetitions[] = {2,   2,   3,   4,   8,   15,   16,   17,   30,   31,  32,
                                         33,  60,  64,  65,  99,  100,  101,  128,  255,  256, 257,
                                         500, 600, 997, 998, 999, 1000, 1001, 1002, 2000, 4000};

constexpr std::string_view c_requests[] = {
    "<request id='0123456789abcdef-0123456789ABCDEF-fedcba9876543210'/>",
    "<request xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xsi:type='CancelSimulation'"
    " id='0123456789abcdef-0123456789ABCDEF-fedcba9876543210'><jobId>"
    "<id>a3f09c51de7b2468-13579bdf02468ace-fedcba9876543210</id><name>A_a3f09c51de</name></jobId></request>",
    "<request xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xsi:type='OpenRequest'"
    " id='0123456789abcdef-0123456789ABCDEF-fedcba9876543210'><x xmlns='urn:x' a='b'><y/></x>"
    "<note level='3' kind='any 7'>a<note/>b<flag xsi:nil='true'/></note></request>",
    "<request xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xsi:type='SkippingRequest'"
    " id='0123456789abcdef-0123456789ABCDEF-fedcba9876543210'><u:x xmlns:u='urn:x'><u:y><z/></u:y></u:x></request>"};

constexpr std::string_view c_roots[] = {"<DV_RequestScript xmlns='http://drelvan.example/schemas/DVRequests.xsd'>",
                                        "<DV_Request xmlns='http://drelvan.example/schemas/DVRequests.xsd'>"};

constexpr std::string_view c_otherDocuments[] = {
    "<note xmlns='http://drelvan.example/schemas/DVRequests.xsd'>a<shortRemark><text>b c</text></shortRemark></note>",
    "<ledger xmlns='http://drelvan.example/schemas/DVRequests.xsd'><entry><key>1</key></entry>"
    "<entry><parent>1</parent><key>2</key></entry></ledger>",
    "<x/>", "<?xml version='1.1'?><x>&#1;</x>", "<!DOCTYPE x [<!ENTITY e 'y'><!ATTLIST x a CDATA 'v'>]><x>&e;</x>"};

std::string tagName(const std::string& tag) {
  const std::size_t end = tag.find_first_of(" \t\r\n/>", 1);
  return tag.substr(1, end - 1);
}

bool isTag(const Token& token) { return token.kind == Kind::Open || token.kind == Kind::Empty; }

/// Where attributes end in a tag.
std::size_t attributesEnd(const Token& tag) { return tag.text.size() - (tag.kind == Kind::Empty ? 2 : 1); }

/// The bounds of each quoted value of a tag.
std::vector<std::pair<std::size_t, std::size_t>> valuesOf(const std::string& tag) {
  std::vector<std::pair<std::size_t, std::size_t>> values;
  std::size_t start = tag.find_first_of("'\"");
  while (start != std::string::npos) {
    const std::size_t end = tag.find(tag[start], start + 1);
    if (end == std::string::npos) {
      break;
    }
    values.emplace_back(start + 1, end);
    start = tag.find_first_of("'\"", end + 1);
  }
  return values;
}

void insertAll(Tokens& tokens, std::size_t place, const Tokens& added) {
  tokens.insert(std::next(tokens.begin(), static_cast<std::ptrdiff_t>(place)), added.begin(), added.end());
}

Tokens slice(const Tokens& tokens, std::size_t start, std::size_t end) {
  return {std::next(tokens.begin(), static_cast<std::ptrdiff_t>(start)),
          std::next(tokens.begin(), static_cast<std::ptrdiff_t>(end))};
}

void erase(Tokens& tokens, std::size_t start, std::size_t end) {
  tokens.erase(std::next(tokens.begin(), static_cast<std::ptrdiff_t>(start)),
               std::next(tokens.begin(), static_cast<std::ptrdiff_t>(end)));
}

/// The pattern with each "#" replaced by the number.
std::string numbered(std::string_view pattern, std::size_t number) {
  std::string text;
  for (const char character : pattern) {
    text += character == '#' ? std::to_string(number) : std::string(1, character);
  }
  return text;
}

}  // namespace

std::size_t DocumentMutator::repetitions() {
  return oneIn(4) ? c_repetitions[below(std::size(c_repetitions))] : 1 + below(4);
}

std::string DocumentMutator::mutated(const std::string& input) {
  std::vector<std::string> documents = splitDocuments(input);
  const std::size_t chosen = below(documents.size());
  if (oneIn(12)) {
    documents.push_back(oneIn(2) ? documents[chosen] : changedDocument(""));
  } else if (documents.size() > 1 && oneIn(8)) {
    documents.erase(std::next(documents.begin(), static_cast<std::ptrdiff_t>(chosen)));
  } else {
    documents[chosen] = changedDocument(documents[chosen]);
  }
  return joinDocuments(documents);
}

std::string DocumentMutator::crossed(const std::string& input, const std::string& other) {
  std::vector<std::string> documents = splitDocuments(input);
  const std::vector<std::string> others = splitDocuments(other);
  const std::string& from = others[below(others.size())];
  if (oneIn(3)) {
    documents.push_back(from);
    return joinDocuments(documents);
  }
  std::string& document = documents[below(documents.size())];
  const Encoding encoding = encodingOf(document);
  Tokens tokens = tokensOf(decoded(document, encoding));
  const Tokens source = tokensOf(decoded(from, encodingOf(from)));
  if (!source.empty()) {
    const std::size_t start = below(source.size());
    insertAll(tokens, anyPlace(tokens), slice(source, start, elementEnd(source, start)));
  }
  document = encoded(textOf(tokens), encoding);
  return joinDocuments(documents);
}

std::string DocumentMutator::changedDocument(const std::string& document) {
  Encoding encoding = encodingOf(document);
  Tokens tokens = tokensOf(decoded(document, encoding));
  for (std::size_t count = 1 + below(3); count > 0; --count) {
    change(tokens);
  }
  if (oneIn(16)) {
    encoding = oneIn(2) ? Encoding::Utf8 : static_cast<Encoding>(below(c_encodings));
  }
  return encoded(textOf(tokens), encoding);
}

void DocumentMutator::change(Tokens& tokens) {
  using Change = void (DocumentMutator::*)(Tokens&);
  static constexpr Change changes[] = {&DocumentMutator::remove,
                                       &DocumentMutator::duplicate,
                                       &DocumentMutator::move,
                                       &DocumentMutator::wrap,
                                       &DocumentMutator::rename,
                                       &DocumentMutator::addAttribute,
                                       &DocumentMutator::addAttribute,
                                       &DocumentMutator::addManyAttributes,
                                       &DocumentMutator::removeAttribute,
                                       &DocumentMutator::changeValue,
                                       &DocumentMutator::changeValue,
                                       &DocumentMutator::insertPiece,
                                       &DocumentMutator::insertPiece,
                                       &DocumentMutator::insertElement,
                                       &DocumentMutator::insertMany,
                                       &DocumentMutator::setDeclaration,
                                       &DocumentMutator::setDoctype,
                                       &DocumentMutator::startAnew};
  if (tokens.empty()) {
    startAnew(tokens);
  } else {
    (this->*changes[below(std::size(changes))])(tokens);
  }
}

std::size_t DocumentMutator::anyTag(const Tokens& tokens) {
  const auto count = static_cast<std::size_t>(std::count_if(tokens.begin(), tokens.end(), isTag));
  if (count == 0) {
    return tokens.size();
  }
  std::size_t skipped = below(count);
  for (std::size_t index = 0; index < tokens.size(); ++index) {
    if (isTag(tokens[index]) && skipped-- == 0) {
      return index;
    }
  }
  return tokens.size();
}

std::string DocumentMutator::elementName() { return oneOf(c_prefixes) + oneOf(c_elementNames); }

std::string DocumentMutator::attribute() { return " " + oneOf(c_attributeNames) + "='" + oneOf(c_values) + "'"; }

std::string DocumentMutator::subset() {
  std::string text;
  for (std::size_t count = below(6); count > 0; --count) {
    text += oneOf(c_subsetParts);
  }
  return oneIn(20) ? text + numbered("<!ENTITY e# '&e;'><!ATTLIST x a# CDATA '#'>", repetitions()) : text;
}

Tokens DocumentMutator::package() {
  if (oneIn(3)) {
    return tokensOf(oneOf(c_otherDocuments));
  }
  const std::string root = oneOf(c_roots);
  std::string text = root + oneOf(c_requests);
  while (oneIn(2)) {
    text += oneOf(c_requests);
  }
  return tokensOf(text + "</" + tagName(root) + ">");
}

void DocumentMutator::remove(Tokens& tokens) {
  const std::size_t start = below(tokens.size());
  erase(tokens, start, oneIn(3) ? start + 1 : elementEnd(tokens, start));
}

void DocumentMutator::duplicate(Tokens& tokens) {
  const std::size_t start = below(tokens.size());
  const Tokens element = slice(tokens, start, elementEnd(tokens, start));
  for (std::size_t count = repetitions(); count > 0; --count) {
    insertAll(tokens, start, element);
  }
}

void DocumentMutator::move(Tokens& tokens) {
  const std::size_t start = below(tokens.size());
  const std::size_t end = elementEnd(tokens, start);
  const Tokens element = slice(tokens, start, end);
  erase(tokens, start, end);
  insertAll(tokens, anyPlace(tokens), element);
}

void DocumentMutator::wrap(Tokens& tokens) {
  const std::size_t start = below(tokens.size());
  const std::size_t end = elementEnd(tokens, start);
  const std::string name = elementName();
  const std::string attributes = oneIn(2) ? attribute() : std::string();
  const std::size_t depth = repetitions();
  insertAll(tokens, end, Tokens(depth, {Kind::Close, "</" + name + ">"}));
  insertAll(tokens, start, Tokens(depth, {Kind::Open, "<" + name + attributes + ">"}));
}

void DocumentMutator::rename(Tokens& tokens) {
  const std::size_t start = anyTag(tokens);
  if (start == tokens.size()) {
    return;
  }
  const std::size_t length = tagName(tokens[start].text).size();
  const std::string name = elementName();
  Token& last = tokens[elementEnd(tokens, start) - 1];
  tokens[start].text.replace(1, length, name);
  if (last.kind == Kind::Close && !oneIn(16)) {
    last.text = "</" + name + ">";
  }
}

void DocumentMutator::addAttribute(Tokens& tokens) {
  const std::size_t start = anyTag(tokens);
  if (start != tokens.size()) {
    tokens[start].text.insert(attributesEnd(tokens[start]), attribute());
  }
}

void DocumentMutator::addManyAttributes(Tokens& tokens) {
  static constexpr std::string_view patterns[] = {" a#=''",         " xmlns:n#='urn:x'", " xmlns:n#='urn:#'",
                                                  " t:a#=''",       " xml:a#=''",        " xmlns:n#='urn:#' n#:a=''",
                                                  " xmlns='urn:#'", " xsi:a#=''"};
  const std::size_t start = anyTag(tokens);
  if (start == tokens.size()) {
    return;
  }
  const std::string pattern = oneOf(patterns);
  std::string attributes;
  const std::size_t first = below(50);
  for (std::size_t number = repetitions(); number > 0; --number) {
    attributes += numbered(pattern, first + number);
  }
  tokens[start].text.insert(attributesEnd(tokens[start]), attributes);
}

void DocumentMutator::removeAttribute(Tokens& tokens) {
  const std::size_t start = anyTag(tokens);
  if (start == tokens.size()) {
    return;
  }
  const auto values = valuesOf(tokens[start].text);
  if (values.empty()) {
    return;
  }
  const auto [valueStart, valueEnd] = values[below(values.size())];
  const std::size_t name = tokens[start].text.find_last_of(" \t\r\n", valueStart);
  if (name != std::string::npos) {
    tokens[start].text.erase(name, valueEnd + 1 - name);
  }
}

void DocumentMutator::changeValue(Tokens& tokens) {
  Token& token = tokens[below(tokens.size())];
  const auto values = valuesOf(token.text);
  if (values.empty()) {
    token.text = token.kind == Kind::Text ? oneOf(c_values) : token.text;
    return;
  }
  const auto [start, end] = values[below(values.size())];
  token.text.replace(start, end - start, oneOf(c_values));
}

void DocumentMutator::insertPiece(Tokens& tokens) {
  insertAll(tokens, anyPlace(tokens), {{Kind::Text, oneOf(c_pieces)}});
}

void DocumentMutator::insertElement(Tokens& tokens) {
  const std::string name = elementName();
  std::string text = "<" + name;
  while (oneIn(2)) {
    text += attribute();
  }
  text += oneIn(2) ? "/>" : ">" + (oneIn(2) ? oneOf(c_values) : oneOf(c_requests)) + "</" + name + ">";
  insertAll(tokens, anyPlace(tokens), tokensOf(text));
}

void DocumentMutator::insertMany(Tokens& tokens) {
  static constexpr std::string_view patterns[] = {"<e#/>",
                                                  "<n#:e xmlns:n#='urn:#'/>",
                                                  "<e xmlns='urn:#'/>",
                                                  "<e xmlns='urn:#'>",
                                                  "<e#>",
                                                  "<!---->",
                                                  "<?p#?>",
                                                  "<![CDATA[#]]>",
                                                  "&#65;",
                                                  "&e;",
                                                  "x",
                                                  "\n",
                                                  "<note/>",
                                                  "<note>",
                                                  "<t:note>",
                                                  "<entry><key>#</key></entry>",
                                                  "<request id='#'/>",
                                                  "<e a#='' b='#'/>",
                                                  "<note xmlns:n#='urn:#'>"};
  const std::string pattern = oneOf(patterns);
  const std::size_t first = below(50);
  std::string text;
  for (std::size_t number = repetitions(); number > 0; --number) {
    text += numbered(pattern, first + number);
  }
  insertAll(tokens, anyPlace(tokens), tokensOf(text));
}

void DocumentMutator::setDeclaration(Tokens& tokens) {
  const Token declaration{Kind::Instruction, oneOf(c_declarations)};
  if (tokens.front().text.compare(0, 5, "<?xml") == 0) {
    tokens.front() = declaration;
  } else {
    tokens.insert(tokens.begin(), declaration);
  }
}

void DocumentMutator::setDoctype(Tokens& tokens) {
  static constexpr std::string_view externals[] = {"",
                                                   "",
                                                   "",
                                                   "",
                                                   " SYSTEM 'x.dtd'",
                                                   " SYSTEM 'file:///etc/hostname'",
                                                   " PUBLIC 'p' 'http://127.0.0.1:1/x.dtd'",
                                                   " SYSTEM"};
  std::string text = "<!DOCTYPE " + (oneIn(2) ? std::string("x") : elementName()) + oneOf(externals);
  text += oneIn(5) ? ">" : " [" + subset() + "]>";
  const auto old =
      std::find_if(tokens.begin(), tokens.end(), [](const Token& token) { return token.kind == Kind::Doctype; });
  const auto tag = old != tokens.end() ? old : std::find_if(tokens.begin(), tokens.end(), isTag);
  if (old != tokens.end()) {
    old->text = text;
  } else {
    tokens.insert(tag, {Kind::Doctype, text});
  }
}

void DocumentMutator::startAnew(Tokens& tokens) { tokens = package(); }

}  // namespace Fuzz
