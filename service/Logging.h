#pragma once

#include <service/DVMService_Logging_export.h>

#include <string>

namespace Drelvan {

/// A named source of log entries, one per source unit that logs.
///
/// Threads: every member may be called from any thread at any time, also while another thread reconfigures the output.
///
/// The embedded service layer passes each entry, at the time of the call, to spdlog's default logger, so a program
/// sets sinks, pattern, rotation or asynchronous delivery with spdlog itself. The default is standard error, level INFO
/// and above. Two environment variables, read once when the library is loaded, change it:
/// `DV_LOG_LEVEL` (trace, debug, info, warn, error, off) and `DV_LOG_FORMAT` (text, json). An unknown value is
/// reported once on standard error and ignored. Text form indents the continuation lines of a message, so that no
/// message can look like another entry; JSON form writes each entry as one line of valid JSON.
///
/// No operation throws when an output fails: spdlog's error handler reports that.
class DVMSERVICE_LOGGING_EXPORT Logging {
 public:
  /// `name` is by convention the path of the source unit that owns it.
  explicit Logging(const std::string& name);
  ~Logging();
  Logging(const Logging&) = delete;
  Logging& operator=(const Logging&) = delete;

  /// @{
  /// Writes one entry at this level. `file`, `function` and `line` are the source location of the call, and are read
  /// during the call only; null texts count as empty.
  void logTRACE(const std::string& message, const char* file, const char* function, int line);
  void logDEBUG(const std::string& message, const char* file, const char* function, int line);
  void logINFO(const std::string& message, const char* file, const char* function, int line);
  void logWARN(const std::string& message, const char* file, const char* function, int line);
  void logERROR(const std::string& message, const char* file, const char* function, int line);
  /// @}

  /// The name given at construction.
  const std::string& getName() const;

 private:
  std::string m_name;
};

}  // namespace Drelvan
