#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>
#include <service/GeneralServices.h>
#include <tools/dvrequest/commands/Commands.h>
#include <tools/dvrequest/support/ExitCode.h>
#include <tools/dvrequest/support/Text.h>

#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

namespace DvRequest {

namespace {

constexpr const char* c_examples =
    "Examples:\n"
    "  job=$(dvrequest job-id new --prefix Simulation)\n"
    "  dvrequest job-id check \"$job\" && start-job -jobId \"$job\"\n"
    "  dvrequest job-id xml \"$job\"\n"
    "The text form is the name, #, and the unique id. Exit code: 0 good, 1 no job\n"
    "id, 2 wrong use.\n";

/// A new id under a prefix of the user's.
class PrefixedJobId final : public Drelvan::GenericJobId {
 public:
  explicit PrefixedJobId(const std::string& prefix) { setPrefixAndGenerateUniqueId(prefix); }
};

/// Why `prefix` makes no usable id; empty when it does.
std::string errorOfPrefix(const std::string& prefix) {
  if (prefix.empty()) {
    return "the prefix is empty; name what the job is for";
  }
  if (prefix.find('#') != std::string::npos) {
    return "the prefix holds '#', which ends the name in the text form; leave it out";
  }
  if (prefix.find_first_of("<&") != std::string::npos) {
    return "the prefix holds '<' or '&', which the XML form cannot carry; leave it out";
  }
  return prefix == "Invalid" ? "ids with the prefix 'Invalid' are never valid; choose another one" : "";
}

int newId(const std::string& prefix) {
  const std::string error = errorOfPrefix(prefix);
  if (!error.empty()) {
    std::cerr << "dvrequest: " << error << "\n";
    return ExitCode::unusable;
  }
  std::cout << PrefixedJobId(prefix).toString() << "\n";
  return ExitCode::success;
}

struct Reading {
  Drelvan::GenericJobId id;
  std::string error;  ///< empty for a valid id
};

Reading read(std::string text) {
  Reading reading;
  try {
    reading.id = Drelvan::GenericJobId::fromString(text, reading.error);
  } catch (const std::out_of_range&) {
    reading.error = "The name is shorter than '_' and ten characters";
  }
  if (reading.error.empty() && !reading.id.isValid()) {
    reading.error = "The prefix 'Invalid' marks an id that must not be used";
  }
  return reading;
}

int withId(const std::string& text, void (*action)(const Drelvan::GenericJobId&)) {
  const Reading reading = read(text);
  if (!reading.error.empty()) {
    std::cerr << "dvrequest: " << printable(reading.error) << ": '" << printable(text)
              << "'\nA job id reads PREFIX_TENCHARACTERS#UNIQUEID; the ten are the first of the unique id.\n";
    return ExitCode::refused;
  }
  action(reading.id);
  return ExitCode::success;
}

void show(const Drelvan::GenericJobId& id) {
  std::cout << "valid\n  name       " << printable(id.getName()) << "\n  unique id  " << id.getUniqueId() << "\n";
}

void showXml(const Drelvan::GenericJobId& id) {
  std::cout << "<jobId>\n  <id>" << id.getUniqueId() << "</id>\n  <name>" << Drelvan::XmlUtils::toXml(id.getName())
            << "</name>\n</jobId>\n";
}

void addReader(CLI::App& command, int& exitCode, const std::string& name, const std::string& description,
               void (*action)(const Drelvan::GenericJobId&)) {
  const auto text = std::make_shared<std::string>();
  CLI::App* reader = command.add_subcommand(name, description);
  reader->add_option("text", *text, "job id in its text form")->type_name("TEXT")->required();
  reader->callback([text, action, &exitCode] { exitCode = withId(*text, action); });
}

}  // namespace

void addJobIdCommand(CLI::App& program, int& exitCode) {
  CLI::App* command = program.add_subcommand("job-id", "create, check and convert job ids");
  command->require_subcommand(1);
  command->footer(c_examples);
  const auto prefix = std::make_shared<std::string>();
  CLI::App* maker = command->add_subcommand("new", "create a job id and print its text form");
  maker->add_option("--prefix", *prefix, "prefix of the name")->type_name("P")->required();
  maker->callback([prefix, &exitCode] { exitCode = newId(*prefix); });
  addReader(*command, exitCode, "check", "check whether a text is a valid job id", show);
  addReader(*command, exitCode, "xml", "print the XML form of a job id", showXml);
}

}  // namespace DvRequest
