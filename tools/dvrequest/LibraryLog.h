#pragma once

#include <tools/dvrequest/Place.h>

#include <memory>
#include <string>
#include <vector>

namespace DvRequest {

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
