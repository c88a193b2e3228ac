#pragma once

#include <memory>
#include <string>
#include <vector>

namespace DvRequest {

/// One problem of a document, as the parser reported it.
struct Problem {
  std::string severity;  ///< "warning", "error" or "fatal error"
  long line = 0;         ///< from 1; 0 when the place is not known
  long column = 0;       ///< from 1, just behind what was read; 0 when the place is not known
  std::string message;
};

/// What the library logs about documents, taken apart. Standard error shows the log only when the environment variable
/// DV_LOG_LEVEL is set.
class LibraryLog {
 public:
  LibraryLog();
  ~LibraryLog();
  LibraryLog(const LibraryLog&) = delete;
  LibraryLog& operator=(const LibraryLog&) = delete;

  /// The problems logged since the last call, oldest first.
  std::vector<Problem> take();

 private:
  class Sink;
  std::shared_ptr<Sink> m_sink;
};

}  // namespace DvRequest
