#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <tools/dvrequest/check/Checker.h>
#include <tools/dvrequest/check/Fragments.h>
#include <tools/dvrequest/check/SchemaModel.h>
#include <tools/dvrequest/commands/Commands.h>
#include <tools/dvrequest/commands/Options.h>
#include <tools/dvrequest/report/JsonReporter.h>
#include <tools/dvrequest/report/TextReporter.h>
#include <tools/dvrequest/support/ExitCode.h>
#include <tools/dvrequest/support/Input.h>
#include <tools/dvrequest/support/Terminal.h>
#include <tools/dvrequest/support/Text.h>

#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace DvRequest {

namespace {

constexpr const char* c_examples =
    "Examples:\n"
    "  dvrequest check request.xml\n"
    "  dvrequest check -f simulation.fragment.xsd packages/\n"
    "  nc -l 5555 | dvrequest check --format json - | jq .verdict\n"
    "Exit code: 0 all valid, 1 some invalid, 2 wrong use or unreadable,\n"
    "  3 some not well-formed, none invalid or refused, 4 a fragment is broken.\n";

struct CheckOptions {
  std::vector<std::string> fragments;
  std::string colour = "auto";
  std::vector<std::string> files;
  std::string format = "text";
  bool noValidation = false;
};

using Counts = std::map<Verdict, std::size_t>;

std::unique_ptr<Reporter> makeReporter(const CheckOptions& options) {
  if (options.format == "json") {
    return std::make_unique<JsonReporter>();
  }
  return std::make_unique<TextReporter>(wantsColour(options.colour));
}

int exitCodeOf(const Counts& counts) {
  const auto seen = [&](Verdict verdict) { return counts.count(verdict) != 0; };
  if (seen(Verdict::unreadable)) {
    return ExitCode::unusable;
  }
  if (seen(Verdict::invalid) || seen(Verdict::refused)) {
    return ExitCode::refused;
  }
  return seen(Verdict::notWellFormed) ? ExitCode::notWellFormed : ExitCode::success;
}

void showSummary(const Counts& counts, std::size_t total) {
  const std::map<Verdict, const char*> names{
      {Verdict::valid, "valid"},     {Verdict::wellFormed, "well-formed"},        {Verdict::invalid, "invalid"},
      {Verdict::refused, "refused"}, {Verdict::notWellFormed, "not well-formed"}, {Verdict::unreadable, "unreadable"}};
  const char* separator = ": ";
  std::cout << counted(total, "file");
  for (const auto& [verdict, count] : counts) {
    std::cout << separator << count << " " << names.at(verdict);
    separator = ", ";
  }
  std::cout << "\n";
}

Counts checkAll(Checker& checker, const std::vector<std::string>& files, Reporter& reporter) {
  Counts counts;
  Progress progress(files.size());
  std::size_t done = 0;
  for (const std::string& file : files) {
    const Report report = checker.check(file);
    progress.clear();
    reporter.show(report);
    ++counts[report.verdict];
    progress.show(++done);
  }
  return counts;
}

int check(const CheckOptions& options) {
  const Fragments fragments(options.fragments);
  const auto reporter = makeReporter(options);
  const std::vector<Report> broken = fragments.check();
  if (!broken.empty()) {
    std::for_each(broken.begin(), broken.end(), [&](const Report& report) { reporter->show(report); });
    return ExitCode::badFragment;
  }
  const Drelvan::ParserSession session(fragments.get());
  SchemaModel schema(fragments.combined());
  const std::vector<std::string> files = expandFolders(options.files);
  Checker checker(schema, !options.noValidation);
  const Counts counts = checkAll(checker, files, *reporter);
  if (options.format == "text" && files.size() > 1) {
    showSummary(counts, files.size());
  }
  return exitCodeOf(counts);
}

}  // namespace

void addCheckCommand(CLI::App& program, int& exitCode) {
  const auto options = std::make_shared<CheckOptions>();
  CLI::App* command = program.add_subcommand("check", "validate packages and show their content");
  command->add_option("files", options->files, "packages, folders of .xml files, or - for stdin")
      ->type_name("FILE|DIR|-")
      ->required();
  addFragmentOption(*command, options->fragments);
  addColourOption(*command, options->colour);
  command->add_option("--format", options->format, "text (default), or json, one object per file")
      ->type_name("text|json")
      ->check(CLI::IsMember({"text", "json"}));
  command->add_flag("--no-validate", options->noValidation, "check only whether they are well-formed");
  command->footer(c_examples);
  command->callback([options, &exitCode] { exitCode = check(*options); });
}

}  // namespace DvRequest
