#include <tools/dvrequest/Commands.h>
#include <tools/dvrequest/ExitCode.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

namespace {

constexpr const char* c_examples =
    "Examples:\n"
    "  dvrequest check request.xml\n"
    "  dvrequest check --fragment simulation.fragment.xsd --format json packages/\n"
    "  dvrequest schema --fragment simulation.fragment.xsd > packages.xsd\n"
    "  dvrequest copy result.csv /net/results/result.csv --wait 500 --tries 20\n"
    "'dvrequest COMMAND --help' tells more, 'man dvrequest' everything.\n";

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
  program.footer(c_examples);
  DvRequest::addCheckCommand(program, exitCode);
  DvRequest::addSchemaCommand(program, exitCode);
  DvRequest::addJobIdCommand(program, exitCode);
  DvRequest::addHostCommand(program, exitCode);
  DvRequest::addFileCommands(program, exitCode);
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
