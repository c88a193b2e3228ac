#include <examples/parameter_sweep/client/ProgressDisplay.h>

#include <cstddef>
#include <ostream>

namespace ParameterSweep {

ProgressDisplay::ProgressDisplay(RemoteJob& job, std::ostream& stream, bool isTerminal)
    : m_job(job),
      m_stream(stream),
      m_isTerminal(isTerminal),
      m_stateConnection(job.m_stateChanged.connect([this](JobState) { show(); })),
      m_progressConnection(job.m_progressChanged.connect([this](double) { show(); })),
      m_lostConnection(job.m_connectionLost.connect([this] { showLost(); })) {
  show();
}

ProgressDisplay::~ProgressDisplay() {
  if (m_isTerminal) {
    m_stream << std::endl;
  }
}

void ProgressDisplay::show() {
  constexpr std::size_t c_barLength = 40;
  constexpr const char* c_clearRest = "\x1b[K";
  const double progress = m_job.getProgress();
  const std::string text = std::to_string(static_cast<int>(100 * progress)) + " %";
  const std::string state = toText(m_job.getState());
  if (m_isTerminal) {
    const auto done = static_cast<std::size_t>(progress * static_cast<double>(c_barLength));
    m_stream << "\r[" << std::string(done, '#') << std::string(c_barLength - done, '.') << "] " << text << " " << state
             << (m_job.getHost().hasNameOrIp() ? " on " + m_job.getHost().getNameOrIp() : "") << c_clearRest
             << std::flush;
  } else if (const std::string line = state + " " + text; line != m_lastText) {
    m_stream << m_job.getJobId().getName() << " " << line << std::endl;
    m_lastText = line;
  }
}

void ProgressDisplay::showLost() { m_stream << (m_isTerminal ? "\n" : "") << "connection lost" << std::endl; }

}  // namespace ParameterSweep
