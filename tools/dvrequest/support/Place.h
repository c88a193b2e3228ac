#pragma once

#include <string>
#include <tuple>

namespace DvRequest {

/// A place in a text, counted from 1; line 0 when it is not known.
struct Place {
  long line = 0;
  long column = 0;
};

inline bool operator==(const Place& left, const Place& right) {
  return std::tie(left.line, left.column) == std::tie(right.line, right.column);
}
inline bool operator!=(const Place& left, const Place& right) { return !(left == right); }
inline bool operator<(const Place& left, const Place& right) {
  return std::tie(left.line, left.column) < std::tie(right.line, right.column);
}

/// One error of a document, as the parser reported it.
struct ReportedError {
  std::string severity;  ///< "warning", "error" or "fatal error"
  Place place;           ///< just after what the parser had read
  std::string message;
};

}  // namespace DvRequest
