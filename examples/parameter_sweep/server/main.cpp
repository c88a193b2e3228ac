// sweep-server: takes sweeps, has them computed and keeps their results.

#include <examples/parameter_sweep/common/SweepSchema.h>
#include <examples/parameter_sweep/server/ServerTransport.h>
#include <examples/parameter_sweep/server/SweepServer.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

namespace ParameterSweep {

namespace {

namespace fs = std::filesystem;

constexpr int c_usageExitCode = 2;

volatile std::sig_atomic_t s_stop = 0;

void requestStop(int) { s_stop = 1; }

void installStop() {
  struct sigaction action {};
  action.sa_handler = requestStop;
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction old {};
    ::sigaction(number, nullptr, &old);
    if (old.sa_handler != SIG_IGN) {  // as nohup has it
      ::sigaction(number, &action, nullptr);
    }
  }
  // Whoever reads the log may go away.
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
}

std::string refuseEmpty(const std::string& text) { return text.empty() ? "give a name" : ""; }

struct Options {
  TransportSettings transport;
  JobSettings jobs;
  std::string keys;
  std::string client;
};

void addOptions(CLI::App& app, Options& options) {
  app.add_option("--request-port", options.transport.requestPort, "port for requests, 0 for a free one")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  app.add_option("--publisher-port", options.transport.publisherPort, "port for progress, 0 for a free one")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  app.add_option("--bind", options.transport.bind, "address to listen at; any other needs --keys")
      ->capture_default_str();
  app.add_option("--keys", options.keys, "folder of keys; without it there is no encryption")->check(refuseEmpty);
  app.add_option("--spool", options.jobs.spool, "folder of the jobs")->check(refuseEmpty)->capture_default_str();
  app.add_option("--jobs", options.jobs.jobsAtOnce, "jobs that run at once")
      ->check(CLI::Range(1, 10000))
      ->capture_default_str();
  app.add_option("--job-timeout", options.jobs.timeOutSeconds, "seconds that a job may run, 0 for any time")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  app.add_option("--max-package", options.transport.maxPackage, "bytes of the largest package taken")
      ->check(CLI::Range(std::size_t{1024}, std::size_t{1} << 31U))
      ->capture_default_str();
  app.add_option("--launch-with", options.jobs.launcher, "command that starts a job, such as 'srun --ntasks=1'");
}

int serve(Options& options) {
  options.jobs.spool = fs::absolute(options.jobs.spool);
  options.jobs.jobProgram = fs::read_symlink("/proc/self/exe").replace_filename("sweep-job");
  if (!options.keys.empty()) {
    options.transport.keys = readServerKeys(options.keys);
  }
  installStop();
  const ParserSession parser;
  ServerTransport transport(options.transport);
  SweepServer server(options.jobs, options.transport.maxPackage, transport.getHostInfo());
  const Signals::ScopedConnection publishing = server.getJobs().m_statusChanged.connect(
      [&](const JobStatus& status) { transport.publish(server.getStatusPackage(status.jobId)); });
  server.start();
  std::cout << "sweep-server: ready, " << server.getHostInfo().toString() << std::endl;
  transport.run(server, s_stop);
  server.stop();
  return 0;
}

int makeKeys(const Options& options) {
  const fs::path file = makeClientKeys(options.keys, options.client);
  std::cout << "keys for the client " << options.client << ": " << file.string()
            << "\nGive that file to the client only, and start the server anew with --keys " << options.keys << "\n";
  return 0;
}

int runProgram(int argc, char* argv[]) {
  try {
    Options options;
    CLI::App app("Computes parameter sweeps for clients.", "sweep-server");
    addOptions(app, options);
    CLI::App* const keygen = app.add_subcommand("keygen", "make the keys of the server and of a client");
    keygen->add_option("--keys", options.keys, "folder of keys")->check(refuseEmpty)->required();
    keygen->add_option("--client", options.client, "name of the client")->required();
    try {
      app.parse(argc, argv);
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

int main(int argc, char* argv[]) { return ParameterSweep::runProgram(argc, argv); }
