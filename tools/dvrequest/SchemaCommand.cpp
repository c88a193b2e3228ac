#include <tools/dvrequest/Commands.h>
#include <tools/dvrequest/ExitCode.h>
#include <tools/dvrequest/FragmentCheck.h>
#include <tools/dvrequest/Fragments.h>
#include <tools/dvrequest/ParserPlatform.h>
#include <tools/dvrequest/SchemaModel.h>
#include <tools/dvrequest/SchemaOptions.h>
#include <tools/dvrequest/Terminal.h>
#include <tools/dvrequest/Text.h>
#include <tools/dvrequest/TextReporter.h>

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
  bool check = false;
};

int checkSchema(const std::vector<Fragment>& fragments) {
  const ParserPlatform platform;
  const SchemaModel schema(combinedSchema(fragments));
  const std::vector<Report> broken = checkFragments(fragments, schema);
  TextReporter reporter(wantsColour());
  std::for_each(broken.begin(), broken.end(), [&](const Report& report) { reporter.show(report); });
  if (!broken.empty()) {
    return ExitCode::badFragment;
  }
  std::cout << "The base schema and " << counted(fragments.size(), "fragment") << ": sound\n";
  return ExitCode::success;
}

int schema(const SchemaOptions& options) {
  const std::vector<Fragment> fragments = readFragments(options.fragments);
  if (options.check) {
    return checkSchema(fragments);
  }
  std::cout << combinedSchema(fragments);
  return ExitCode::success;
}

}  // namespace

void addSchemaCommand(CLI::App& program, int& exitCode) {
  const auto options = std::make_shared<SchemaOptions>();
  CLI::App* command = program.add_subcommand("schema", "write the schema of all packages, or check it");
  addFragmentOption(*command, options->fragments);
  command->add_flag("--check", options->check, "say what is wrong with the fragments instead");
  command->footer(c_examples);
  command->callback([options, &exitCode] { exitCode = schema(*options); });
}

}  // namespace DvRequest
