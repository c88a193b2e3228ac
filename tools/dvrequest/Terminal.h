#pragma once

#include <chrono>
#include <cstddef>

namespace DvRequest {

/// Whether standard output is a terminal that wants colours: not when NO_COLOR is set or TERM is "dumb".
bool wantsColour();

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
