#include <spdlog/spdlog.h>
#include <tools/dvrequest/support/Terminal.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string>

namespace DvRequest {

namespace {

constexpr std::chrono::milliseconds c_patience(400);
constexpr std::size_t c_barWidth = 30;

std::string environment(const char* name) {
  const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nothing here sets variables
  return value == nullptr ? std::string() : std::string(value);
}

}  // namespace

void silenceLog() {
  if (environment("DV_LOG_LEVEL").empty()) {
    spdlog::set_level(spdlog::level::off);
  }
}

bool wantsColour(const std::string& when) {
  if (when != "auto") {
    return when == "always";
  }
  return ::isatty(STDOUT_FILENO) != 0 && environment("NO_COLOR").empty() && environment("TERM") != "dumb";
}

Progress::Progress(std::size_t total)
    : m_total(total), m_enabled(total > 1 && ::isatty(STDERR_FILENO) != 0), m_start(std::chrono::steady_clock::now()) {}

Progress::~Progress() { clear(); }

void Progress::show(std::size_t done) {
  if (!m_enabled || std::chrono::steady_clock::now() - m_start < c_patience) {
    return;
  }
  std::cout.flush();
  const std::size_t filled = c_barWidth * done / m_total;
  std::cerr << "\r[" << std::string(filled, '#') << std::string(c_barWidth - filled, '.') << "] " << done << " of "
            << m_total << " files" << std::flush;
  m_visible = true;
}

void Progress::clear() {
  if (m_visible) {
    std::cerr << "\r\033[K" << std::flush;
    m_visible = false;
  }
}

}  // namespace DvRequest
