// sweep-benchmark: what a request and a job cost, beside the bare cost of what they are made of.
//
// Prints one line for each measurement: how often it was done, how often a second, and the median and the 99th
// percentile of its duration in microseconds. Takes no arguments; needs sweep-server and sweep-job beside it.

#include <examples/parameter_sweep/client/RemoteJob.h>
#include <examples/parameter_sweep/client/ServerConnection.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/SweepSchema.h>
#include <examples/parameter_sweep/server/JobProcess.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <spdlog/spdlog.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <boost/process.hpp>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

namespace ParameterSweep {

namespace {

namespace bp = boost::process;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

fs::path besideThisProgram(const char* name) { return fs::read_symlink("/proc/self/exe").replace_filename(name); }

/// Measures each of `count` calls, after some that do not count.
void measure(const char* what, int count, const std::function<void()>& action) {
  for (int index = 0; index < count / 10; ++index) {
    action();
  }
  std::vector<double> microseconds;
  const auto begin = Clock::now();
  for (int index = 0; index < count; ++index) {
    const auto start = Clock::now();
    action();
    microseconds.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  std::sort(microseconds.begin(), microseconds.end());
  std::printf("%-52s %6d times %9.0f/s %9.1f us median %9.1f us 99th percentile\n", what, count, count / seconds,
              microseconds[microseconds.size() / 2], microseconds[microseconds.size() * 99 / 100]);
}

/// A server with a spool of its own, whose jobs start with `launcher`.
class Server {
 public:
  explicit Server(const std::string& launcher)
      : m_spool(fs::temp_directory_path() / ("sweep-benchmark-" + Drelvan::UniqueID::generateId())),
        m_server(bp::exe = besideThisProgram("sweep-server").string(),
                 bp::args = {"--request-port", "0", "--publisher-port", "0", "--spool", m_spool.string(),
                             "--launch-with", launcher},
                 bp::std_out > m_greeting, bp::std_err > bp::null) {
    std::string line;
    std::getline(m_greeting, line);
    const std::string label = "requestServerPort:";
    m_port = std::to_string(std::stoi(line.substr(line.find(label) + label.size())));
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server() {
    ::kill(m_server.id(), SIGTERM);
    m_server.wait();
    std::error_code ignored;
    fs::remove_all(m_spool, ignored);
  }

  ConnectionSettings getConnection() const { return {"127.0.0.1:" + m_port, 60}; }

 private:
  fs::path m_spool;
  bp::ipstream m_greeting;
  bp::child m_server;
  std::string m_port;
};

Request makeSubmission(std::uint32_t realizations) {
  Request request{RequestKind::Submit};
  request.sweep.expression = "amplitude*exp(-damping*time)";
  for (std::uint32_t id = 1; id <= realizations; ++id) {
    request.sweep.vectors.push_back({id, {{"amplitude", 1}, {"damping", 0.1 * id}, {"time", 0.5 * id}}});
  }
  return request;
}

void measureParsing(const JobStatus& status) {
  const std::string reply = writeReplyPackage({status}, "benchmark");
  const std::string ask = writeRequestPackage({RequestKind::Status, status.jobId});
  const std::string submission = writeRequestPackage(makeSubmission(100));
  measure("parsing alone: status, request and reply", 3000, [&] {
    readRequestPackage(ask);
    readReplyPackage(reply);
  });
  measure("parsing alone: submission of 100, request and reply", 1000, [&] {
    readRequestPackage(submission);
    readReplyPackage(reply);
  });
}

void measureRequests() {
  // One job that sleeps keeps the others in the queue, so that nothing is computed meanwhile.
  const Server server("sleep 600");
  ServerConnection connection(server.getConnection());
  const auto first = connection.ask<JobStatus>(makeSubmission(1));
  measureParsing(first);
  measure("status over loopback", 3000, [&] { connection.ask<JobStatus>({RequestKind::Status, first.jobId}); });
  measure("submission of 100 over loopback, stored durably", 500,
          [&] { connection.ask<JobStatus>(makeSubmission(100)); });
}

/// Starts a program without arguments and waits for it; what it writes to standard error is lost.
void spawn(const std::string& program) {
  std::string name = program;
  char* arguments[] = {name.data(), nullptr};
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t process = 0;
  const int error = ::posix_spawn(&process, program.c_str(), &actions, nullptr, arguments, environ);
  ::posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    throw SweepFailure(FailureKind::LaunchFailed, "cannot start " + program);
  }
  ::waitpid(process, nullptr, 0);
}

void startJobProcess(const std::string& program) {
  JobProcess process = JobProcess::start({program}, "/dev/null");
  pollfd item{process.getDescriptor(), POLLIN, 0};
  ::poll(&item, 1, -1);
  process.reap();
}

void measureProcesses() {
  const std::string nothing = bp::search_path("true").string();
  // Without arguments the job program ends as soon as it is loaded.
  const std::string jobProgram = besideThisProgram("sweep-job").string();
  measure("posix_spawn of a program that does nothing", 300, [&] { spawn(nothing); });
  measure("the server's start of a program that does nothing", 300, [&] { startJobProcess(nothing); });
  measure("posix_spawn of sweep-job without a job", 100, [&] { spawn(jobProgram); });
  measure("the server's start of sweep-job without a job", 100, [&] { startJobProcess(jobProgram); });
}

void measureJobs() {
  const Server server("");
  ServerConnection connection(server.getConnection());
  measure("job of 1 realization, submission to result", 50, [&] {
    RemoteJob job(connection, connection.ask<JobStatus>(makeSubmission(1)));
    job.follow();
    connection.ask<SweepResult>({RequestKind::Result, job.getStatus().jobId});
  });
}

int runProgram() {
  try {
    spdlog::set_level(spdlog::level::off);
    const ParserSession parser;
    measureRequests();
    measureProcesses();
    measureJobs();
    return 0;
  } catch (const std::exception& exception) {
    std::cerr << "sweep-benchmark: " << exception.what() << "\n";
    return 1;
  }
}

}  // namespace

}  // namespace ParameterSweep

int main() { return ParameterSweep::runProgram(); }
