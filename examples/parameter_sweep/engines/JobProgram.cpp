#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/engines/JobProgram.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace ParameterSweep {

namespace {

bool readNumber(const std::string& text, std::uint32_t& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

std::vector<std::string> makeCommand(const JobProgram& program, const Run& run, const std::string& part) {
  std::vector<std::string> command{program.program.string(), program.spool.string(), part, std::to_string(run.attempt)};
  if (program.processorSeconds > 0) {
    command.insert(command.end(), {"--processor-time", std::to_string(program.processorSeconds)});
  }
  if (program.memoryMebibytes > 0) {
    command.insert(command.end(), {"--memory", std::to_string(program.memoryMebibytes)});
  }
  run.jobId.toCmd(command);
  return command;
}

std::optional<Run> findRun(const JobProgram& program, const std::vector<std::string>& command) {
  const std::array<std::string, 2> begin{program.program.string(), program.spool.string()};
  const auto found = std::search(command.begin(), command.end(), begin.begin(), begin.end());
  if (command.end() - found < 4) {
    return std::nullopt;
  }
  Run run;
  const bool isRun = readNumber(found[2], run.part) && readNumber(found[3], run.attempt);
  try {
    run.jobId = SweepJobId::fromCmd({found, command.end()});
  } catch (const SweepFailure&) {
    return std::nullopt;
  }
  return isRun ? std::optional(run) : std::nullopt;
}

}  // namespace ParameterSweep
