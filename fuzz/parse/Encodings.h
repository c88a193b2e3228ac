#pragma once

#include <string>

namespace Fuzz {

enum class Encoding { Utf8, Utf8Marked, Utf16Little, Utf16LittleMarked, Utf16Big, Utf16BigMarked, Utf32Little, Ebcdic };
inline constexpr unsigned c_encodings = 8;

/// The encoding that the first bytes show.
Encoding encodingOf(const std::string& document);

/// As UTF-8; what cannot be decoded is left out.
std::string decoded(const std::string& document, Encoding encoding);

/// The UTF-8 text in `encoding`; characters that it lacks are left out.
std::string encoded(const std::string& text, Encoding encoding);

}  // namespace Fuzz
