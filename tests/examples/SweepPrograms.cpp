#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/Spool.h>
#include <tests/examples/SweepPrograms.h>

#include <algorithm>
#include <boost/process.hpp>
#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <thread>

namespace SweepTest {

namespace {

namespace bp = boost::process;
using TestSupport::TemporaryFolder;

constexpr std::chrono::minutes c_patience{2};

bp::child start(const std::string& program, const Arguments& arguments, const TemporaryFolder& folder) {
  return bp::child(bp::exe = program, bp::args = arguments, bp::std_in<bp::null, bp::std_out> folder.file("out"),
                   bp::std_err > folder.file("err"));
}

bool waitFor(bp::child& child) {
  const auto deadline = std::chrono::steady_clock::now() + c_patience;
  while (child.running()) {
    if (std::chrono::steady_clock::now() > deadline) {
      child.terminate();
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

Outcome finish(bp::child& child, const TemporaryFolder& folder) {
  Outcome outcome;
  outcome.exitCode = waitFor(child) ? child.exit_code() : -1;
  outcome.output = TemporaryFolder::read(folder.file("out"));
  outcome.errors = TemporaryFolder::read(folder.file("err"));
  return outcome;
}

std::string wordAfter(const std::string& text, const std::string& label) {
  const std::size_t begin = text.find(label) + label.size();
  return text.substr(begin, text.find_first_not_of("0123456789", begin) - begin);
}

}  // namespace

std::string serverProgram() { return SWEEP_SERVER; }

std::string clientProgram() { return SWEEP_CLIENT; }

std::string slowLauncher(const std::string& seconds) { return "sh -c 'sleep " + seconds + "; exec \"$@\"' launcher"; }

void pause() { std::this_thread::sleep_for(std::chrono::milliseconds(20)); }

Outcome run(const std::string& program, const Arguments& arguments) {
  const TemporaryFolder folder;
  bp::child child = start(program, arguments, folder);
  return finish(child, folder);
}

Outcome runOnTerminal(const std::string& commandLine) {
  return run(bp::search_path("script").string(), {"--quiet", "--return", "--command", commandLine, "/dev/null"});
}

void storeProgress(const std::string& spool, const std::string& job, double progress) {
  using namespace ParameterSweep;
  JobStatus status;
  status.jobId = SweepJobId::fromText(job);
  status.state = JobState::Running;
  status.progress = progress;
  writeStoredFile(JobFolder(spool, status.jobId).progress, writeReplyPackage({status}, "test"));
}

RunningClient::RunningClient(const std::string& server, const Arguments& arguments) {
  Arguments all{"--server", server};
  all.insert(all.end(), arguments.begin(), arguments.end());
  m_child = start(clientProgram(), all, m_folder);
}

RunningClient::~RunningClient() {
  std::error_code ignored;
  m_child.terminate(ignored);
}

std::string RunningClient::errors() const { return TemporaryFolder::read(m_folder.file("err")); }

Outcome RunningClient::wait() { return finish(m_child, m_folder); }

Server::Server(const std::string& spool, const Arguments& arguments) {
  Arguments all{"--spool", spool};
  for (const char* port : {"--request-port", "--publisher-port"}) {
    if (std::count(arguments.begin(), arguments.end(), port) == 0) {
      all.insert(all.end(), {port, "0"});
    }
  }
  all.insert(all.end(), arguments.begin(), arguments.end());
  m_child = start(serverProgram(), all, m_folder);
  const auto isReady = [&] {
    return TemporaryFolder::read(m_folder.file("out")).find('\n') != std::string::npos || !m_child.running();
  };
  const bool isStarted = eventually(isReady) && m_child.running();
  EXPECT_TRUE(isStarted) << TemporaryFolder::read(m_folder.file("err"));
  const std::string greeting = TemporaryFolder::read(m_folder.file("out"));
  m_requestPort = wordAfter(greeting, "requestServerPort:");
  m_publisherPort = wordAfter(greeting, "publisherPort:");
}

Server::~Server() {
  if (!m_wasEnded) {
    EXPECT_EQ(stop(), 0) << TemporaryFolder::read(m_folder.file("err"));
  }
}

Outcome Server::client(Arguments arguments) const {
  arguments.insert(arguments.begin(), {"--server", address()});
  return run(clientProgram(), arguments);
}

std::string Server::submit(const std::string& expression, const std::string& parameters) const {
  const Outcome outcome = client({"submit", "--expression", expression, "--parameters", parameters});
  EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
  return outcome.output.substr(0, outcome.output.find('\n'));
}

std::string Server::state(const std::string& job) const {
  const Outcome outcome = client({"--json", "status", job});
  return outcome.exitCode == 0 ? nlohmann::json::parse(outcome.output)["state"].get<std::string>() : outcome.errors;
}

std::string Server::waitForState(const std::string& job, const std::string& wanted) const {
  std::string last;
  eventually([&] { return (last = state(job)) == wanted; });
  return last;
}

void Server::kill() {
  m_wasEnded = true;
  ::kill(m_child.id(), SIGKILL);
  m_child.wait();
}

int Server::stop() {
  m_wasEnded = true;
  if (m_child.running()) {
    ::kill(m_child.id(), SIGTERM);
  }
  return waitFor(m_child) ? m_child.exit_code() : -1;
}

bool Server::isRunning() { return m_child.running(); }

}  // namespace SweepTest
