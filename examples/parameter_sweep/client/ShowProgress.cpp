#include <examples/parameter_sweep/client/Output.h>
#include <examples/parameter_sweep/client/ShowProgress.h>

#include <cstddef>
#include <memory>
#include <ostream>
#include <string>

namespace ParameterSweep {

namespace {

std::string line(const RemoteJob& job) {
  return job.getJobId().toString() + " " + toText(job.getState()) + " " + showProgress(job.getStatus()) + "\n";
}

std::string bar(const RemoteJob& job) {
  constexpr std::size_t c_length = 40;
  constexpr const char* c_clearRest = "\x1b[K";
  const auto done = static_cast<std::size_t>(job.getProgress() * static_cast<double>(c_length));
  const std::string host = job.getHost().hasNameOrIp() ? " on " + job.getHost().getNameOrIp() : "";
  return "\r[" + std::string(done, '#') + std::string(c_length - done, '.') + "] " + showProgress(job.getStatus()) +
         " " + toText(job.getState()) + host + c_clearRest + (isEnd(job.getState()) ? "\n" : "");
}

}  // namespace

void showProgress(RemoteJob& job, std::ostream& stream, ProgressForm form) {
  const bool isBar = form == ProgressForm::Bar;
  const auto show = [&job, &stream, isBar, last = std::make_shared<std::string>()] {
    const std::string text = isBar ? bar(job) : line(job);
    stream << (text == *last ? "" : text) << std::flush;
    *last = text;
  };
  job.m_stateChanged.connect([show](JobState) { show(); });
  job.m_progressChanged.connect([show](double) { show(); });
  job.m_connectionLost.connect([&stream, isBar] { stream << (isBar ? "\n" : "") << "connection lost\n"; });
  show();
}

}  // namespace ParameterSweep
