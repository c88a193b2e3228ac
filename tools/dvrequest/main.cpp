#include <tools/dvrequest/CheckCommand.h>
#include <tools/dvrequest/ExitCode.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

namespace {

int reportUse(const CLI::App& program, const CLI::ParseError& error) {
  if (error.get_exit_code() == 0) {
    return program.exit(error);
  }
  std::cerr << "dvrequest: " << error.what() << "\nTry 'dvrequest --help', or 'dvrequest COMMAND --help'.\n";
  return DvRequest::ExitCode::unusable;
}

int run(int argc, char* argv[]) {
  int exitCode = DvRequest::ExitCode::success;
  CLI::App program("Work with the request and reply packages of a remote computation service", "dvrequest");
  program.set_version_flag("--version", "dvrequest " DVREQUEST_VERSION);
  program.require_subcommand(1);
  DvRequest::addCheckCommand(program, exitCode);
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return reportUse(program, error);
  }
  if (!std::cout.flush()) {
    std::cerr << "dvrequest: cannot write to standard output\n";
    return DvRequest::ExitCode::unusable;
  }
  return exitCode;
}

}  // namespace

int main(int argc, char* argv[]) {
  try {
    return run(argc, argv);
  } catch (const std::exception& exception) {
    std::cerr << "dvrequest: " << exception.what() << "\n";
  } catch (...) {
    std::cerr << "dvrequest: unknown failure\n";
  }
  return DvRequest::ExitCode::unusable;
}
