// sweep-benchmark: what a request and a job cost, beside the bare cost of what they are made of.
//
// Prints one line for each measurement: how often it was done, how often a second, and the median and the 99th
// percentile of its duration in microseconds; or what it is, a colon and one figure. Arguments choose among the groups
// of measurements: requests, processes, jobs, submissions, load, restart and sweep. Needs sweep-server and sweep-job
// beside it.

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
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>
#include <zmq.hpp>

namespace ParameterSweep {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

/// A launcher of jobs that run until they are ended.
constexpr const char* c_sleeping = "sh -c 'exec sleep 600'";

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

/// Prints one figure.
void tell(const std::string& what, double value, int decimals, const char* unit) {
  std::printf("%s: %.*f%s\n", what.c_str(), decimals, value, unit);
}

/// A figure of a process's memory in KiB, as the system names it; 0 when the process is gone.
double readMemory(pid_t process, const std::string& name) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string word; status >> word;) {
    if (word == name) {
      double kibibytes = 0;
      status >> kibibytes;
      return kibibytes;
    }
  }
  return 0;
}

/// The most memory that a process had, in MiB.
double peakMemory(pid_t process) { return readMemory(process, "VmHWM:") / 1024; }
/// What it has now, in KiB.
double presentMemory(pid_t process) { return readMemory(process, "VmRSS:"); }

/// The seconds of processor time that a process and those children used that have ended and were waited for.
double readProcessorTime(pid_t process) {
  constexpr int c_firstField = 14;  // utime, stime, cutime and cstime
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  const std::string status((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  // The name, field 2, is in parentheses and may hold anything.
  std::istringstream fields(status.substr(status.rfind(')') + 1));
  std::string skipped;
  for (int field = 3; field < c_firstField; ++field) {
    fields >> skipped;
  }
  double ticks = 0;
  double time = 0;
  for (int field = c_firstField; field < c_firstField + 4 && fields >> time; ++field) {
    ticks += time;
  }
  return ticks / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

std::size_t countFiles(const fs::path& folder) {
  std::size_t count = 0;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    count += entry.is_regular_file() ? 1U : 0U;
  }
  return count;
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
    fs::remove(outputFile(m_spool), ignored);
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
  static fs::path outputFile(const fs::path& spool) { return spool.string() + ".output"; }

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
  const Server server(c_sleeping);
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
  constexpr int c_jobs = 50;
  measure("job of 1 realization, submission to result", c_jobs, [&] {
    RemoteJob job(connection, connection.ask<JobStatus>(makeSubmission(1)));
    job.follow();
    connection.ask<SweepResult>({RequestKind::Result, job.getStatus().jobId});
  });
  tell("files of an ended job", static_cast<double>(countFiles(server.getSpool() / "jobs")) / c_jobs, 1, "");
}

/// Clients that each have one package on its way.
class ManyClients {
 public:
  ManyClients(const std::string& address, int count) {
    for (int index = 0; index < count; ++index) {
      m_clients.emplace_back(m_context, zmq::socket_type::dealer);
      m_clients.back().set(zmq::sockopt::linger, 0);
      m_clients.back().connect("tcp://" + address);
    }
    for (zmq::socket_t& client : m_clients) {
      m_items.push_back({client.handle(), 0, ZMQ_POLLIN, 0});
    }
  }

  /// Returns with the last reply.
  void exchange(const std::vector<std::string>& packages) {
    auto next = packages.begin();
    for (zmq::socket_t& client : m_clients) {
      client.send(zmq::buffer(*next++), zmq::send_flags::none);
    }
    zmq::message_t reply;
    for (std::size_t received = 0; received < packages.size();) {
      zmq::poll(m_items, std::chrono::seconds(10));
      for (std::size_t index = 0; index < m_clients.size(); ++index) {
        if ((m_items[index].revents & ZMQ_POLLIN) == 0 || !m_clients[index].recv(reply, zmq::recv_flags::dontwait)) {
          continue;
        }
        ++received;
        if (next != packages.end()) {
          m_clients[index].send(zmq::buffer(*next++), zmq::send_flags::none);
        }
      }
    }
  }

 private:
  zmq::context_t m_context;
  std::vector<zmq::socket_t> m_clients;
  std::vector<zmq::pollitem_t> m_items;
};

std::vector<std::string> makeSubmissions(int count) {
  std::vector<std::string> packages;
  packages.reserve(static_cast<std::size_t>(count));
  for (int index = 0; index < count; ++index) {
    packages.push_back(writeRequestPackage(makeSubmission(1)));
  }
  return packages;
}

void measureSubmissions() {
  constexpr int c_clients = 64;
  constexpr int c_submissions = 5000;
  const Server server(c_sleeping);
  ManyClients clients(server.getConnection().server, c_clients);
  clients.exchange(makeSubmissions(c_clients));
  const std::vector<std::string> packages = makeSubmissions(c_submissions);
  const double before = presentMemory(server.getProcess());
  const auto begin = Clock::now();
  clients.exchange(packages);
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  tell("submissions of 64 clients, stored durably", c_submissions / seconds, 0, "/s");
  tell("memory of a queued job", (presentMemory(server.getProcess()) - before) / c_submissions, 1, " KiB");
}

/// The answers to another client's requests for a status, meanwhile.
class StatusWatch {
 public:
  StatusWatch(const std::string& address, const SweepJobId& jobId, std::chrono::milliseconds pause)
      : m_socket(m_context, zmq::socket_type::dealer), m_pause(pause) {
    m_socket.set(zmq::sockopt::linger, 0);
    m_socket.connect("tcp://" + address);
    m_thread = std::thread([this, package = writeRequestPackage({RequestKind::Status, jobId})] { ask(package); });
  }
  StatusWatch(const StatusWatch&) = delete;
  StatusWatch& operator=(const StatusWatch&) = delete;
  ~StatusWatch() { stop(); }

  void stop() {
    m_isEnding = true;
    if (m_thread.joinable()) {
      m_thread.join();
      std::sort(m_milliseconds.begin(), m_milliseconds.end());
    }
  }
  /// After `stop`: the wait that this share of the waits does not exceed.
  double getWait(double share) const {
    return m_milliseconds.at(static_cast<std::size_t>(share * static_cast<double>(m_milliseconds.size() - 1)));
  }

 private:
  void ask(const std::string& package) {
    zmq::message_t reply;
    while (!m_isEnding) {
      const auto start = Clock::now();
      m_socket.send(zmq::buffer(package), zmq::send_flags::none);
      static_cast<void>(m_socket.recv(reply));
      m_milliseconds.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
      std::this_thread::sleep_for(m_pause);
    }
  }

  zmq::context_t m_context;
  zmq::socket_t m_socket;
  const std::chrono::milliseconds m_pause;
  std::vector<double> m_milliseconds;
  std::atomic<bool> m_isEnding{false};
  std::thread m_thread;
};

void measureStatusUnderLoad() {
  constexpr int c_running = 1000;
  constexpr int c_starting = 500;
  constexpr int c_clients = 4;
  const Server server(c_sleeping, std::to_string(c_running + c_starting + 1));
  ServerConnection connection(server.getConnection());
  const auto first = connection.ask<JobStatus>(makeSubmission(1));
  ManyClients clients(server.getConnection().server, c_clients);
  const auto waitForRunning = [&](std::uint64_t count) {
    while (connection.ask<ServerHealth>(Request{RequestKind::Ping}).running < count) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  };
  clients.exchange(makeSubmissions(c_running));
  waitForRunning(c_running);
  tell("files of a running job", static_cast<double>(countFiles(server.getSpool() / "jobs")) / (c_running + 1), 1, "");
  const std::vector<std::string> more = makeSubmissions(c_starting);
  StatusWatch watch(server.getConnection().server, first.jobId, std::chrono::milliseconds(5));
  clients.exchange(more);
  waitForRunning(c_running + c_starting);
  watch.stop();
  const std::string what = "status while 1 000 jobs run and 500 more are submitted and start, ";
  tell(what + "median", watch.getWait(0.5), 1, " ms");
  tell(what + "99th percentile", watch.getWait(0.99), 1, " ms");
}

constexpr int c_endedJobs = 100000;

void storeEndedJobs(const fs::path& spool) {
  fs::create_directories(spool / "jobs");
  JobStore store(spool / "sweep.db");
  std::vector<Change> changes;
  const std::string package = writeRequestPackage(makeSubmission(1));
  for (int index = 0; index < c_endedJobs; ++index) {
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

/// The memory of a server that has just answered, in KiB.
double memoryAfterStart(const Server& server) {
  ServerConnection connection(server.getConnection());
  connection.ask<ServerHealth>(Request{RequestKind::Ping});
  return presentMemory(server.getProcess());
}

void measureRestart() {
  const fs::path spool = Server::newSpool();
  storeEndedJobs(spool);
  const auto bytes = static_cast<double>(fs::file_size(spool / "sweep.db"));
  double empty = 0;
  {
    const Server server("");
    empty = memoryAfterStart(server);
  }
  const auto begin = Clock::now();
  const Server server("", "1", spool);
  const double full = memoryAfterStart(server);
  tell("start to first answer, with 100 000 ended jobs", std::chrono::duration<double>(Clock::now() - begin).count(), 2,
       " s");
  tell("memory of an ended job", std::max(0.0, full - empty) / c_endedJobs, 1, " KiB");
  tell("space of an ended job", bytes / 1024 / c_endedJobs, 1, " KiB");
}

/// 100 000 realizations of 10 columns in many packages.
JobStatus submitLarge(ServerConnection& connection, std::uint32_t partSize) {
  constexpr std::uint32_t c_realizations = 100000;
  constexpr std::uint32_t c_inPackage = 100;
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
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return peak;
}

/// Of the computation of a large sweep, from the submission's acceptance to the job's end.
struct SweepTime {
  double seconds = 0;
  double processorSeconds = 0;
};

SweepTime measureLargeSweep(const std::string& what, std::uint32_t partSize) {
  std::ofstream("/proc/self/clear_refs") << "5";  // the peak of this process begins anew
  const Server server("", "2");
  ServerConnection connection(server.getConnection());
  RemoteJob small(connection, connection.ask<JobStatus>(makeSubmission(1)));
  small.follow();
  // Rarely enough to leave both cores to the sweep.
  StatusWatch watch(server.getConnection().server, small.getStatus().jobId, std::chrono::milliseconds(20));
  const auto begin = Clock::now();
  JobStatus status = submitLarge(connection, partSize);
  const auto submitted = Clock::now();
  const double processorTime = readProcessorTime(server.getProcess());
  const double jobPeak = watchJobs(server.getProcess(), [&] {
    status = connection.ask<JobStatus>({RequestKind::Status, status.jobId});
    return isEnd(status.state);
  });
  const auto finished = Clock::now();
  const double used = readProcessorTime(server.getProcess()) - processorTime;
  for (std::size_t results = 0; results < status.realizations;) {
    Request request{RequestKind::Result, status.jobId};
    request.after = results;
    results += connection.ask<SweepResult>(request).realizations.size();
  }
  const auto fetched = Clock::now();
  watch.stop();
  const auto seconds = [](Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double>(to - from).count();
  };
  tell(what + ", parts", status.parts, 0, "");
  tell(what + ", submission", seconds(begin, submitted), 2, " s");
  tell(what + ", computation", seconds(submitted, finished), 2, " s");
  tell(what + ", processor time of the computation", used, 2, " s");
  tell(what + ", results", seconds(finished, fetched), 2, " s");
  tell(what + ", most memory of the server", peakMemory(server.getProcess()), 0, " MiB");
  tell(what + ", most memory of a job program", jobPeak, 0, " MiB");
  tell(what + ", most memory of the client", peakMemory(::getpid()), 0, " MiB");
  tell(what + ", longest wait of another client for a status", watch.getWait(1), 1, " ms");
  return {seconds(submitted, finished), used};
}

/// In turns, since the cores of a virtual machine may be slower when both compute, and that from time to time.
void measureLargeSweeps() {
  const std::string what = "100 000 x 10, parts beside one part, ";
  for (int round = 0; round < 5; ++round) {
    const SweepTime one = measureLargeSweep("100 000 x 10 as one part", 100000);
    const SweepTime several = measureLargeSweep("100 000 x 10 in parts on 2 cores", 0);
    tell(what + "speed of the computation", one.seconds / several.seconds, 2, " times");
    tell(what + "processor time", several.processorSeconds / one.processorSeconds, 2, " times");
  }
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
