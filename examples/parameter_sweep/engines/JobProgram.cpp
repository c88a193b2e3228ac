#include <examples/parameter_sweep/engines/JobProgram.h>

namespace ParameterSweep {

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

}  // namespace ParameterSweep
