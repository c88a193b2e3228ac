#pragma once

// Private to the library's source units; not installed.

#include <service/Xerces.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <xercesc/util/XercesDefs.hpp>

namespace Drelvan::Private {

/// Xerces-C's text as UTF-8, whatever the locale; empty for null. Half a surrogate pair becomes U+FFFD.
std::string toUtf8(const XMLCh* text);

/// Appends the same to `utf8`.
void appendUtf8(const XMLCh* text, std::string& utf8);

/// Whether both are the same text.
bool equals(const XMLCh* wide, std::string_view utf8);

/// UTF-8 as Xerces-C's text.
std::u16string toWide(std::string_view utf8);

bool isAscii(std::string_view text);

/// What XML counts as blank.
constexpr bool isBlank(char character) {
  return character == ' ' || character == '\n' || character == '\t' || character == '\r';
}

/// `text` without the blanks around it.
std::string_view trimmed(std::string_view text);

/// The bytes of the UTF-8 sequence at the start of `text`, which is not empty, when it is a character that XML 1.0 can
/// carry; otherwise 0.
std::size_t characterLength(std::string_view text);

}  // namespace Drelvan::Private
