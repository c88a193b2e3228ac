// sweep-server: takes sweeps, has them computed and keeps their results.

#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <examples/parameter_sweep/common/JobLogging.h>
#include <examples/parameter_sweep/common/SweepSchema.h>
#include <examples/parameter_sweep/common/Version.h>
#include <examples/parameter_sweep/engines/CommandWords.h>
#include <examples/parameter_sweep/engines/LocalEngine.h>
#include <examples/parameter_sweep/engines/SlurmEngine.h>
#include <examples/parameter_sweep/server/Followers.h>
#include <examples/parameter_sweep/server/ServerLoop.h>
#include <examples/parameter_sweep/server/SpoolLock.h>
#include <examples/parameter_sweep/server/SpoolTakeover.h>
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace ParameterSweep {

namespace {

namespace fs = std::filesystem;

constexpr int c_usageExitCode = 2;

ServerSignals s_signals;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables): for the handlers

void requestStop(int) { s_signals.stop = 1; }
void requestKeys(int) { s_signals.reloadKeys = 1; }

void handle(int number, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  struct sigaction old {};
  ::sigaction(number, nullptr, &old);
  if (old.sa_handler != SIG_IGN) {  // as nohup has it
    ::sigaction(number, &action, nullptr);
  }
}

void handleSignals(bool hasKeys) {
  handle(SIGINT, requestStop);
  handle(SIGTERM, requestStop);
  handle(SIGHUP, hasKeys ? requestKeys : requestStop);
  // Whoever reads the log may go away.
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
}

/// Each connection and each process that runs takes a descriptor.
void allowManyDescriptors() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
  }
}

std::string refuseEmpty(const std::string& text) { return text.empty() ? "give a name" : ""; }

struct Options {
  TransportSettings transport;
  JobSettings jobs;
  ServerSettings server;
  JobProgram program;
  std::string launcher;
  std::string engine = "local";
  std::string slurmOptions;
  std::size_t jobsAtOnce = 1;
  std::uint64_t mebibytesPerOwner = 0;
  std::vector<std::string> admins;
  bool stopJobs = false;
  std::string client;
};

/// For CLI11: the reason why a command line cannot be read; empty when it can.
std::string refuseNoCommand(const std::string& text) {
  try {
    splitCommand(text);
    return {};
  } catch (const std::invalid_argument& failure) {
    return failure.what();
  }
}

void addTransportOptions(CLI::App& app, Options& options) {
  app.add_option("--request-port", options.transport.requestPort, "port for requests, 0 for a free one")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  app.add_option("--publisher-port", options.transport.publisherPort, "port for progress, 0 for a free one")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  app.add_option("--bind", options.transport.bind, "address to listen at; other than loopback requires --keys")
      ->capture_default_str();
  app.add_option("--keys", options.transport.keys, "folder of keys; without it there is no encryption")
      ->check(refuseEmpty);
  app.add_option("--admin", options.admins, "client that may access all jobs; repeatable");
  app.add_option("--max-package", options.transport.maxPackage, "bytes of the largest package taken")
      ->check(CLI::Range(std::size_t{1024}, std::size_t{1} << 31U))
      ->capture_default_str();
}

void addJobOptions(CLI::App& app, Options& options) {
  app.add_option("--spool", options.jobs.spool, "folder of the jobs")->check(refuseEmpty)->capture_default_str();
  app.add_option("--jobs", options.jobsAtOnce, "parts of jobs that run at once")
      ->check(CLI::Range(1, 10000))
      ->capture_default_str();
  app.add_option("--launch-with", options.launcher, "command that starts a part, such as 'ssh node1'")
      ->check(refuseNoCommand);
  app.add_option("--engine", options.engine, "what runs the parts: processes of this machine, or a cluster")
      ->check(CLI::IsMember({"local", "slurm"}))
      ->capture_default_str();
  app.add_option("--slurm-options", options.slurmOptions, "for sbatch, such as '--partition=long --mem=2G'")
      ->check(refuseNoCommand);
  app.add_option("--part-size", options.server.submissions.partSize,
                 "realizations in a part, 0 to let the server choose")
      ->capture_default_str();
  app.add_option("--tries", options.jobs.tries,
                 "maximum number of tries of a part whose job program ends without a result, including the first")
      ->check(CLI::Range(1, 100))
      ->capture_default_str();
  app.add_flag("--stop-jobs", options.stopJobs,
               "with --engine local: end the job programs with the server; their parts are computed again");
}

void addLimitOptions(CLI::App& app, Options& options) {
  constexpr double c_mostDays = 100000;
  constexpr std::uint64_t c_most = 1000000000;
  constexpr std::uint64_t c_leastMemory = 100;  // the job program takes 60 to 70 by itself
  app.add_option("--job-timeout", options.jobs.timeOutSeconds,
                 "seconds in which parts of a job run; parts that run at the same time count once. 0 for no limit")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  app.add_option("--part-timeout", options.program.processorSeconds,
                 "seconds of processor time that a part may use, 0 for any")
      ->check(CLI::Range(std::uint64_t{0}, c_most))
      ->capture_default_str();
  app.add_option("--part-memory", options.program.memoryMebibytes,
                 "MiB of memory that a part may use, at least 100, or 0 for any")
      ->check(CLI::IsMember({0}) | CLI::Range(c_leastMemory, c_most))
      ->capture_default_str();
  app.add_option("--keep", options.server.keepDays, "days that ended jobs are kept, 0 for ever")
      ->check(CLI::Range(0.0, c_mostDays))
      ->capture_default_str();
  app.add_option("--jobs-per-owner", options.server.submissions.jobsPerOwner,
                 "jobs of one client that have not ended, 0 for any number")
      ->check(CLI::Range(std::uint64_t{0}, c_most))
      ->capture_default_str();
  app.add_option("--bytes-per-owner", options.mebibytesPerOwner, "MiB stored of one client's jobs, 0 for any number")
      ->check(CLI::Range(std::uint64_t{0}, c_most))
      ->capture_default_str();
}

/// Throws `CLI::ValidationError` for options of another engine, which would have no effect.
void checkEngine(const CLI::App& app, const Options& options) {
  const bool isLocal = options.engine == "local";
  for (const char* option : {"--jobs", "--launch-with", "--stop-jobs", "--slurm-options"}) {
    const bool isOfLocal = std::string(option) != "--slurm-options";
    if (app.count(option) != 0 && isLocal != isOfLocal) {
      throw CLI::ValidationError(option, std::string("is for --engine ") + (isOfLocal ? "local" : "slurm") +
                                             "; leave it out, or choose that engine");
    }
  }
}

/// Brings together what was said once for several parts of the program.
void complete(Options& options) {
  constexpr std::int64_t c_mebibyte = std::int64_t{1} << 20U;
  options.jobs.spool = fs::absolute(options.jobs.spool);
  options.server.spool = options.jobs.spool;
  options.server.maxPackage = options.transport.maxPackage;
  options.server.submissions.bytesPerOwner = static_cast<std::int64_t>(options.mebibytesPerOwner) * c_mebibyte;
  options.server.submissions.partsAtOnce = options.engine == "local" ? options.jobsAtOnce : 1;
  options.program.spool = options.jobs.spool;
  options.program.program = fs::read_symlink("/proc/self/exe").replace_filename("sweep-job");
  options.transport.admins = {options.admins.begin(), options.admins.end()};
}

std::unique_ptr<JobEngine> makeEngine(const Options& options) {
  if (options.engine == "slurm") {
    return std::make_unique<SlurmEngine>(options.program, SlurmEngine::Settings{splitCommand(options.slurmOptions)});
  }
  return std::make_unique<LocalEngine>(options.program, splitCommand(options.launcher), options.jobsAtOnce);
}

int serve(Options& options) {
  complete(options);
  handleSignals(!options.transport.keys.empty());
  allowManyDescriptors();
  const Drelvan::ParserSession parser{SweepSchema()};
  ServerTransport transport(options.transport);
  const SpoolLock lock(options.jobs.spool);
  JobStore store(options.jobs.spool / "sweep.db");
  takeOverSpool(options.jobs.spool, store);
  StoreWriter writer(store);
  const std::unique_ptr<JobEngine> made = makeEngine(options);
  JobEngine& engine = *made;
  JobTable jobs(options.jobs, store, writer, engine);
  SweepServer server(options.server, store, writer, engine, jobs, transport.getHostInfo());
  Followers followers(transport.getProgress(), server);
  const Signals::ScopedConnection publishing =
      jobs.m_statusChanged.connect([&](const JobStatus& status) { followers.publish(status); });
  server.start();
  std::cout << "sweep-server: ready, " << server.getHostInfo().toString() << std::endl;
  ServerLoop(transport, server, followers, writer, engine, jobs).run(s_signals);
  server.stop();
  if (options.stopJobs) {
    engine.endAll();
  }
  return 0;
}

int makeKeys(const Options& options) {
  const fs::path file = makeClientKeys(options.transport.keys, options.client);
  std::cout << "keys for the client " << options.client << ": " << file.string()
            << "\nGive that file to the client only. A server that runs with --keys " << options.transport.keys
            << " lets the client in after SIGHUP.\n";
  return 0;
}

int runProgram(int argc, char* argv[]) {
  try {
    installJobLogging(LogDelivery::InBackground);
    Options options;
    CLI::App app("Computes parameter sweeps for clients.", "sweep-server");
    app.set_version_flag("--version", std::string("sweep-server ") + c_version);
    addTransportOptions(app, options);
    addJobOptions(app, options);
    addLimitOptions(app, options);
    CLI::App* const keygen = app.add_subcommand("keygen", "make the keys of the server and of a client");
    keygen->add_option("--keys", options.transport.keys, "folder of keys")->check(refuseEmpty)->required();
    keygen->add_option("--client", options.client, "name of the client")->required();
    try {
      app.parse(argc, argv);
      checkEngine(app, options);
    } catch (const CLI::ParseError& error) {
      return app.exit(error) == 0 ? 0 : c_usageExitCode;
    }
    return keygen->parsed() ? makeKeys(options) : serve(options);
  } catch (const std::exception& exception) {
    std::cerr << "sweep-server: " << exception.what() << "\n";
    return 1;
  }
}

}  // namespace

}  // namespace ParameterSweep

int main(int argc, char* argv[]) {
  const int code = ParameterSweep::runProgram(argc, argv);
  if (!ParameterSweep::finishJobLogging()) {
    std::_Exit(code);  // nobody reads standard error, and waiting for that would be for ever
  }
  return code;
}
