#pragma once

#include <string>
#include <vector>

namespace TestSupport {

/// How a run of dvrequest ended.
struct ProgramRun {
  int exitCode = -1;  ///< -1 when a signal ended it
  std::string output;
  std::string errors;
};

/// Runs the real dvrequest with these arguments and this standard input, neither of its outputs a terminal.
ProgramRun dvrequest(const std::vector<std::string>& arguments, const std::string& input = {});

/// Runs any program, found by PATH unless it is named by its path.
ProgramRun program(const std::vector<std::string>& command, const std::string& input = {});

/// The path of dvrequest.
std::string dvrequestPath();
/// The path of a file of the example packages.
std::string package(const std::string& name);
/// The fragment that the example packages need.
std::string fragment();
/// The example packages, by name.
std::vector<std::string> allPackages();

std::vector<std::string> linesOf(const std::string& text);

}  // namespace TestSupport
