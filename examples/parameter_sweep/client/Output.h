#pragma once

#include <examples/parameter_sweep/common/Messages.h>

#include <exception>
#include <string>

/// What the client shows of the server's answers: lines for people and scripts, and JSON objects, one per line.
namespace ParameterSweep {

enum class Form { Text, Json };

/// Text: one line of id, state, progress, parts, host and failure.
std::string show(const JobStatus& status, Form form);
/// Text: one line for each job. JSON: one object for each job.
std::string show(const JobList& list, Form form);
/// Text: CSV, a line of names and then one for each realization.
std::string show(const SweepResult& result, Form form);
/// Text: one line for each message.
std::string show(const JobMessages& log, Form form);
/// Text: what is there, as it is.
std::string show(const JobOutput& output, Form form);
/// Text: the id of the job.
std::string show(const JobRemoved& removed, Form form);
/// Text: one line; `isHealthy` is its first word.
std::string show(const ServerHealth& health, Form form);
/// Text: one line that begins with the program's name.
std::string show(const SweepFailure& failure, Form form);

bool isHealthy(const ServerHealth& health);

/// The progress in percent and the parts, such as "40 %, 4 of 10 parts".
std::string showProgress(const JobStatus& status);

/// Writes a whole file, or standard output for an empty name. Throws `SweepFailure` (`LocalFailure`) or `DvException`
/// with an existing file unchanged.
void writeOutput(const std::string& file, const std::string& text);

/// The exception as a failure to report. An error of the system is `LocalFailure`.
SweepFailure toFailure(const std::exception& exception);

/// The client's exit code for a failure; sweep-client.1 lists them.
int exitCode(FailureKind kind);
inline constexpr int c_usageExitCode = 2;

}  // namespace ParameterSweep
