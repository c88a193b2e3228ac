#include <examples/parameter_sweep/client/Options.h>
#include <examples/parameter_sweep/client/Output.h>
#include <examples/parameter_sweep/common/Version.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <boost/lexical_cast/try_lexical_convert.hpp>
#include <iostream>
#include <limits>
#include <nlohmann/json.hpp>

namespace ParameterSweep {

namespace {

std::string refuseEmpty(const std::string& text) { return text.empty() ? "give a file" : ""; }

std::string refuseNoTime(const std::string& text) {
  constexpr double c_most = 1e9;
  double seconds = 0;
  const bool isTime = boost::conversion::try_lexical_convert(text, seconds) && seconds > 0 && seconds <= c_most;
  return isTime ? "" : "use seconds above 0, such as 2.5";
}

/// The characters of a text in UTF-8.
std::size_t countCharacters(const std::string& text) {
  constexpr unsigned c_kind = 0xC0;
  constexpr unsigned c_continuation = 0x80;
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char character) {
    return (static_cast<unsigned char>(character) & c_kind) != c_continuation;
  }));
}

/// A subcommand that sets the command.
CLI::App* addCommand(CLI::App& app, Options& options, Command command, const char* name, const char* description) {
  CLI::App* const subcommand = app.add_subcommand(name, description);
  subcommand->callback([&options, command] { options.command = command; });
  return subcommand;
}

CLI::App* addJobCommand(CLI::App& app, Options& options, Command command, const char* name, const char* description) {
  CLI::App* const subcommand = addCommand(app, options, command, name, description);
  subcommand->add_option("job", options.jobs, "the id that submit printed, or the part after '#'")
      ->required()
      ->expected(1);
  return subcommand;
}

void addJobsCommand(CLI::App& app, Options& options, Command command, const char* name, const char* description) {
  CLI::App* const subcommand = addCommand(app, options, command, name, description);
  subcommand->add_option("jobs", options.jobs, "ids that submit printed, or the parts after '#'")->required();
}

void addSubmit(CLI::App& app, Options& options) {
  constexpr std::size_t c_maxTitle = 200;
  CLI::App* const submit = addCommand(app, options, Command::Submit, "submit", "submit a sweep and print its job id");
  auto* const expression =
      submit->add_option("--expression", options.expression, "what to compute, such as 'a*sin(b)'");
  auto* const parameters = submit->add_option("--parameters", options.parameters,
                                              "CSV file: names, then one realization per line; - for standard input");
  auto* const again = submit->add_option("--again", options.again, "submit the sweep of this job again");
  again->excludes(expression)->excludes(parameters);
  expression->needs(parameters);
  parameters->needs(expression);
  submit->add_option("--name", options.title, "title of the job")->check([](const std::string& text) {
    return countCharacters(text) <= c_maxTitle ? "" : "use at most " + std::to_string(c_maxTitle) + " characters";
  });
  submit->add_option("--priority", options.priority, "jobs with a higher one start earlier")
      ->check(CLI::Range(-100, 100))
      ->capture_default_str();
  submit->add_option("--part-size", options.partSize, "realizations in each part (default: the server chooses)")
      ->check(CLI::Range(std::uint32_t{1}, std::numeric_limits<std::uint32_t>::max()))
      ->excludes(again);
  submit->add_flag("--wait", options.wait, "wait for the end and print the results");
  submit->callback([&options] {
    options.command = Command::Submit;
    if (options.again.empty() && options.expression.empty()) {
      throw CLI::RequiredError("--expression and --parameters, or --again");
    }
  });
}

void addList(CLI::App& app, Options& options) {
  CLI::App* const list = addCommand(app, options, Command::List, "list", "print the jobs, the newest first");
  list->add_option_function<std::string>(
          "--state", [&options](const std::string& state) { options.state = fromText(state, JobState::Unknown); },
          "only jobs in this state: Queued, Running, Finished, Failed, Cancelled or Unknown")
      ->check(CLI::IsMember({"Queued", "Running", "Finished", "Failed", "Cancelled", "Unknown"}));
  list->add_option("--owner", options.owner, "only jobs of the client with this name");
}

void addCommands(CLI::App& app, Options& options) {
  addSubmit(app, options);
  addJobsCommand(app, options, Command::Status, "status", "print the state of jobs");
  addJobsCommand(app, options, Command::Wait, "wait", "wait until jobs end; the exit code is their outcome");
  addJobCommand(app, options, Command::Result, "result", "print the results of a job as CSV");
  addJobsCommand(app, options, Command::Cancel, "cancel", "end jobs");
  addJobsCommand(app, options, Command::Remove, "remove", "remove ended jobs with all that is stored of them");
  for (CLI::App* subcommand :
       {addJobCommand(app, options, Command::Log, "log", "print the messages of a job"),
        addJobCommand(app, options, Command::Output, "output", "print what the programs of a job wrote")}) {
    subcommand->add_flag("--follow", options.follow, "go on until the job has ended");
  }
  addList(app, options);
  addCommand(app, options, Command::Ping, "ping", "print the server's health; exit code 0 when it is healthy");
}

void addOptions(CLI::App& app, Options& options) {
  app.require_subcommand(1);
  app.fallthrough();
  app.set_version_flag("--version", std::string("sweep-client ") + c_version);
  app.add_option("--server", options.connection.server, "HOST:PORT of the server; for IPv6 [ADDRESS]:PORT")
      ->capture_default_str();
  app.add_option("--keys", options.keys, "the client's key file")->check(refuseEmpty);
  app.add_option("--timeout", options.connection.timeOutSeconds, "seconds to wait for an answer")
      ->check(refuseNoTime)
      ->capture_default_str();
  app.add_flag("--json", options.json, "answers and failures as JSON, one object per line");
  app.add_flag("--quiet", options.quiet, "no progress");
  app.add_option("--output", options.output, "file for the answer (default: standard output)")->check(refuseEmpty);
  app.add_option("--plot", options.plot, "with results: SVG file to draw value against realization in")
      ->check(refuseEmpty);
  addCommands(app, options);
}

int reportUsage(const CLI::App& app, const CLI::ParseError& error, bool json) {
  if (error.get_exit_code() == 0 || !json) {
    return app.exit(error) == 0 ? 0 : c_usageExitCode;
  }
  const nlohmann::ordered_json object{{"kind", "WrongUse"}, {"message", error.what()}, {"exitCode", c_usageExitCode}};
  std::cerr << object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << "\n";
  return c_usageExitCode;
}

}  // namespace

std::optional<int> readOptions(int argc, const char* const* argv, Options& options) {
  CLI::App app("Submits parameter sweeps to a sweep-server and follows them.", "sweep-client");
  addOptions(app, options);
  try {
    app.parse(argc, argv);
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    return reportUsage(app, error, std::find(argv, argv + argc, std::string("--json")) != argv + argc);
  }
}

}  // namespace ParameterSweep
