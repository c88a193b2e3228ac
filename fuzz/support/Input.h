#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Fuzz {

inline std::string textOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// The pieces between `separators`, empty ones included.
inline std::vector<std::string> split(std::string_view text, std::string_view separators) {
  std::vector<std::string> pieces;
  for (;;) {
    const std::size_t end = text.find_first_of(separators);
    pieces.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) {
      return pieces;
    }
    text.remove_prefix(end + 1);
  }
}

}  // namespace Fuzz
