#include <arpa/inet.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <tests/examples/SweepPrograms.h>
#include <tests/examples/faults/FaultyServer.h>
#include <tests/support/Sanitized.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>
#include <zmq.hpp>

/// What clients may take of a server is bounded, and a server that is short of something goes on.
namespace {

using namespace ParameterSweep;
using SweepTest::FaultyServer;
using TestSupport::Command;

// A sanitizer keeps freed memory for a while.
constexpr double c_mostMebibytes = TestSupport::c_sanitized ? 2000 : 250;
constexpr double c_mostMebibytesOfReplies = TestSupport::c_sanitized ? 1000 : 20;

/// The most memory that a process had, in MiB.
double peakMemory(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string word; status >> word;) {
    if (word == "VmHWM:") {
      double kibibytes = 0;
      status >> kibibytes;
      return kibibytes / 1024;
    }
  }
  ADD_FAILURE() << "the process is gone";
  return 0;
}

std::size_t countDescriptors(pid_t process) {
  std::error_code ignored;
  const std::filesystem::directory_iterator descriptors("/proc/" + std::to_string(process) + "/fd", ignored);
  return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

/// Connections that never say anything. Those that the server closes are made again.
class SilentConnections {
 public:
  SilentConnections(const std::string& address, std::size_t count) : m_sockets(count, -1) {
    m_address.sin_family = AF_INET;
    m_address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    m_address.sin_port = ::htons(static_cast<std::uint16_t>(std::stoi(address.substr(address.find(':') + 1))));
    keepUp();
  }
  SilentConnections(const SilentConnections&) = delete;
  SilentConnections& operator=(const SilentConnections&) = delete;
  ~SilentConnections() {
    for (const int socket : m_sockets) {
      ::close(socket);
    }
  }

  void keepUp() {
    for (int& socket : m_sockets) {
      if (socket < 0 || isClosed(socket)) {
        ::close(socket);
        socket = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        ASSERT_GE(socket, 0) << "the test itself needs as many descriptors";
        ::connect(socket, reinterpret_cast<const sockaddr*>(&m_address), sizeof m_address);
      }
    }
  }

 private:
  static bool isClosed(int socket) {
    char greeting[256];
    ssize_t size = 0;
    while ((size = ::recv(socket, greeting, sizeof greeting, 0)) > 0) {  // the server's half of the handshake
    }
    return size == 0 || (errno != EAGAIN && errno != ENOTCONN);
  }

  sockaddr_in m_address{};
  std::vector<int> m_sockets;
};

void allowManyDescriptors() {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

/// A client that sends and never reads.
class UnreadingClient {
 public:
  explicit UnreadingClient(const std::string& address) : m_socket(m_context, zmq::socket_type::dealer) {
    m_socket.set(zmq::sockopt::linger, 0);
    m_socket.set(zmq::sockopt::rcvhwm, 1);
    m_socket.set(zmq::sockopt::sndhwm, 0);
    m_socket.connect("tcp://" + address);
  }
  /// `package` must outlive the object.
  void send(const std::string& package) {
    m_socket.send(zmq::message_t(const_cast<char*>(package.data()), package.size(), nullptr),  // NOLINT
                  zmq::send_flags::none);
  }

 private:
  zmq::context_t m_context;
  zmq::socket_t m_socket;
};

class SweepBoundsTest : public SweepTest::RawTest {
 protected:
  std::string spool() const { return m_folder.file("spool"); }

  /// A server that a shell prepares.
  Command server(const std::string& preparation, const Command& options = {}) const {
    Command command{"sh",
                    "-c",
                    preparation + " exec \"$0\" \"$@\"",
                    SweepTest::serverProgram(),
                    "--request-port",
                    "0",
                    "--publisher-port",
                    "0",
                    "--spool",
                    spool()};
    command.insert(command.end(), options.begin(), options.end());
    return command;
  }

  static bool isFinished(FaultyServer& server, const SweepJobId& jobId) {
    return SweepTest::eventually([&] {
      const auto answer = server.ask({RequestKind::Status, jobId});
      const auto* status = answer ? std::get_if<JobStatus>(&*answer) : nullptr;
      return status != nullptr && status->state == JobState::Finished;
    });
  }
  static SweepJobId submit(FaultyServer& server, Request request) {
    const auto answer = server.ask(request);
    EXPECT_TRUE(answer && std::holds_alternative<JobStatus>(*answer));
    return request.jobId;
  }

  TestSupport::TemporaryFolder m_folder;
};

TEST_F(SweepBoundsTest, SilentConnectionsSpoilNoResultAndKeepNobodyOutForLong) {
  constexpr std::size_t c_connections = 1100;
  constexpr std::size_t c_mostDescriptors = 1024;
  allowManyDescriptors();
  FaultyServer server(
      this->server("ulimit -n 1024;",
                   {"--launch-with", "sh -c 'touch " + m_folder.file("started") + "; while [ ! -e " +
                                         m_folder.file("go") + " ]; do sleep 0.01; done; exec \"$@\"' launcher"}));
  ASSERT_TRUE(server.isReady());
  const SweepJobId jobId = submit(server, SweepTest::makeSubmission("21*x"));
  ASSERT_TRUE(SweepTest::eventually([&] { return std::filesystem::exists(m_folder.file("started")); }));
  {
    SilentConnections connections(server.address(), c_connections);
    EXPECT_TRUE(SweepTest::eventually([&] {
      connections.keepUp();
      return countDescriptors(server.id()) >= c_mostDescriptors;
    })) << countDescriptors(server.id());
    m_folder.write("go", "");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (std::chrono::steady_clock::now() < deadline) {
      connections.keepUp();
      EXPECT_TRUE(server.ask({RequestKind::Status, jobId}).has_value());
    }
  }
  EXPECT_TRUE(isFinished(server, jobId)) << server.log();
  SweepTest::RawClient other(server.address());
  const ReplyContent result = other.ask(Request{RequestKind::Result, jobId});
  ASSERT_TRUE(std::holds_alternative<SweepResult>(result)) << SweepTest::refusal(result);
  EXPECT_EQ(std::get<SweepResult>(result).realizations.at(0).value, 42);
  const ReplyContent log = other.ask(Request{RequestKind::Log, jobId});
  ASSERT_TRUE(std::holds_alternative<JobMessages>(log)) << SweepTest::refusal(log);
  const auto& messages = std::get<JobMessages>(log).messages;
  EXPECT_TRUE(std::any_of(messages.begin(), messages.end(), [](const LogMessage& message) {
    return message.group == "sweep-job" && message.text == "finished";
  })) << server.log();
  EXPECT_TRUE(server.stop());
}

TEST_F(SweepBoundsTest, StandardErrorThatNobodyReadsStopsNothing) {
  constexpr int c_fullPipe = 60000;
  const std::string pipe = m_folder.file("errors");
  ASSERT_EQ(::mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR), 0);
  const int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  FaultyServer server(this->server("exec 2>" + pipe + ";"));
  ASSERT_TRUE(server.isReady());
  int waiting = 0;
  for (int count = 0; count < 5000 && waiting < c_fullPipe; ++count) {
    ASSERT_TRUE(server.ask({RequestKind::Status, SweepJobId()}).has_value());
    ::ioctl(reader, FIONREAD, &waiting);
  }
  EXPECT_GE(waiting, c_fullPipe);
  for (int count = 0; count < 200; ++count) {
    ASSERT_TRUE(server.ask({RequestKind::Status, SweepJobId()}).has_value());
  }
  EXPECT_TRUE(isFinished(server, submit(server, SweepTest::makeSubmission("21*x"))));
  EXPECT_TRUE(server.stop());
  EXPECT_EQ(server.wait().exitCode, 0);
  ::close(reader);
}

TEST_F(SweepBoundsTest, PackagesThatWaitTakeBoundedMemory) {
  constexpr std::size_t c_size = std::size_t{4} << 20U;
  constexpr int c_packages = 150;
  FaultyServer server(this->server("", {"--max-package", std::to_string(c_size)}));
  ASSERT_TRUE(server.isReady());
  std::string package = writeRequestPackage({RequestKind::Status, SweepJobId()});
  package.insert(package.rfind("</"), std::string(c_size - package.size(), ' '));
  UnreadingClient client(server.address());
  for (int count = 0; count < c_packages; ++count) {
    client.send(package);
  }
  const auto countRefused = [&] {
    const std::string log = server.log();
    int count = 0;
    for (std::size_t place = 0; (place = log.find("refused: ", place)) != std::string::npos; ++place) {
      ++count;
    }
    return count;
  };
  EXPECT_TRUE(SweepTest::eventually([&] { return countRefused() == c_packages; })) << countRefused();
  EXPECT_TRUE(server.ask(Request{RequestKind::Ping}).has_value());
  EXPECT_LT(peakMemory(server.id()), c_mostMebibytes);
  EXPECT_TRUE(server.stop());
}

TEST_F(SweepBoundsTest, ResultsThatNobodyReadsTakeBoundedMemory) {
  constexpr std::uint32_t c_realizations = 1000;
  constexpr int c_requests = 600;
  FaultyServer server(this->server(""));
  ASSERT_TRUE(server.isReady());
  Request submission = SweepTest::makeSubmission("x");
  for (std::uint32_t id = 2; id <= c_realizations; ++id) {
    submission.sweep.vectors.push_back({id, {{"x", 1.0 / id}}});
  }
  const SweepJobId jobId = submit(server, submission);
  ASSERT_TRUE(isFinished(server, jobId));
  ASSERT_TRUE(server.ask({RequestKind::Result, jobId}).has_value());
  const double before = peakMemory(server.id());
  const std::string package = writeRequestPackage({RequestKind::Result, jobId});
  UnreadingClient client(server.address());
  for (int count = 0; count < c_requests; ++count) {
    client.send(package);
  }
  EXPECT_TRUE(SweepTest::eventually(
      [&] { return server.log().find("dropped a reply to a client that does not read") != std::string::npos; }));
  EXPECT_TRUE(server.ask(Request{RequestKind::Ping}).has_value());
  EXPECT_LT(peakMemory(server.id()) - before, c_mostMebibytesOfReplies);
  EXPECT_TRUE(server.stop());
}

}  // namespace
