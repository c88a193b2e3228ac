#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Fuzz {

/// Stands between two documents of one input: they are parsed one after the other, so that what one leaves behind for
/// the next is found.
inline constexpr std::string_view c_separator = "\n\x1e\x1e\x1e\n";

std::vector<std::string> splitDocuments(std::string_view input);
std::string joinDocuments(const std::vector<std::string>& documents);

}  // namespace Fuzz
