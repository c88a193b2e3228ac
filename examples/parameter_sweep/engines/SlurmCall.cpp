#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/engines/SlurmAnswers.h>
#include <examples/parameter_sweep/engines/SlurmCall.h>

#include <system_error>

namespace ParameterSweep {

namespace {

constexpr std::chrono::seconds c_longest{60};

}  // namespace

SlurmCall::SlurmCall(const std::vector<std::string>& command, const std::filesystem::path& file)
    : m_program(command.front()),
      m_file(file),
      m_process(LocalProcess::start(command, file, {})),
      m_deadline(std::chrono::steady_clock::now() + c_longest) {}

SlurmCall::~SlurmCall() {
  if (!m_process.hasEnded()) {
    m_process.terminate();
  }
  std::error_code ignored;
  std::filesystem::remove(m_file, ignored);
}

std::optional<SlurmCall::Answer> SlurmCall::poll() {
  if (!m_process.hasEnded()) {
    if (std::chrono::steady_clock::now() < m_deadline) {
      return std::nullopt;
    }
    return Answer{"", m_program + " does not answer"};
  }
  const RunEnd end = m_process.reap();
  try {
    Answer answer{readStoredFile(m_file), ""};
    if (end.exitCode != 0) {
      const std::string complaints = readComplaints(answer.text);
      answer.error =
          m_program + " failed" + (complaints.empty() ? ": " + answer.text.substr(0, 500) : ": " + complaints);
    }
    return answer;
  } catch (const std::exception& exception) {
    return Answer{"", exception.what()};
  }
}

}  // namespace ParameterSweep
