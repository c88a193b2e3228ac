#pragma once

#include <examples/parameter_sweep/engines/JobEngine.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace ParameterSweep {

/// The job program and what it is told.
struct JobProgram {
  std::filesystem::path program;
  std::filesystem::path spool;
  std::uint64_t processorSeconds = 0;  ///< that a part may use; 0 for any
  std::uint64_t memoryMebibytes = 0;   ///< of address space that a part may use; 0 for any
};

/// The program and its arguments for a part: a number, or "slurm" where the cluster says which one.
std::vector<std::string> makeCommand(const JobProgram& program, const Run& run, const std::string& part);
/// The run that such a command is for, also after the words of a launcher; empty for any other command.
std::optional<Run> findRun(const JobProgram& program, const std::vector<std::string>& command);

}  // namespace ParameterSweep
