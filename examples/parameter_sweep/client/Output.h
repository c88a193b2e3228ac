#pragma once

#include <examples/parameter_sweep/common/Messages.h>

#include <nlohmann/json.hpp>
#include <string>

/// What the client shows of the server's answers.
namespace ParameterSweep {

nlohmann::ordered_json toJson(const JobStatus& status);
nlohmann::ordered_json toJson(const SweepResult& result);
nlohmann::ordered_json toJson(const JobMessages& log);
nlohmann::ordered_json toJson(const SweepFailure& failure);

/// One line; bytes that are not UTF-8 become U+FFFD.
std::string toLine(const nlohmann::ordered_json& json);

/// One line: name, state, progress, host and failure.
std::string toLines(const JobStatus& status);
/// CSV: a line of names, then one line for each realization.
std::string toLines(const SweepResult& result);
/// One line for each message.
std::string toLines(const JobMessages& log);

/// Writes a whole file, or standard output for an empty name. Throws `DvException` with an existing file unchanged.
void writeOutput(const std::string& file, const std::string& text);

/// Draws value against realization into an SVG file. Throws `SweepFailure` (`LocalTrouble`) when gnuplot does not.
void plot(const SweepResult& result, const std::string& file);

/// The client's exit code for a failure; README.md lists them.
int exitCode(FailureKind kind);

}  // namespace ParameterSweep
