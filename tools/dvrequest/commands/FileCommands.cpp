#include <Platform/RemoteComputation/Service/RequestHandlingBase/WaitingFileUtilities.h>
#include <tools/dvrequest/commands/Commands.h>
#include <tools/dvrequest/support/ExitCode.h>
#include <tools/dvrequest/support/Text.h>

#include <boost/lexical_cast/try_lexical_convert.hpp>
#include <cstdint>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <string>

namespace DvRequest {

namespace {

using Drelvan::WaitingFileUtilities;

constexpr const char* c_exitCodes = "DV_LOG_LEVEL=debug shows each try. Exit code: 0 done, 1 failed, 2 wrong use.\n";

struct FileOptions {
  std::string source;
  std::string target;
  std::uint32_t wait = 1000;
  int tries = 1;
};

using Action = std::function<void(const FileOptions&)>;

int run(const FileOptions& options, const Action& action) {
  try {
    action(options);
    return ExitCode::success;
  } catch (const std::exception& exception) {
    std::cerr << "dvrequest: " << printable(exception.what()) << "\n";
    if (options.tries == 1) {
      std::cerr << "If the file is only busy, use --tries N to try again.\n";
    }
    return ExitCode::refused;
  }
}

std::string checkTries(const std::string& text) {
  int tries = 0;
  const bool isNumber = boost::conversion::try_lexical_convert(text, tries);
  return isNumber && (tries >= 1 || tries == -1) ? "" : "use a number from 1, or -1 for no limit";
}

CLI::App& addCommand(CLI::App& program, int& exitCode, const std::string& name, const std::string& description,
                     const std::string& example, const std::shared_ptr<FileOptions>& options, const Action& action) {
  CLI::App* command = program.add_subcommand(name, description);
  command->add_option("source", options->source, "the file")->type_name("FILE")->required();
  command->add_option("--wait", options->wait, "wait between tries in milliseconds (default 1000)")->type_name("MS");
  command->add_option("--tries", options->tries, "number of tries (default 1); -1 for no limit")
      ->type_name("N")
      ->check(CLI::Validator(checkTries, "", "tries"));
  command->footer("Examples:\n  dvrequest " + name + example + " --wait 500 --tries 20\n" + c_exitCodes);
  command->callback([options, action, &exitCode] { exitCode = run(*options, action); });
  return *command;
}

void addTarget(CLI::App& command, const std::shared_ptr<FileOptions>& options, const char* description) {
  command.add_option("target", options->target, description)->type_name("TARGET")->required();
}

}  // namespace

void addFileCommands(CLI::App& program, int& exitCode) {
  const auto copy = std::make_shared<FileOptions>();
  addTarget(
      addCommand(program, exitCode, "copy", "copy a file, whole or not at all", " result.csv /net/result.csv", copy,
                 [](const FileOptions& options) {
                   WaitingFileUtilities::waitingCopy(options.source, options.target, options.wait, options.tries);
                 }),
      copy, "name of the copy; a file there is replaced");
  const auto rename = std::make_shared<FileOptions>();
  addTarget(addCommand(program, exitCode, "rename", "rename a file, also to another file system",
                       " result.part result.csv", rename,
                       [](const FileOptions& options) {
                         WaitingFileUtilities::waitingRename(options.source, options.target, options.wait,
                                                             options.tries);
                       }),
            rename, "new name; a file there is replaced");
  addCommand(program, exitCode, "remove", "remove a file", " result.csv", std::make_shared<FileOptions>(),
             [](const FileOptions& options) {
               WaitingFileUtilities::waitingRemove(options.source, options.wait, options.tries);
             });
}

}  // namespace DvRequest
