#pragma once

#include <string>
#include <vector>

namespace ParameterSweep {

/// The words of a command line as a shell reads them, with its quotes, variables and patterns. No shell is started, and
/// no command in it is run. Throws `std::invalid_argument`, with what to do, for what only a shell can do.
std::vector<std::string> splitCommand(const std::string& text);

}  // namespace ParameterSweep
