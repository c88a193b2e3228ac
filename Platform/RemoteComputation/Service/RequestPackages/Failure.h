#pragma once

// Private to the library's source units; not installed.

#include <string>
#include <string_view>

namespace Drelvan::Private {

/// Throws a `DvException` of the group "RequestPackages" from `function`; `file` is its source.
[[noreturn]] void fail(const char* function, const char* file, int line, const std::string& message);

/// `text` between quotes; what is longer than a line is cut.
std::string quoted(std::string_view text);

}  // namespace Drelvan::Private
