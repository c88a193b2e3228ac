// sweep-benchmark: what a request and a job cost, beside the bare cost of what they are made of.
//
// Prints one line for each measurement: how often it was done, how often a second, and the median and the 99th
// percentile of its duration in microseconds. Arguments choose among the groups of measurements: requests, processes,
// jobs, submissions, load, restart and sweep. Needs sweep-server and sweep-job beside it.

#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <examples/parameter_sweep/client/RemoteJob.h>
#include <examples/parameter_sweep/client/ServerConnection.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/SweepSchema.h>
#include <examples/parameter_sweep/engines/LocalProcess.h>
#include <examples/parameter_sweep/store/JobStore.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <spdlog/spdlog.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>
#include <zmq.hpp>

namespace ParameterSweep {

namespace {

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

/// The most memory that a process had, in MiB; 0 when it is gone.
double peakMemory(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string word; status >> word;) {
    if (word == "VmHWM:") {
      double kibibytes = 0;
      status >> kibibytes;
      return kibibytes / 1024;
    }
  }
  return 0;
}

void waitFor(const LocalProcess& process) {
  pollfd item{process.getDescriptor(), POLLIN, 0};
  ::poll(&item, 1, -1);
  process.reap();
}

/// A server with a spool of its own, whose jobs start with `launcher`.
class Server {
 public:
  explicit Server(const std::string& launcher, const std::string& jobs = "1", fs::path spool = newSpool())
      : m_spool(std::move(spool)), m_process(start(m_spool, launcher, jobs)) {}
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server() {
    m_process.terminate();
    waitFor(m_process);
    std::error_code ignored;
    fs::remove_all(m_spool, ignored);
  }

  static fs::path newSpool() {
    return fs::temp_directory_path() / ("sweep-benchmark-" + Drelvan::UniqueID::generateId());
  }
  /// Waits until the server is ready.
  ConnectionSettings getConnection() const {
    static const std::string s_label = "requestServerPort:";
    for (;;) {
      std::ifstream output(outputFile(m_spool));
      for (std::string line; std::getline(output, line) && !output.eof();) {
        if (const std::size_t place = line.find(s_label); place != std::string::npos) {
          return {"127.0.0.1:" + std::to_string(std::stoi(line.substr(place + s_label.size()))), 60};
        }
      }
      if (m_process.hasEnded()) {
        throw SweepFailure(FailureKind::LaunchFailed, "sweep-server ended at once");
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  pid_t getProcess() const { return std::stoi(m_process.getRecord()); }
  const fs::path& getSpool() const { return m_spool; }

 private:
  static fs::path outputFile(const fs::path& spool) { return spool / "output"; }

  static LocalProcess start(const fs::path& spool, const std::string& launcher, const std::string& jobs) {
    fs::create_directories(spool);
    return LocalProcess::start(
        {besideThisProgram("sweep-server").string(), "--request-port", "0", "--publisher-port", "0", "--spool",
         spool.string(), "--jobs", jobs, "--stop-jobs", "--launch-with", launcher},
        outputFile(spool), {});
  }

  fs::path m_spool;
  LocalProcess m_process;
};

Request makeSubmission(std::uint32_t realizations) {
  Request request{RequestKind::Submit};
  request.sweep.expression = "amplitude*exp(-damping*time)";
  for (std::uint32_t id = 1; id <= realizations; ++id) {
    request.sweep.vectors.push_back({id, {{"amplitude", 1.0}, {"damping", 0.1 * id}, {"time", 0.5 * id}}});
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
  const Server server("sleep 600 #");
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

void startJobProcess(const std::string& program) { waitFor(LocalProcess::start({program}, "/dev/null", {})); }

void measureProcesses() {
  const std::string nothing = "/bin/true";
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

/// Submissions of many clients, each of which has one on its way.
void measureSubmissions() {
  constexpr int c_clients = 64;
  constexpr int c_submissions = 3000;
  const Server server("sleep 600 #");
  zmq::context_t context;
  std::vector<zmq::socket_t> clients;
  std::vector<zmq::pollitem_t> items;
  std::vector<std::string> packages;
  packages.reserve(c_submissions);
  for (int index = 0; index < c_submissions; ++index) {
    packages.push_back(writeRequestPackage(makeSubmission(1)));
  }
  for (int index = 0; index < c_clients; ++index) {
    clients.emplace_back(context, zmq::socket_type::dealer);
    clients.back().set(zmq::sockopt::linger, 0);
    clients.back().connect("tcp://" + server.getConnection().server);
  }
  int sent = 0;
  int received = 0;
  const auto begin = Clock::now();
  for (zmq::socket_t& client : clients) {
    items.push_back({client.handle(), 0, ZMQ_POLLIN, 0});
    client.send(zmq::buffer(packages[static_cast<std::size_t>(sent++)]), zmq::send_flags::none);
  }
  while (received < c_submissions) {
    zmq::poll(items, std::chrono::seconds(10));
    zmq::message_t reply;
    for (zmq::socket_t& client : clients) {
      while (client.recv(reply, zmq::recv_flags::dontwait)) {
        ++received;
        if (sent < c_submissions) {
          client.send(zmq::buffer(packages[static_cast<std::size_t>(sent++)]), zmq::send_flags::none);
        }
      }
    }
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  std::printf("%-52s %6d times %9.0f/s\n", "submissions of 64 clients, stored durably", c_submissions,
              c_submissions / seconds);
  std::size_t files = 0;
  for (const auto& entry : fs::recursive_directory_iterator(server.getSpool() / "jobs")) {
    files += entry.is_regular_file() ? 1U : 0U;
  }
  std::printf("%-52s %6zu files, server at most %.1f MiB\n", "  in the folders of these jobs", files,
              peakMemory(server.getProcess()));
}

/// The answer to a status while jobs run and others start.
void measureStatusUnderLoad() {
  constexpr int c_jobs = 1000;
  const Server server("sleep 600 #", std::to_string(c_jobs));
  ServerConnection connection(server.getConnection());
  const auto first = connection.ask<JobStatus>(makeSubmission(1));
  for (int index = 1; index < c_jobs; ++index) {
    connection.ask<JobStatus>(makeSubmission(1));
  }
  const auto ask = [&] { connection.ask<JobStatus>({RequestKind::Status, first.jobId}); };
  measure("status while 1000 jobs run and start", 3000, ask);
  const auto health = connection.ask<ServerHealth>(Request{RequestKind::Ping});
  std::printf("%-52s %6llu jobs run\n", "  then", static_cast<unsigned long long>(health.running));
}

/// The start of a server whose store holds many ended jobs.
void measureRestart() {
  constexpr int c_jobs = 100000;
  const fs::path spool = Server::newSpool();
  fs::create_directories(spool / "jobs");
  {
    JobStore store(spool / "sweep.db");
    std::vector<Change> changes;
    const std::string package = writeRequestPackage(makeSubmission(1));
    for (int index = 0; index < c_jobs; ++index) {
      AddPackage add;
      add.job.status.realizations = 1;
      add.job.isComplete = true;
      add.package = {1, 0, 1};
      add.content = package;
      add.parts.resize(1);
      add.parts[0].number = 1;
      add.parts[0].count = 1;
      changes.emplace_back(add);
      FinishPart finish{add.job.status.jobId, 1, packResults({{1, 2}})};
      finish.time = 1;
      changes.emplace_back(finish);
      if (changes.size() >= 2000) {
        store.apply(changes);
        changes.clear();
      }
    }
    store.apply(changes);
  }
  const auto begin = Clock::now();
  const Server server("", "1", spool);
  ServerConnection connection(server.getConnection());
  connection.ask<ServerHealth>(Request{RequestKind::Ping});
  std::printf("%-52s %6d jobs %9.3f s, server %.1f MiB\n", "start to first answer, with ended jobs", c_jobs,
              std::chrono::duration<double>(Clock::now() - begin).count(), peakMemory(server.getProcess()));
}

/// 100 000 realizations of 10 columns in many packages.
JobStatus submitLarge(ServerConnection& connection, std::uint32_t partSize) {
  constexpr std::uint32_t c_realizations = 100000;
  constexpr std::uint32_t c_inPackage = 200;
  const SweepJobId jobId;
  std::uint32_t sent = 0;
  return connection.askInTurn<JobStatus>([&]() -> std::optional<Request> {
    if (sent == c_realizations) {
      return std::nullopt;
    }
    Request request{sent == 0 ? RequestKind::Submit : RequestKind::Append, jobId};
    request.packageNumber = sent / c_inPackage + 1;
    request.partSize = partSize;
    request.sweep.expression = "a*exp(-b*c)+d*sin(e*f)+g*cos(h*i)+j";
    for (std::uint32_t index = 0; index < c_inPackage; ++index) {
      ParameterVector vector{++sent, {}};
      for (char name = 'a'; name <= 'j'; ++name) {
        vector.parameters.push_back({std::string(1, name), 0.001 * sent + 0.1234567 * (name - 'a')});
      }
      request.sweep.vectors.push_back(vector);
    }
    request.more = sent < c_realizations;
    return request;
  });
}

/// The most memory of any process that the server started, until `isDone`.
double watchJobs(pid_t server, const std::function<bool()>& isDone) {
  double peak = 0;
  while (!isDone()) {
    for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(server) + "/task")) {
      std::ifstream children(entry.path() / "children");
      for (pid_t child = 0; children >> child;) {
        peak = std::max(peak, peakMemory(child));
      }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return peak;
}

void measureLargeSweep(const char* what, std::uint32_t partSize) {
  const Server server("", "2");
  ServerConnection connection(server.getConnection());
  const auto begin = Clock::now();
  const auto accepted = submitLarge(connection, partSize);
  const auto submitted = Clock::now();
  std::vector<double> waits;
  JobStatus status = accepted;
  const double jobPeak = watchJobs(server.getProcess(), [&] {
    const auto start = Clock::now();
    status = connection.ask<JobStatus>({RequestKind::Status, accepted.jobId});
    waits.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    return isEnd(status.state);
  });
  const auto finished = Clock::now();
  std::size_t results = 0;
  while (results < status.realizations) {
    Request request{RequestKind::Result, accepted.jobId};
    request.after = results;
    results += connection.ask<SweepResult>(request).realizations.size();
  }
  const auto seconds = [](Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double>(to - from).count();
  };
  std::printf("%-40s %4u parts: submitted %.2f s, computed %.2f s, fetched %.2f s (%zu results)\n", what, status.parts,
              seconds(begin, submitted), seconds(submitted, finished), seconds(finished, Clock::now()), results);
  std::printf("%-40s server %.1f MiB, job %.1f MiB, this client %.1f MiB, status at most %.1f ms\n", "  at most",
              peakMemory(server.getProcess()), jobPeak, peakMemory(::getpid()),
              *std::max_element(waits.begin(), waits.end()));
}

void measureLargeSweeps() {
  measureLargeSweep("100 000 x 10, as one part", 100000);
  measureLargeSweep("100 000 x 10, in parts on 2 cores", 0);
}

int runProgram(const std::vector<std::string>& chosen) {
  const std::vector<std::pair<std::string, std::function<void()>>> all{
      {"requests", measureRequests},       {"processes", measureProcesses},  {"jobs", measureJobs},
      {"submissions", measureSubmissions}, {"load", measureStatusUnderLoad}, {"restart", measureRestart},
      {"sweep", measureLargeSweeps}};
  try {
    spdlog::set_level(spdlog::level::off);
    const Drelvan::ParserSession parser{SweepSchema()};
    for (const auto& [name, run] : all) {
      if (chosen.empty() || std::find(chosen.begin(), chosen.end(), name) != chosen.end()) {
        run();
        static_cast<void>(std::fflush(stdout));
      }
    }
    return 0;
  } catch (const std::exception& exception) {
    std::cerr << "sweep-benchmark: " << exception.what() << "\n";
    return 1;
  }
}

}  // namespace

}  // namespace ParameterSweep

int main(int argc, char* argv[]) { return ParameterSweep::runProgram({argv + 1, argv + argc}); }
