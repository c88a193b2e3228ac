#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <service/ExceptionHandling.h>
#include <tools/dvrequest/check/Fragments.h>
#include <tools/dvrequest/check/TypeTree.h>
#include <tools/dvrequest/commands/Commands.h>
#include <tools/dvrequest/commands/Options.h>
#include <tools/dvrequest/support/ExitCode.h>
#include <tools/dvrequest/support/Text.h>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace DvRequest {

namespace {

constexpr const char* c_explainExamples =
    "Examples:\n"
    "  dvrequest explain DV_RequestPackage\n"
    "  dvrequest explain -f simulation.fragment.xsd SubmitSimulation\n"
    "Exit code: 0 done, 2 wrong use, unreadable or no such type, 4 a fragment is\n"
    "  broken.\n";

struct ExplainOptions {
  std::vector<std::string> fragments;
  std::string type;
};

void showExample(const SchemaModel& schema, const std::string& type) {
  const std::string example = examplePackage(schema, type);
  try {
    if (!example.empty()) {
      Drelvan::PackageDocument::fromText(example);
      std::cout << "\nA valid package with it:\n\n" << example << (example.back() == '\n' ? "" : "\n");
      return;
    }
  } catch (const Drelvan::DvException&) {
    // An example that the library refuses is worse than none.
  }
  std::cout << "\nNo example: no request or reply of the schema contains it.\n";
}

int explainType(const ExplainOptions& options) {
  const Fragments fragments(options.fragments);
  if (!fragments.check().empty()) {
    std::cerr << "dvrequest: a fragment is broken; see 'dvrequest schema --check'\n";
    return ExitCode::badFragment;
  }
  const Drelvan::ParserSession session(fragments.get());
  const SchemaModel schema(fragments.combined());
  const std::string tree = typeTree(schema, options.type);
  if (tree.empty()) {
    std::cerr << "dvrequest: the schema has no type or root element '" << printable(options.type) << "'; it has";
    for (const std::string& name : schema.typeNames()) {
      std::cerr << " " << name;
    }
    std::cerr << "\n";
    return ExitCode::unusable;
  }
  std::cout << tree;
  showExample(schema, options.type);
  return ExitCode::success;
}

}  // namespace

void addExplainCommand(CLI::App& program, int& exitCode) {
  const auto options = std::make_shared<ExplainOptions>();
  CLI::App* command = program.add_subcommand("explain", "print the elements and attributes of a type");
  command->add_option("type", options->type, "name of a type or root element")->type_name("TYPE")->required();
  addFragmentOption(*command, options->fragments);
  command->footer(c_explainExamples);
  command->callback([options, &exitCode] { exitCode = explainType(*options); });
}

}  // namespace DvRequest
