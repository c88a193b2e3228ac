// sweep-server: takes sweeps, has them computed and keeps their results.

#include <examples/parameter_sweep/common/SweepSchema.h>
#include <examples/parameter_sweep/server/ServerTransport.h>
#include <examples/parameter_sweep/server/SweepServer.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

namespace ParameterSweep {

namespace {

namespace fs = std::filesystem;

int s_stopDescriptor = -1;

void requestStop(int) {
  const int error = errno;
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = ::write(s_stopDescriptor, &one, sizeof one);
  errno = error;
}

/// Has the signals that end a server make a descriptor readable instead.
void installStop() {
  s_stopDescriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  struct sigaction action {};
  action.sa_handler = requestStop;
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    ::sigaction(number, &action, nullptr);
  }
}

struct Options {
  TransportSettings transport;
  JobSettings jobs;
  double jobTimeOut = 3600;
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
  app.add_option("--keys", options.keys, "folder of keys; without it there is no encryption");
  app.add_option("--spool", options.jobs.spool, "folder of the jobs")->capture_default_str();
  app.add_option("--jobs", options.jobs.jobsAtOnce, "jobs that run at once")
      ->check(CLI::Range(1, 10000))
      ->capture_default_str();
  app.add_option("--job-timeout", options.jobTimeOut, "seconds that a job may run, 0 for any time")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  app.add_option("--max-package", options.transport.maxPackage, "bytes of the largest package taken")
      ->check(CLI::Range(std::size_t{1024}, std::size_t{1} << 31U))
      ->capture_default_str();
  app.add_option("--launch-with", options.jobs.launcher, "command that starts a job, such as 'srun --ntasks=1'");
  app.add_option("--job-program", options.jobs.jobProgram, "the program that computes a job")->capture_default_str();
}

int serve(Options& options) {
  // Jobs run with names that hold wherever a launcher starts them.
  options.jobs.spool = fs::absolute(options.jobs.spool);
  options.jobs.jobProgram = fs::absolute(options.jobs.jobProgram);
  options.jobs.timeOut = std::chrono::duration<double>(options.jobTimeOut);
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
  transport.run(server, s_stopDescriptor);
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
    options.jobs.jobProgram = fs::read_symlink("/proc/self/exe").replace_filename("sweep-job");
    CLI::App app("Computes parameter sweeps for clients.", "sweep-server");
    addOptions(app, options);
    CLI::App* const keygen = app.add_subcommand("keygen", "make the keys of the server and of a client");
    keygen->add_option("--keys", options.keys, "folder of keys")->required();
    keygen->add_option("--client", options.client, "name of the client")->required();
    CLI11_PARSE(app, argc, argv);
    return keygen->parsed() ? makeKeys(options) : serve(options);
  } catch (const std::exception& exception) {
    std::cerr << "sweep-server: " << exception.what() << "\n";
    return 1;
  }
}

}  // namespace

}  // namespace ParameterSweep

int main(int argc, char* argv[]) { return ParameterSweep::runProgram(argc, argv); }
