#pragma once

#include <examples/parameter_sweep/client/ServerConnection.h>
#include <examples/parameter_sweep/common/Messages.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ParameterSweep {

/// The commands of the program.
enum class Command { Submit, Status, Wait, Result, Cancel, Remove, Log, Output, List, Ping };

/// What the user asks for.
struct Options {
  Command command = Command::Ping;
  ConnectionSettings connection;
  std::string keys;
  bool json = false;
  bool quiet = false;
  std::string output;
  std::string plot;
  std::vector<std::string> jobs;
  bool wait = false;    ///< of `Submit`
  bool follow = false;  ///< of `Log` and `Output`

  // Of `Submit`.
  std::string expression;
  std::string parameters;
  std::string again;
  std::string title;
  std::int32_t priority = 0;
  std::uint32_t partSize = 0;

  // Of `List`.
  std::optional<JobState> state;
  std::optional<std::string> owner;
};

/// Reads the command line. Returns the exit code when there is nothing left to do: help or version was asked for and
/// printed, or the use is wrong and was reported.
std::optional<int> readOptions(int argc, const char* const* argv, Options& options);

}  // namespace ParameterSweep
