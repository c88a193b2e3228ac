#pragma once

#include <service/Xerces.h>

#include <cstddef>
#include <string>
#include <xercesc/util/XercesDefs.hpp>

namespace DvRequest {

/// Xerces-C's text as UTF-8; empty for null.
std::string toText(const XMLCh* text);

/// UTF-8 as Xerces-C's text.
std::u16string toWide(const std::string& text);

/// How many bytes the UTF-8 character at `index` has; 0 when there is none.
std::size_t characterLength(const std::string& text, std::size_t index);

/// The last `digits` hexadecimal digits of `value`.
std::string hexadecimal(unsigned int value, unsigned int digits);

/// "1 file", "2 files".
std::string counted(std::size_t count, const std::string& noun);

/// `text` on one line, with control characters, bidirectional controls and bytes that are not UTF-8 written as `\xNN`
/// or `\uNNNN`, so that a document cannot steer the terminal that shows it.
std::string printable(const std::string& text);

/// The JSON text `json` with these characters as `\uNNNN`.
std::string printableJson(const std::string& json);

}  // namespace DvRequest
