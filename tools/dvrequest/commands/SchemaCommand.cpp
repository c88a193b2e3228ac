#include <tools/dvrequest/check/Fragments.h>
#include <tools/dvrequest/commands/Commands.h>
#include <tools/dvrequest/commands/Options.h>
#include <tools/dvrequest/report/TextReporter.h>
#include <tools/dvrequest/support/ExitCode.h>
#include <tools/dvrequest/support/Terminal.h>
#include <tools/dvrequest/support/Text.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace DvRequest {

namespace {

constexpr const char* c_examples =
    "Examples:\n"
    "  dvrequest schema -f simulation.fragment.xsd > packages.xsd\n"
    "  xmllint --noout --schema packages.xsd request.xml\n"
    "  dvrequest schema -f simulation.fragment.xsd --check\n"
    "Exit code: 0 done, 2 wrong use or unreadable, 4 a fragment is broken.\n";

struct SchemaOptions {
  std::vector<std::string> fragments;
  std::string colour = "auto";
  bool check = false;
};

int checkSchema(const SchemaOptions& options, const Fragments& fragments) {
  const std::vector<Report> broken = fragments.check();
  TextReporter reporter(wantsColour(options.colour));
  std::for_each(broken.begin(), broken.end(), [&](const Report& report) { reporter.show(report); });
  if (!broken.empty()) {
    return ExitCode::badFragment;
  }
  std::cout << "The base schema and " << counted(options.fragments.size(), "fragment") << ": no errors\n";
  return ExitCode::success;
}

int schema(const SchemaOptions& options) {
  const Fragments fragments(options.fragments);
  if (options.check) {
    return checkSchema(options, fragments);
  }
  std::cout << fragments.combined();
  return ExitCode::success;
}

}  // namespace

void addSchemaCommand(CLI::App& program, int& exitCode) {
  const auto options = std::make_shared<SchemaOptions>();
  CLI::App* command = program.add_subcommand("schema", "print the schema of all packages, or check it");
  addFragmentOption(*command, options->fragments);
  addColourOption(*command, options->colour);
  command->add_flag("--check", options->check, "report errors in the fragments instead");
  command->footer(c_examples);
  command->callback([options, &exitCode] { exitCode = schema(*options); });
}

}  // namespace DvRequest
