#pragma once

#include <functional>
#include <string>
#include <vector>

namespace TestSupport {

/// One call of a logger.
struct LogEntry {
  std::string level;  ///< "TRACE", "DEBUG", "INFO", "WARN" or "ERROR"
  std::string message;
  std::string file;
  std::string function;
  int line;
  std::string logger;  ///< the name that the logger was made with
};

/// All that was logged in this process since the last `clear`, in order. Linking `test_recording_logging` puts this in
/// place of the logging service. Safe from any thread.
class RecordingLog {
 public:
  static std::vector<LogEntry> entries();
  /// The entries and removes them.
  static std::vector<LogEntry> take();
  static void clear();

  /// "LEVEL message" of every entry.
  static std::vector<std::string> lines();

  /// Has `action` called at each entry before it is recorded, for faults within a log call; null for none.
  static void onEntry(std::function<void(const LogEntry&)> action);

  /// Loggers that exist now, by name.
  static std::vector<std::string> loggers();
};

}  // namespace TestSupport
