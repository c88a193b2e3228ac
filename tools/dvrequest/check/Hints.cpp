#include <tools/dvrequest/check/Hints.h>
#include <tools/dvrequest/support/Text.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <xercesc/framework/XMLErrorCodes.hpp>
#include <xercesc/util/XMLExceptMsgs.hpp>

namespace DvRequest {

namespace {

using xercesc_3_1::XMLErrs;
using xercesc_3_1::XMLExcepts;

constexpr std::size_t c_maxShownText = 20;
constexpr std::size_t c_maxShownValue = 100;

/// What to say of an error of syntax, and where: at the last `mark` before the place that the parser reached.
struct SyntaxHint {
  XMLErrs::Codes code;
  const char* mark;  ///< null for the place itself
  const char* text;
};

constexpr const char* c_ampersand = "write a literal '&' as &amp;";
constexpr const char* c_outsideRoot =
    "a document has one root element; only comments and processing instructions may precede or follow it";
constexpr const char* c_quotes = "write the value of an attribute in quotes: name=\"value\"";

constexpr std::array<SyntaxHint, 19> c_syntaxHints{{
    {XMLErrs::ExpectedEntityRefName, "&", c_ampersand},
    {XMLErrs::InvalidEntityRefName, "&", c_ampersand},
    {XMLErrs::UnterminatedEntityRef, "&", c_ampersand},
    {XMLErrs::EntityNotFound, "&",
     "the predefined entities are &amp; &lt; &gt; &quot; &apos;; use a numeric reference such as &#233; for others"},
    {XMLErrs::InvalidCharacterRef, "&", "this number is not a character allowed in XML 1.0"},
    {XMLErrs::ExpectedNumericalCharRef, "&", "a numeric reference is written &#233; or &#xE9;"},
    {XMLErrs::UnterminatedCharRef, "&", "a numeric reference is written &#233; or &#xE9;"},
    {XMLErrs::ExpectedAttrValue, nullptr, c_quotes},
    {XMLErrs::ExpectedEqSign, nullptr, c_quotes},
    {XMLErrs::BracketInAttrValue, "<", "write a '<' in a value as &lt;, or end the value with its quote"},
    {XMLErrs::ExpectedWhitespace, nullptr,
     "leave a blank between two attributes; or the value before has no closing quote"},
    {XMLErrs::UnterminatedStartTag, nullptr, "end the start tag with '>' before this"},
    {XMLErrs::AttrAlreadyUsedInSTag, nullptr, "an element has each attribute once; remove one of the two"},
    {XMLErrs::ExpectedCommentOrPI, nullptr, c_outsideRoot},
    {XMLErrs::NotValidAfterContent, nullptr, c_outsideRoot},
    {XMLErrs::XMLDeclMustBeFirst, "<", "the XML declaration must be at the very start of the document"},
    {XMLErrs::IllegalSequenceInComment, "--", "a comment cannot hold '--'"},
    {XMLErrs::BadSequenceInCharData, "]]>", "write ']]>' in text as ]]&gt;"},
    {XMLErrs::UnknownPrefix, "<", "declare the prefix on the element or one around it: xmlns:prefix=\"...\""},
}};

std::string utf8OfLatin1(unsigned char byte) {
  return {static_cast<char>(0xc0U | (byte >> 6U)), static_cast<char>(0x80U | (byte & 0x3fU))};
}

std::string shownPlace(const Place& place) { return std::to_string(place.line) + ":" + std::to_string(place.column); }

/// The bytes of `text` from `offset` that are not ASCII, up to four.
std::string shownBytes(const std::string& text, std::size_t offset) {
  std::string shown;
  for (std::size_t index = offset; index < std::min(text.size(), offset + 4) && (text[index] & '\x80') != 0; ++index) {
    shown += std::string(shown.empty() ? "" : " ") + "0x" + hexadecimal(static_cast<unsigned char>(text[index]), 2);
  }
  return shown;
}

std::string hintOnByte(const std::string& text, std::size_t offset) {
  const auto byte = static_cast<unsigned char>(text[offset]);
  const std::string start = "the bytes " + shownBytes(text, offset) + " are not UTF-8";
  if (byte < 0xa0) {
    return start +
           R"(; save the document as UTF-8, or name its encoding: <?xml version="1.0" encoding="windows-1252"?>)";
  }
  return start + "; in ISO-8859-1 the first is '" + utf8OfLatin1(byte) +
         R"('. Save the document as UTF-8, or name its encoding: <?xml version="1.0" encoding="ISO-8859-1"?>)";
}

Hint hintOnEncoding(const ReadError& error, const SourceText& source) {
  const std::string& text = source.text();
  if (error.code == XMLExcepts::Gen_UnexpectedEOF) {
    return {"the document ends within a tag, a value or a comment; a closing quote may be missing", std::nullopt};
  }
  if (error.code == XMLExcepts::Trans_CantCreateCvtrFor) {
    return {"the encoding " + source.encoding() + " is not known here; save the document as UTF-8", std::nullopt};
  }
  if (const auto offset = source.invalidByte()) {
    return {hintOnByte(text, *offset), offset};
  }
  const auto foreign = std::find_if(text.begin(), text.end(), [](char byte) { return (byte & '\x80') != 0; });
  if (foreign == text.end()) {
    return {};
  }
  const auto offset = static_cast<std::size_t>(foreign - text.begin());
  return {"the bytes " + shownBytes(text, offset) + " are UTF-8, but the document names the encoding " +
              source.encoding() + "; name UTF-8 instead",
          offset};
}

std::string hintOnStart(const SourceText& source) {
  const std::string& text = source.text();
  const std::size_t begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string::npos) {
    return "there is no document: the input is empty or blank";
  }
  if (text[begin] == '<') {
    return c_outsideRoot;
  }
  if (text[begin] == '{' || text[begin] == '[') {
    return "the input looks like JSON; a package is XML";
  }
  return "a document begins with '<'; this one begins with '" + text.substr(begin, c_maxShownText) + "'";
}

std::string hintOnCharacter(const std::string& text, std::size_t offset) {
  const auto byte = static_cast<unsigned char>(offset < text.size() ? text[offset] : ' ');
  if (byte < 0x20) {
    return "the control character U+" + hexadecimal(byte, 4) + " is not allowed in XML 1.0, not even as a reference";
  }
  return byte == '<' ? "end the tag before this with '>'" : "";
}

Hint hintFromTable(const ReadError& error, const std::string& text) {
  for (const SyntaxHint& hint : c_syntaxHints) {
    if (isSyntax(error, hint.code)) {
      const std::size_t found =
          hint.mark == nullptr || error.offset == 0 ? std::string::npos : text.rfind(hint.mark, error.offset - 1);
      return {hint.text, found == std::string::npos ? error.offset : found};
    }
  }
  return {};
}

std::string shownValue(const std::string& value) {
  std::size_t end = 0;
  while (end < value.size() && end < c_maxShownValue) {
    end += std::max(characterLength(value, end), std::size_t{1});
  }
  return "'" + value.substr(0, end) + (end < value.size() ? "...'" : "'");
}

/// An attribute of the schema language whose value names components.
struct Reference {
  const char* attribute;
  bool isToType;
};

constexpr std::array<Reference, 7> c_references{{{"base", true},
                                                 {"type", true},
                                                 {"itemType", true},
                                                 {"memberTypes", true},
                                                 {"ref", false},
                                                 {"refer", false},
                                                 {"substitutionGroup", false}}};

/// The value of an attribute of the tag at `tag`; empty when it has no such attribute.
std::string valueOf(const SourceText& source, std::size_t tag, const std::string& attribute) {
  const std::string& text = source.text();
  const auto start = source.attribute(tag, text.find('>', tag), attribute);
  const std::size_t quote = start ? text.find_first_of("\"'", *start) : std::string::npos;
  return quote == std::string::npos ? "" : text.substr(quote + 1, text.find(text[quote], quote + 1) - quote - 1);
}

/// The first of the names in `value` that has no prefix; empty when all have one.
std::string nameWithoutPrefix(const std::string& value) {
  std::istringstream names(value);
  std::string name;
  while (names >> name) {
    if (name.find(':') == std::string::npos) {
      return name;
    }
  }
  return {};
}

bool definesType(const SourceText& schema, const std::string& name) {
  const std::string& text = schema.text();
  for (std::size_t found = text.find("Type"); found != std::string::npos; found = text.find("Type", found + 1)) {
    const std::size_t tag = text.find_last_of("< \t\r\n\"'", found);
    if (tag != std::string::npos && text[tag] == '<' && valueOf(schema, tag, "name") == name) {
      return true;
    }
  }
  return false;
}

bool isNumeric(const std::string& type) { return type == "xs:double" || type == "xs:float" || type == "xs:decimal"; }

}  // namespace

Hint hintOnSyntax(const ReadError& error, const SourceText& source, const ReadElement* open) {
  const std::string& text = source.text();
  if (text.compare(0, 2, "\x1f\x8b") == 0) {
    return {"the input looks like a gzip file; unpack it first", std::nullopt};
  }
  const std::string contradictory = source.contradictoryEncoding();
  if (!contradictory.empty()) {
    return {"the document is in UTF-16, but its XML declaration names " + contradictory + "; name UTF-16 there",
            text.find("encoding")};
  }
  if (error.kind == ReadError::Kind::exception) {
    return hintOnEncoding(error, source);
  }
  if (isSyntax(error, XMLErrs::EmptyMainEntity) || isSyntax(error, XMLErrs::InvalidDocumentStructure)) {
    return {hintOnStart(source), std::nullopt};
  }
  if (isSyntax(error, XMLErrs::InvalidCharacter) || isSyntax(error, XMLErrs::InvalidCharacterInAttrValue)) {
    return {hintOnCharacter(text, error.offset - 1), error.offset - 1};
  }
  if (error.offset < text.size() && text[error.offset] == '\0') {
    return {hintOnCharacter(text, error.offset), error.offset};
  }
  const bool isUnclosed = isSyntax(error, XMLErrs::EndedWithTagsOnStack) || isSyntax(error, XMLErrs::UnexpectedEOE) ||
                          isSyntax(error, XMLErrs::ExpectedEndOfTagX);
  if (open != nullptr && isUnclosed) {
    const bool isWrongEnd = isSyntax(error, XMLErrs::ExpectedEndOfTagX) && error.offset >= 2;
    return {"<" + open->name.name + "> was opened at " + shownPlace(source.place(open->start)),
            isWrongEnd ? std::make_optional(error.offset - 2) : std::nullopt};
  }
  return hintFromTable(error, text);
}

std::string hintOnValue(const std::string& value, const std::string& message,
                        xercesc_3_1::XSSimpleTypeDefinition& type) {
  const std::vector<Allowed> allowed = allowedText(type);
  const auto named =
      std::find_if(allowed.begin(), allowed.end(), [](const Allowed& one) { return one.kind == "type"; });
  std::string hint =
      message.find(value) == std::string::npos || value.empty() ? "the value is " + shownValue(value) : "";
  if (named != allowed.end() && isNumeric(named->text) && value.find(',') != std::string::npos) {
    hint += (hint.empty() ? "" : "; ") + std::string("a number has a point, not a comma, before its fraction");
  }
  return hint;
}

std::string hintOnPrefix(const SourceText& fragment, std::size_t tag, const SourceText& schema) {
  if (fragment.text().find("xmlns=") != std::string::npos) {
    return {};
  }
  for (const Reference& reference : c_references) {
    const std::string name = nameWithoutPrefix(valueOf(fragment, tag, reference.attribute));
    if (name.empty()) {
      continue;
    }
    if (!reference.isToType || definesType(schema, name)) {
      return "write dvrq:" + name + "; a name without prefix is in no namespace";
    }
    return "write a prefix before " + name +
           ": dvrq for a type of the base schema or of a fragment, xs for one of XML "
           "Schema";
  }
  return {};
}

}  // namespace DvRequest
