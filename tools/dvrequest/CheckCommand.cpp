#include <tools/dvrequest/CheckCommand.h>
#include <tools/dvrequest/Checker.h>
#include <tools/dvrequest/ExitCode.h>
#include <tools/dvrequest/Fragments.h>
#include <tools/dvrequest/Input.h>
#include <tools/dvrequest/TextReporter.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace DvRequest {

namespace {

struct CheckOptions {
  std::vector<std::string> fragments;
  std::vector<std::string> files;
  bool noValidation = false;
};

int exitCodeOf(const std::set<Verdict>& verdicts) {
  const auto seen = [&](Verdict verdict) { return verdicts.count(verdict) != 0; };
  if (seen(Verdict::unreadable)) {
    return ExitCode::unusable;
  }
  if (seen(Verdict::invalid)) {
    return ExitCode::refused;
  }
  return seen(Verdict::notWellFormed) ? ExitCode::notWellFormed : ExitCode::success;
}

int check(const CheckOptions& options) {
  const std::vector<Fragment> fragments = readFragments(options.fragments);
  const std::vector<std::string> files = expandFolders(options.files);
  TextReporter reporter(false);
  Checker checker(fragments, !options.noValidation);
  std::set<Verdict> verdicts;
  for (const std::string& file : files) {
    const Report report = checker.check(file);
    reporter.show(report);
    verdicts.insert(report.verdict);
  }
  return exitCodeOf(verdicts);
}

}  // namespace

void addCheckCommand(CLI::App& program, int& exitCode) {
  const auto options = std::make_shared<CheckOptions>();
  CLI::App* command = program.add_subcommand("check", "Say what a service program would make of packages");
  command->add_option("-f,--fragment", options->fragments, "Schema fragment to join with the base schema; repeatable")
      ->type_name("FILE")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command->add_flag("--no-validate", options->noValidation, "Only ask whether the documents are well-formed");
  command
      ->add_option("files", options->files,
                   "Packages; a folder stands for the .xml files below it, - for standard input")
      ->type_name("FILE|DIR|-")
      ->required();
  command->callback([options, &exitCode] { exitCode = check(*options); });
}

}  // namespace DvRequest
