#pragma once

#include <examples/parameter_sweep/client/RemoteJob.h>
#include <service/Signals.h>

#include <iosfwd>
#include <string>
#include <vector>

namespace ParameterSweep {

/// Shows a job's progress as long as it exists: one bar that is drawn anew on a terminal, lines elsewhere.
class ProgressDisplay {
 public:
  /// Both objects must outlive the display.
  ProgressDisplay(RemoteJob& job, std::ostream& stream, bool isTerminal);
  ProgressDisplay(const ProgressDisplay&) = delete;
  ProgressDisplay& operator=(const ProgressDisplay&) = delete;
  ~ProgressDisplay();

 private:
  void show();
  void showBar();
  void showLine();

  const RemoteJob& m_job;
  std::ostream& m_stream;
  const bool m_isTerminal;
  std::string m_lastLine;
  std::vector<Signals::ScopedConnection> m_connections;
};

}  // namespace ParameterSweep
