#pragma once

#include <string>
#include <xercesc/util/XercesDefs.hpp>

namespace DvRequest {

/// The parser library's text as UTF-8; empty for null.
std::string toText(const XMLCh* text);

/// UTF-8 as the parser library's text.
std::u16string toWide(const std::string& text);

/// "1 file", "2 files".
std::string counted(std::size_t count, const std::string& noun);

/// `text` with control characters written as `\xNN`, so that a document cannot steer the terminal that shows it.
std::string printable(const std::string& text);

}  // namespace DvRequest
