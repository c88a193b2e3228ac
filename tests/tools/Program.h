#pragma once

#include <tests/support/Program.h>

#include <string>
#include <vector>

namespace TestSupport {

/// Runs the real dvrequest with these arguments and this standard input, neither of its outputs a terminal.
ProgramRun dvrequest(const std::vector<std::string>& arguments, const std::string& input = {});

/// Runs any program with this standard input.
inline ProgramRun program(const Command& command, const std::string& input = {}) {
  return runProgram(command, {input, {}});
}

/// The path of dvrequest.
std::string dvrequestPath();
/// The path of a file of the example packages.
std::string package(const std::string& name);
/// The fragment that the example packages need.
std::string fragment();
/// The example packages, by name.
std::vector<std::string> allPackages();

}  // namespace TestSupport
