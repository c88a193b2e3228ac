// sweep-client: submits sweeps to a server, follows them and fetches their results.

#include <examples/parameter_sweep/client/Output.h>
#include <examples/parameter_sweep/client/ParameterTable.h>
#include <examples/parameter_sweep/client/ProgressDisplay.h>
#include <examples/parameter_sweep/client/RemoteJob.h>
#include <examples/parameter_sweep/client/ServerConnection.h>
#include <examples/parameter_sweep/common/SweepEvaluator.h>
#include <examples/parameter_sweep/common/SweepSchema.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <optional>
#include <string>

namespace ParameterSweep {

namespace {

constexpr int c_usageExitCode = 2;

struct Options {
  ConnectionSettings connection;
  std::string keys;
  double timeOut = 10;
  bool json = false;
  bool quiet = false;
  bool wait = false;
  std::string expression;
  std::string parameters;
  std::string job;
  std::string output;
  std::string plot;
};

/// Shows an answer in the form that the user chose.
template <typename Answer>
void show(const Options& options, const Answer& answer, const std::string& text) {
  writeOutput(options.output, options.json ? toJson(answer).dump() + "\n" : text);
}

class Client {
 public:
  explicit Client(const Options& options) : m_options(options), m_connection(options.connection) {}

  int submit() {
    Request request = makeRequest(RequestKind::Submit, SweepJobId());
    request.sweep = {m_options.expression, readParameterFile(m_options.parameters)};
    // Says what is wrong with the expression before anybody is asked to compute it.
    evaluate(request.sweep.expression, request.sweep.vectors.front());
    const auto status = m_connection.ask<JobStatus>(request);
    if (!m_options.wait) {
      show(m_options, status, status.jobId.toString() + "\n");
      return 0;
    }
    if (!m_options.quiet) {
      std::cerr << status.jobId.toString() << std::endl;
    }
    const int outcome = follow(status);
    return outcome == 0 ? fetch(status.jobId) : outcome;
  }

  int status() {
    const auto status = m_connection.ask<JobStatus>(makeRequest(RequestKind::Status, jobId()));
    show(m_options, status, toLine(status));
    return 0;
  }

  int wait() { return follow(m_connection.ask<JobStatus>(makeRequest(RequestKind::Status, jobId()))); }

  int result() { return fetch(jobId()); }

  int cancel() {
    RemoteJob job(m_connection, m_connection.ask<JobStatus>(makeRequest(RequestKind::Status, jobId())));
    job.cancel();
    show(m_options, job.getStatus(), toLine(job.getStatus()));
    return 0;
  }

  int log() {
    const auto log = m_connection.ask<JobMessages>(makeRequest(RequestKind::Log, jobId()));
    show(m_options, log, toLines(log));
    return 0;
  }

 private:
  SweepJobId jobId() const { return SweepJobId::fromText(m_options.job); }

  /// Waits for the job's end; throws its failure.
  int follow(const JobStatus& status) {
    RemoteJob job(m_connection, status);
    {
      std::optional<ProgressDisplay> display;
      if (!m_options.quiet) {
        display.emplace(job, std::cerr, ::isatty(STDERR_FILENO) != 0);
      }
      job.follow();
    }
    if (job.getStatus().failure) {
      throw SweepFailure(*job.getStatus().failure);
    }
    return 0;
  }

  int fetch(const SweepJobId& jobId) {
    const auto result = m_connection.ask<SweepResult>(makeRequest(RequestKind::Result, jobId));
    if (!m_options.plot.empty()) {
      plot(result, m_options.plot);
    }
    if (m_options.plot.empty() || !m_options.output.empty() || m_options.json) {
      show(m_options, result, toCsv(result));
    }
    return 0;
  }

  const Options& m_options;
  ServerConnection m_connection;
};

using Command = std::function<int(Client&)>;

void addJobCommand(CLI::App& app, Options& options, Command& chosen, const char* name, const char* description,
                   int (Client::*operation)()) {
  CLI::App* const command = app.add_subcommand(name, description);
  command->add_option("job", options.job, "the id that submit printed")->required();
  command->add_option("--output", options.output, "file for the answer (default: standard output)");
  if (operation == &Client::result) {
    command->add_option("--plot", options.plot, "SVG file to draw value against realization in");
  }
  command->callback([&chosen, operation] { chosen = operation; });
}

void addSubmit(CLI::App& app, Options& options, Command& chosen) {
  CLI::App* const command = app.add_subcommand("submit", "submit a sweep and print its job id");
  command->add_option("--expression", options.expression, "what to compute, such as 'a*sin(b)'")->required();
  command->add_option("--parameters", options.parameters, "CSV file: names, then one realization a line")->required();
  command->add_flag("--wait", options.wait, "wait for the end and print the results");
  command->add_option("--output", options.output, "file for the answer (default: standard output)");
  command->add_option("--plot", options.plot, "with --wait: SVG file to draw value against realization in");
  command->callback([&chosen] { chosen = &Client::submit; });
}

void addOptions(CLI::App& app, Options& options, Command& chosen) {
  app.require_subcommand(1);
  app.fallthrough();
  options.connection.server = "127.0.0.1:5701";
  app.add_option("--server", options.connection.server, "HOST:PORT of the server")->capture_default_str();
  app.add_option("--keys", options.keys, "the client's key file");
  app.add_option("--timeout", options.timeOut, "seconds to wait for an answer")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  app.add_flag("--json", options.json, "answers and failures as JSON, one object a line");
  app.add_flag("--quiet", options.quiet, "no progress");
  addSubmit(app, options, chosen);
  addJobCommand(app, options, chosen, "status", "tell the state of a job", &Client::status);
  addJobCommand(app, options, chosen, "wait", "follow a job; the exit code is its outcome", &Client::wait);
  addJobCommand(app, options, chosen, "result", "print the results as CSV", &Client::result);
  addJobCommand(app, options, chosen, "cancel", "end a job", &Client::cancel);
  addJobCommand(app, options, chosen, "log", "print the messages of a job", &Client::log);
}

int report(const Options& options, const SweepFailure& failure) {
  const int code = exitCode(failure.getKind());
  if (options.json) {
    std::cerr << toJson(failure, code).dump() << std::endl;
  } else {
    std::cerr << "sweep-client: " << failure.what() << std::endl;
  }
  return code;
}

int run(Options& options, const Command& command) {
  try {
    if (!options.keys.empty()) {
      options.connection.keys = readClientKeys(options.keys);
    }
    options.connection.timeOut = std::chrono::milliseconds(static_cast<std::int64_t>(options.timeOut * 1000));
    const ParserSession parser;
    Client client(options);
    return command(client);
  } catch (const SweepFailure& failure) {
    return report(options, failure);
  } catch (const Drelvan::DvException& exception) {
    return report(options, SweepFailure(FailureKind::LocalTrouble, exception.what()));
  } catch (const std::exception& exception) {
    return report(options, SweepFailure(FailureKind::Internal, exception.what()));
  }
}

/// The user asked for answers; the library's log entries are for those who ask for them.
void quietenLog() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread yet.
  if (std::getenv("DV_LOG_LEVEL") == nullptr) {
    spdlog::set_level(spdlog::level::off);
  }
}

int runProgram(int argc, char* argv[]) {
  try {
    quietenLog();
    Options options;
    Command command;
    CLI::App app("Submits parameter sweeps to a sweep-server and follows them.", "sweep-client");
    addOptions(app, options, command);
    try {
      app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
      return app.exit(error) == 0 ? 0 : c_usageExitCode;
    }
    return run(options, command);
  } catch (const std::exception& exception) {
    std::cerr << "sweep-client: " << exception.what() << "\n";
    return 1;
  }
}

}  // namespace

}  // namespace ParameterSweep

int main(int argc, char* argv[]) { return ParameterSweep::runProgram(argc, argv); }
