#pragma once

#include <examples/parameter_sweep/engines/JobEngine.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

/// What Slurm's programs answer, checked. An answer of another form is no answer.
namespace ParameterSweep {

/// A task of an array as Slurm knows it.
struct SlurmTask {
  std::string id;                                   ///< ARRAY_TASK
  std::string name;                                 ///< of the job
  RunReport::Kind kind = RunReport::Kind::Waiting;  ///< `Waiting`, `Running` or `Ended`
  RunEnd end = {};
  std::chrono::milliseconds age{0};  ///< of one that runs
};

/// The number of the array in the answer of `sbatch --parsable`; empty for any other text.
std::optional<std::string> readArrayId(const std::string& answer);

/// Whether it is the id of a task of an array.
bool isTaskId(const std::string& text);

/// The fields to ask `squeue` for, in its option `--Format`.
extern const char* const c_queueFormat;
/// Empty when a line is of another form.
std::optional<std::vector<SlurmTask>> readQueue(const std::string& answer);

/// The fields to ask `sacct` for, in its option `--format`.
extern const char* const c_accountFormat;
/// As `readQueue`; tasks that have not ended are left out.
std::optional<std::vector<SlurmTask>> readAccounts(const std::string& answer);

/// What the programs say about themselves in an answer: the lines that begin with their name.
std::string readComplaints(const std::string& answer);

}  // namespace ParameterSweep
