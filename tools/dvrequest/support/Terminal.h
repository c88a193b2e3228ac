#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace DvRequest {

/// Keeps the library's log off standard error unless the environment variable DV_LOG_LEVEL is set.
void silenceLog();

/// Whether to colour standard output. `when` is "always", "never" or "auto", for a terminal only, unless NO_COLOR is
/// set or TERM is "dumb".
bool wantsColour(const std::string& when);

/// A bar on standard error that shows how many of a number of files are done, once they take long. Nothing is shown for
/// a single file or where standard error is no terminal.
class Progress {
 public:
  explicit Progress(std::size_t total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(std::size_t done);
  /// Makes room for other output.
  void clear();

 private:
  const std::size_t m_total;
  const bool m_enabled;
  const std::chrono::steady_clock::time_point m_start;
  bool m_visible = false;
};

}  // namespace DvRequest
