#include <examples/parameter_sweep/common/Packages.h>
#include <tests/examples/faults/FaultyServer.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

namespace SweepTest {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds c_patience{15};
constexpr std::chrono::milliseconds c_pause{1};

std::string requestPort(const std::string& greeting) {
  const std::string label = "requestServerPort:";
  const std::size_t begin = greeting.find(label);
  if (begin == std::string::npos || greeting.find('\n', begin) == std::string::npos) {
    return {};
  }
  const std::size_t digits = begin + label.size();
  return greeting.substr(digits, greeting.find_first_not_of("0123456789", digits) - digits);
}

/// A build that is instrumented for coverage writes counts when a program ends. A call that fails, or a kill, would
/// spoil the files that all programs share, so the server gets files of its own.
const TestSupport::Command& apartFromCoverage(const TestSupport::Command& command) {
  const std::string folder = std::filesystem::current_path() / "coverage-of-faulty-servers";
  ::setenv("GCOV_PREFIX", folder.c_str(), 1);  // NOLINT(concurrency-mt-unsafe): before any thread
  return command;
}

}  // namespace

using namespace ParameterSweep;

FaultyServer::FaultyServer(const TestSupport::Command& command) : m_program(apartFromCoverage(command)) {
  const auto deadline = Clock::now() + c_patience;
  while (m_program.isRunning() && Clock::now() < deadline) {
    const std::string port = requestPort(m_program.output());
    if (!port.empty()) {
      m_address = "127.0.0.1:" + port;
      m_client = std::make_unique<RawClient>(m_address);
      return;
    }
    std::this_thread::sleep_for(c_pause);
  }
}

std::optional<ReplyContent> FaultyServer::ask(const Request& request) {
  if (!isReady()) {
    return std::nullopt;
  }
  m_client->send({writeRequestPackage(request)});
  const auto deadline = Clock::now() + c_patience;
  while (Clock::now() < deadline) {
    const bool wasRunning = isRunning();
    const std::string package = m_client->received();
    if (!package.empty()) {
      const Reply reply = readReplyPackage(package);
      if (reply.requestId == request.id || reply.requestId == c_noRequest) {
        return reply.content;
      }
    } else if (!wasRunning) {
      return std::nullopt;
    } else {
      std::this_thread::sleep_for(c_pause);
    }
  }
  m_isDeaf = true;
  return std::nullopt;
}

bool FaultyServer::waitForEnd(std::chrono::seconds patience) {
  const auto deadline = Clock::now() + patience;
  while (m_program.isRunning()) {
    if (Clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(c_pause);
  }
  return true;
}

void FaultyServer::kill() {
  m_program.signal(SIGKILL);
  waitForEnd(c_patience);
}

bool FaultyServer::stop() {
  m_program.signal(SIGTERM);
  const bool hasEnded = waitForEnd(c_patience);
  if (!hasEnded) {
    kill();
  }
  return hasEnded;
}

}  // namespace SweepTest
