#include <tools/dvrequest/commands/Commands.h>
#include <tools/dvrequest/support/ExitCode.h>
#include <tools/dvrequest/support/Terminal.h>
#include <tools/dvrequest/support/Text.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr const char* c_examples =
    "Examples:\n"
    "  dvrequest check request.xml\n"
    "  dvrequest check --fragment simulation.fragment.xsd --format json packages/\n"
    "  dvrequest schema --fragment simulation.fragment.xsd > packages.xsd\n"
    "  dvrequest copy result.csv /net/results/result.csv --wait 500 --tries 20\n"
    "'dvrequest COMMAND --help' describes a command, 'man dvrequest' all of them.\n";

constexpr const char* c_seeHelp = "Try 'dvrequest --help', or 'dvrequest COMMAND --help'.\n";

/// How many letters must be inserted, removed or replaced to make one word of the other.
std::size_t distance(const std::string& from, const std::string& to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (const char letter : from) {
    std::size_t diagonal = std::exchange(row[0], row[0] + 1);
    for (std::size_t index = 1; index < row.size(); ++index) {
      const std::size_t replaced = diagonal + (letter == to[index - 1] ? 0 : 1);
      diagonal = std::exchange(row[index], std::min({replaced, row[index] + 1, row[index - 1] + 1}));
    }
  }
  return row.back();
}

/// Names the first word that should be a command and is none, with the command that is most like it.
bool reportUnknownCommand(const CLI::App& program, const std::vector<std::string>& words) {
  const CLI::App* app = &program;
  for (const std::string& word : words) {
    auto commands = app->get_subcommands([](const CLI::App*) { return true; });
    if (commands.empty() || word.empty() || word.front() == '-') {
      return false;
    }
    const auto further = [&](const CLI::App* left, const CLI::App* right) {
      return distance(word, left->get_name()) < distance(word, right->get_name());
    };
    app = *std::min_element(commands.begin(), commands.end(), further);
    if (app->get_name() != word) {
      std::cerr << "dvrequest: unknown command '" << DvRequest::printable(word) << "'; the nearest is '"
                << app->get_name() << "'\n"
                << c_seeHelp;
      return true;
    }
  }
  return false;
}

/// For the exit code of a program that has written to standard output.
int finish(int exitCode) {
  if (!std::cout.flush()) {
    std::cerr << "dvrequest: cannot write to standard output\n";
    return DvRequest::ExitCode::unusable;
  }
  return exitCode;
}

int reportUse(const CLI::App& program, const CLI::ParseError& error) {
  if (error.get_exit_code() == 0) {
    return finish(program.exit(error));
  }
  std::cerr << "dvrequest: " << error.what() << "\n" << c_seeHelp;
  return DvRequest::ExitCode::unusable;
}

int run(int argc, char* argv[]) {
  DvRequest::silenceLog();
  int exitCode = DvRequest::ExitCode::success;
  CLI::App program("Work with the request and reply packages of a remote computation service", "dvrequest");
  program.set_version_flag("--version", "dvrequest " DVREQUEST_VERSION);
  program.require_subcommand(1);
  program.footer(c_examples);
  DvRequest::addCheckCommand(program, exitCode);
  DvRequest::addExplainCommand(program, exitCode);
  DvRequest::addSchemaCommand(program, exitCode);
  DvRequest::addJobIdCommand(program, exitCode);
  DvRequest::addHostCommand(program, exitCode);
  DvRequest::addFileCommands(program, exitCode);
  if (reportUnknownCommand(program, {argv + 1, argv + argc})) {
    return DvRequest::ExitCode::unusable;
  }
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return reportUse(program, error);
  }
  return finish(exitCode);
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
