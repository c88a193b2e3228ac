#pragma once

#include <examples/parameter_sweep/client/RemoteJob.h>
#include <service/Signals.h>

#include <iosfwd>
#include <string>

namespace ParameterSweep {

/// Shows a job's progress as long as it exists: one bar that is drawn anew on a terminal, lines elsewhere.
/// Threads: one.
class ProgressDisplay {
 public:
  /// Both objects must outlive the display.
  ProgressDisplay(RemoteJob& job, std::ostream& stream, bool isTerminal);
  ProgressDisplay(const ProgressDisplay&) = delete;
  ProgressDisplay& operator=(const ProgressDisplay&) = delete;
  ~ProgressDisplay();

 private:
  void show();
  void showLost();

  const RemoteJob& m_job;
  std::ostream& m_stream;
  const bool m_isTerminal;
  std::string m_lastText;
  Signals::ScopedConnection m_stateConnection;
  Signals::ScopedConnection m_progressConnection;
  Signals::ScopedConnection m_lostConnection;
};

}  // namespace ParameterSweep
