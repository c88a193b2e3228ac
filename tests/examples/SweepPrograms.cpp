#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/Spool.h>
#include <gtest/gtest.h>
#include <tests/examples/SweepPrograms.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <thread>

namespace SweepTest {

namespace {

Arguments commandOf(const std::string& program, const Arguments& arguments) {
  Arguments command{program};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return command;
}

Arguments serverCommand(const std::string& spool, const Arguments& arguments, AtStop atStop) {
  Arguments all{"--spool", spool};
  for (const char* port : {"--request-port", "--publisher-port"}) {
    if (std::count(arguments.begin(), arguments.end(), port) == 0) {
      all.insert(all.end(), {port, "0"});
    }
  }
  const bool isLocal = std::count(arguments.begin(), arguments.end(), "slurm") == 0;
  if (isLocal && atStop == AtStop::EndJobs) {
    all.emplace_back("--stop-jobs");
  }
  all.insert(all.end(), arguments.begin(), arguments.end());
  return commandOf(serverProgram(), all);
}

std::string wordAfter(const std::string& text, const std::string& label) {
  const std::size_t begin = text.find(label) + label.size();
  return text.substr(begin, text.find_first_not_of("0123456789", begin) - begin);
}

/// Servers and those who wait for jobs may run as long as a test may.
TestSupport::ProgramOptions patient(const std::string& input = {}) {
  TestSupport::ProgramOptions options;
  options.input = input;
  options.timeout = std::chrono::seconds(500);
  return options;
}

}  // namespace

std::string serverProgram() { return SWEEP_SERVER; }

std::string clientProgram() { return SWEEP_CLIENT; }

std::string jobProgram() { return SWEEP_JOB; }

std::string slowLauncher(const std::string& seconds) { return "sh -c 'sleep " + seconds + "; exec \"$@\"' launcher"; }

void pause() { std::this_thread::sleep_for(std::chrono::milliseconds(20)); }

Outcome run(const std::string& program, const Arguments& arguments, const std::string& input) {
  return TestSupport::runProgram(commandOf(program, arguments), patient(input));
}

Outcome runOnTerminal(const std::string& commandLine) {
  return run("script", {"--quiet", "--return", "--command", commandLine, "/dev/null"});
}

void storeProgress(const std::string& spool, const std::string& job, double progress) {
  using namespace ParameterSweep;
  JobStatus status;
  status.jobId = SweepJobId::fromText(job);
  status.state = JobState::Running;
  status.progress = progress;
  replaceFile(PartFiles(spool, status.jobId, 1, 1).progress, writeReplyPackage({status}, "test"));
}

RunningClient::RunningClient(const std::string& server, const Arguments& arguments)
    : m_program(commandOf(clientProgram(), commandOf("--server", commandOf(server, arguments))), patient()) {}

Server::Server(const std::string& spool, const Arguments& arguments, AtStop atStop)
    : m_program(serverCommand(spool, arguments, atStop), patient()) {
  const auto isReady = [&] { return m_program.output().find('\n') != std::string::npos || !m_program.isRunning(); };
  const bool isStarted = eventually(isReady) && m_program.isRunning();
  EXPECT_TRUE(isStarted) << m_program.errors();
  const std::string greeting = m_program.output();
  m_requestPort = wordAfter(greeting, "requestServerPort:");
  m_publisherPort = wordAfter(greeting, "publisherPort:");
}

Server::~Server() {
  if (!m_wasEnded) {
    EXPECT_EQ(stop(), 0) << m_program.errors();
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
  m_program.signal(SIGKILL);
  m_program.wait();
}

int Server::stop() {
  m_wasEnded = true;
  m_program.signal(SIGTERM);
  return m_program.wait().exitCode;
}

}  // namespace SweepTest
