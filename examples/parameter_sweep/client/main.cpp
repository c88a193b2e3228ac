// sweep-client: submits sweeps to a server, follows them and fetches their results.

#include <examples/parameter_sweep/client/Output.h>
#include <examples/parameter_sweep/client/ParameterTable.h>
#include <examples/parameter_sweep/client/RemoteJob.h>
#include <examples/parameter_sweep/client/ServerConnection.h>
#include <examples/parameter_sweep/client/ShowProgress.h>
#include <examples/parameter_sweep/common/SweepEvaluator.h>
#include <examples/parameter_sweep/common/SweepSchema.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <boost/lexical_cast/try_lexical_convert.hpp>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <system_error>

namespace ParameterSweep {

namespace {

constexpr int c_usageExitCode = 2;

struct Options {
  ConnectionSettings connection;
  std::string keys;
  bool json = false;
  bool quiet = false;
  bool wait = false;
  std::string expression;
  std::string parameters;
  std::string job;
  std::string output;
  std::string plot;
};

/// What went wrong, as the user is told. What the system refuses is trouble on this machine.
SweepFailure toFailure(const std::exception& exception) {
  if (const auto* failure = dynamic_cast<const SweepFailure*>(&exception)) {
    return *failure;
  }
  const bool isLocal = dynamic_cast<const Drelvan::DvException*>(&exception) != nullptr ||
                       dynamic_cast<const std::system_error*>(&exception) != nullptr;
  return {isLocal ? FailureKind::LocalTrouble : FailureKind::Internal, exception.what()};
}

/// The commands of the program. Whatever fails throws.
class Client {
 public:
  explicit Client(const Options& options) : m_options(options), m_connection(options.connection) {}

  void submit() {
    const Sweep sweep{m_options.expression, readParameterFile(m_options.parameters)};
    // Says what is wrong with the expression before anybody is asked to compute it.
    evaluate({sweep.expression, {sweep.vectors.front()}}, [](std::size_t) {});
    const Request request{RequestKind::Submit, SweepJobId(), sweep};
    const std::string job = request.jobId.toString();
    m_connection.connect();  // nothing was sent yet: who fails here has no job
    bool isTold = false;
    try {
      const auto status = m_connection.ask<JobStatus>(request);
      if (!m_options.wait) {
        show(status, job + "\n");
        return;
      }
      if (!m_options.quiet) {
        std::cerr << job << std::endl;
        isTold = true;
      }
      follow(status);
      fetch(status.jobId);
    } catch (const std::exception& exception) {
      // Nobody else knows the id of a job that was accepted, or may have been.
      const SweepFailure failure = toFailure(exception);
      const bool isRefused = exitCode(failure.getKind()) == exitCode(FailureKind::UnknownRequest);
      throw SweepFailure(failure.getKind(),
                         failure.getMessage() + (isTold || isRefused ? "" : "; if it was accepted, the job is " + job));
    }
  }

  void status() {
    const auto status = askStatus();
    show(status, toLines(status));
  }

  void wait() { follow(askStatus()); }

  void result() { fetch(jobId()); }

  void cancel() {
    RemoteJob job(m_connection, askStatus());
    job.cancel();
    show(job.getStatus(), toLines(job.getStatus()));
  }

  void log() {
    const auto log = m_connection.ask<JobMessages>({RequestKind::Log, jobId()});
    show(log, toLines(log));
  }

 private:
  SweepJobId jobId() const { return SweepJobId::fromText(m_options.job); }

  JobStatus askStatus() { return m_connection.ask<JobStatus>({RequestKind::Status, jobId()}); }

  /// Shows an answer in the form that the user chose.
  template <typename Answer>
  void show(const Answer& answer, const std::string& text) const {
    writeOutput(m_options.output, m_options.json ? toLine(toJson(answer)) : text);
  }

  /// Waits for the job's end; throws its failure.
  void follow(const JobStatus& status) {
    RemoteJob job(m_connection, status);
    if (!m_options.quiet) {
      showProgress(job, std::cerr, ::isatty(STDERR_FILENO) != 0);
    }
    job.follow();
    if (job.getStatus().failure) {
      throw SweepFailure(*job.getStatus().failure);
    }
  }

  void fetch(const SweepJobId& jobId) {
    const auto result = m_connection.ask<SweepResult>({RequestKind::Result, jobId});
    if (m_options.plot.empty() || !m_options.output.empty() || m_options.json) {
      show(result, toLines(result));
    }
    if (!m_options.plot.empty()) {
      plot(result, m_options.plot);
    }
  }

  const Options& m_options;
  ServerConnection m_connection;
};

using Command = void (Client::*)();

void addJobCommand(CLI::App& app, Options& options, Command& chosen, const char* name, const char* description,
                   Command command) {
  CLI::App* const subcommand = app.add_subcommand(name, description);
  subcommand->add_option("job", options.job, "the id that submit printed")->required();
  subcommand->callback([&chosen, command] { chosen = command; });
}

std::string refuseNoTime(const std::string& text) {
  constexpr double c_most = 1e9;
  double seconds = 0;
  const bool isTime = boost::conversion::try_lexical_convert(text, seconds) && seconds > 0 && seconds <= c_most;
  return isTime ? "" : "use seconds above 0, such as 2.5";
}

void addOptions(CLI::App& app, Options& options, Command& chosen) {
  app.require_subcommand(1);
  app.fallthrough();
  app.add_option("--server", options.connection.server, "HOST:PORT of the server")->capture_default_str();
  app.add_option("--keys", options.keys, "the client's key file")->check([](const std::string& text) {
    return text.empty() ? "give a file" : "";
  });
  app.add_option("--timeout", options.connection.timeOutSeconds, "seconds to wait for an answer")
      ->check(refuseNoTime)
      ->capture_default_str();
  app.add_flag("--json", options.json, "answers and failures as JSON, one object a line");
  app.add_flag("--quiet", options.quiet, "no progress");
  app.add_option("--output", options.output, "file for the answer (default: standard output)");
  app.add_option("--plot", options.plot, "with results: SVG file to draw value against realization in");
  CLI::App* const submit = app.add_subcommand("submit", "submit a sweep and print its job id");
  submit->add_option("--expression", options.expression, "what to compute, such as 'a*sin(b)'")->required();
  submit->add_option("--parameters", options.parameters, "CSV file: names, then one realization a line")->required();
  submit->add_flag("--wait", options.wait, "wait for the end and print the results");
  submit->callback([&chosen] { chosen = &Client::submit; });
  addJobCommand(app, options, chosen, "status", "tell the state of a job", &Client::status);
  addJobCommand(app, options, chosen, "wait", "follow a job; the exit code is its outcome", &Client::wait);
  addJobCommand(app, options, chosen, "result", "print the results as CSV", &Client::result);
  addJobCommand(app, options, chosen, "cancel", "end a job", &Client::cancel);
  addJobCommand(app, options, chosen, "log", "print the messages of a job", &Client::log);
}

int reportUsage(const CLI::App& app, const CLI::ParseError& error, bool json) {
  if (error.get_exit_code() == 0 || !json) {
    return app.exit(error) == 0 ? 0 : c_usageExitCode;
  }
  std::cerr << toLine({{"kind", "WrongUse"}, {"message", error.what()}, {"exitCode", c_usageExitCode}});
  return c_usageExitCode;
}

int report(const Options& options, const SweepFailure& failure) {
  std::cerr << (options.json ? toLine(toJson(failure)) : std::string("sweep-client: ") + failure.what() + "\n");
  return exitCode(failure.getKind());
}

int run(Options& options, Command command) {
  try {
    if (!options.keys.empty()) {
      options.connection.keys = readClientKeys(options.keys);
    }
    const ParserSession parser;
    Client client(options);
    (client.*command)();
    return 0;
  } catch (const std::exception& exception) {
    return report(options, toFailure(exception));
  }
}

int runProgram(int argc, char* argv[]) {
  // The user asked for answers; the library's log entries are for those who ask for them.
  if (std::getenv("DV_LOG_LEVEL") == nullptr) {  // NOLINT(concurrency-mt-unsafe): there is one thread yet
    spdlog::set_level(spdlog::level::off);
  }
  Options options;
  Command command = nullptr;
  CLI::App app("Submits parameter sweeps to a sweep-server and follows them.", "sweep-client");
  addOptions(app, options, command);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return reportUsage(app, error, std::find(argv, argv + argc, std::string("--json")) != argv + argc);
  }
  return run(options, command);
}

}  // namespace

}  // namespace ParameterSweep

int main(int argc, char* argv[]) {
  try {
    return ParameterSweep::runProgram(argc, argv);
  } catch (const std::exception& exception) {
    std::cerr << "sweep-client: " << exception.what() << "\n";
    return ParameterSweep::exitCode(ParameterSweep::FailureKind::Internal);
  }
}
