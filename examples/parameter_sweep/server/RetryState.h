#pragma once

#include <examples/parameter_sweep/server/Clocks.h>
#include <service/Logging.h>

#include <string>
#include <utility>

namespace ParameterSweep {

/// An operation that fails temporarily: when to retry it, with one log entry when the failure starts and one when it
/// ends.
///
/// Threads: one.
class RetryState {
 public:
  /// `what` goes on as in "cannot read results".
  explicit RetryState(std::string what) : m_what(std::move(what)) {}

  /// Whether the operation may be tried now.
  bool isDue(TimePoint now) const { return now >= m_next; }

  void failed(TimePoint now, const std::string& reason) {
    if (m_failures == 0) {
      logger().logERROR("cannot " + m_what + " now, will retry: " + reason, __FILE__, __func__, __LINE__);
    }
    // Calls that were made together count once.
    if (isDue(now)) {
      m_next = now + pauseAfter(++m_failures);
    }
    m_reason = reason;
  }

  void succeeded() {
    if (m_failures != 0) {
      logger().logINFO("can " + m_what + " again", __FILE__, __func__, __LINE__);
      m_failures = 0;
      m_next = {};
      m_reason.clear();
    }
  }

  /// Empty when the last call succeeded.
  const std::string& getReason() const { return m_reason; }

 private:
  static Drelvan::Logging& logger() {
    static Drelvan::Logging s_logger(__FILE__);
    return s_logger;
  }

  std::string m_what;
  std::string m_reason;
  std::uint32_t m_failures = 0;
  TimePoint m_next{};
};

}  // namespace ParameterSweep
