#include <examples/parameter_sweep/client/ProgressDisplay.h>

#include <cmath>
#include <cstddef>
#include <ostream>
#include <string>

namespace ParameterSweep {

namespace {

constexpr std::size_t c_barLength = 40;

std::string percent(double progress) { return std::to_string(static_cast<int>(std::floor(100 * progress))) + " %"; }

}  // namespace

ProgressDisplay::ProgressDisplay(RemoteJob& job, std::ostream& stream, bool isTerminal)
    : m_job(job), m_stream(stream), m_isTerminal(isTerminal) {
  m_connections.emplace_back(job.m_stateChanged.connect([this](JobState) { show(); }));
  m_connections.emplace_back(job.m_progressChanged.connect([this](double) { show(); }));
  m_connections.emplace_back(job.m_connectionLost.connect(
      [this] { m_stream << (m_isTerminal ? "\n" : "") << "connection lost" << std::endl; }));
  show();
}

ProgressDisplay::~ProgressDisplay() {
  if (m_isTerminal) {
    m_stream << std::endl;
  }
}

void ProgressDisplay::show() {
  if (m_isTerminal) {
    showBar();
  } else {
    showLine();
  }
}

void ProgressDisplay::showBar() {
  constexpr const char* c_clearRest = "\x1b[K";
  const auto done = static_cast<std::size_t>(m_job.getProgress() * static_cast<double>(c_barLength));
  m_stream << "\r[" << std::string(done, '#') << std::string(c_barLength - done, '.') << "] "
           << percent(m_job.getProgress()) << " " << toText(m_job.getState());
  if (m_job.getHost().hasNameOrIp()) {
    m_stream << " on " << m_job.getHost().getNameOrIp();
  }
  m_stream << c_clearRest << std::flush;
}

void ProgressDisplay::showLine() {
  const std::string line = std::string(toText(m_job.getState())) + " " + percent(m_job.getProgress());
  if (line != m_lastLine) {
    m_stream << m_job.getJobId().getName() << " " << line << std::endl;
    m_lastLine = line;
  }
}

}  // namespace ParameterSweep
