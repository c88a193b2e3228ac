#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <examples/parameter_sweep/client/Channel.h>
#include <examples/parameter_sweep/client/RemoteJob.h>
#include <examples/parameter_sweep/client/ServerConnection.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/common/SweepSchema.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>
#include <zmq.hpp>

namespace {

using namespace ParameterSweep;

constexpr std::chrono::milliseconds c_short{300};
constexpr std::chrono::seconds c_enoughToConnect{3};
constexpr std::chrono::seconds c_enoughToAsk{10};
constexpr std::chrono::minutes c_patience{1};

Channel::Clock::time_point in(Channel::Clock::duration time) { return Channel::Clock::now() + time; }

KeyPair makeKeys() {
  std::array<char, 41> publicKey{};
  std::array<char, 41> secretKey{};
  EXPECT_EQ(zmq_curve_keypair(publicKey.data(), secretKey.data()), 0);
  return {publicKey.data(), secretKey.data()};
}

/// A socket that takes connections as a server does, and answers only when the test has it do so.
class Listener {
 public:
  explicit Listener(const std::string& address = "127.0.0.1", const std::optional<KeyPair>& keys = {},
                    const std::string& port = "*") {
    m_socket.set(zmq::sockopt::linger, 0);
    m_socket.set(zmq::sockopt::ipv6, true);
    if (keys) {
      m_socket.set(zmq::sockopt::curve_server, true);
      m_socket.set(zmq::sockopt::curve_secretkey, keys->secretKey);
    }
    zmq_socket_monitor(m_socket.handle(), "inproc://connections", ZMQ_EVENT_HANDSHAKE_SUCCEEDED);
    m_monitor.connect("inproc://connections");
    m_socket.bind("tcp://" + address + ":" + port);
  }

  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  ~Listener() { zmq_socket_monitor(m_socket.handle(), nullptr, 0); }

  std::string endpoint() const { return m_socket.get(zmq::sockopt::last_endpoint); }
  std::string port() const { return endpoint().substr(endpoint().rfind(':') + 1); }

  void awaitConnection() {
    zmq::message_t event;
    m_monitor.set(zmq::sockopt::rcvtimeo, static_cast<int>(std::chrono::milliseconds(c_patience).count()));
    ASSERT_TRUE(m_monitor.recv(event));
  }

  /// The next request; `sender` gets the connection that it came over, or stays empty when none comes for so long.
  Request receive(zmq::message_t& sender, std::chrono::milliseconds wait = c_enoughToAsk) {
    zmq::message_t text;
    m_socket.set(zmq::sockopt::rcvtimeo, static_cast<int>(wait.count()));
    return m_socket.recv(sender) && m_socket.recv(text) ? readRequestPackage(text.to_string()) : Request();
  }

  void send(zmq::message_t& receiver, const Reply& reply) {
    m_socket.send(receiver, zmq::send_flags::sndmore);
    m_socket.send(zmq::buffer(writeReplyPackage(reply, "test")), zmq::send_flags::none);
  }

  /// Answers the next request, which must be a `Ping`, and returns its id; empty when there is none for a while.
  std::string answer() {
    zmq::message_t sender;
    const Request request = receive(sender);
    if (request.kind != RequestKind::Ping) {
      return {};
    }
    send(sender, {ServerHealth{}, request.id});
    return request.id;
  }

  /// Sends the next message back to where it came from.
  void echo() {
    zmq::message_t sender;
    zmq::message_t text;
    ASSERT_TRUE(m_socket.recv(sender));
    ASSERT_TRUE(m_socket.recv(text));
    m_socket.send(sender, zmq::send_flags::sndmore);
    m_socket.send(text, zmq::send_flags::none);
  }

 private:
  zmq::context_t m_context;
  zmq::socket_t m_socket{m_context, zmq::socket_type::router};
  zmq::socket_t m_monitor{m_context, zmq::socket_type::pair};
};

void expectEcho(Channel& channel, Listener& server, const std::string& package) {
  channel.send(package, in(c_patience));
  server.echo();
  EXPECT_EQ(channel.receive(in(c_patience)), package);
}

/// Ends the listener and has another one take connections at its port.
void restart(std::unique_ptr<Listener>& listener) {
  const std::string port = listener->port();
  listener.reset();
  listener = std::make_unique<Listener>("127.0.0.1", std::nullopt, port);
  listener->awaitConnection();
}

/// What the wait for an answer ends with.
SweepFailure failureOf(Channel& channel, Channel::Clock::duration patience) {
  try {
    channel.send("hello", in(patience));
    channel.receive(in(patience));
  } catch (const SweepFailure& failure) {
    return failure;
  }
  return {FailureKind::Internal, "no failure"};
}

SweepFailure failureAt(const ServerAddress& address, Channel::Clock::duration patience) {
  Channel channel(address, {});
  return failureOf(channel, patience);
}

TEST(SweepConnectionTest, NameThatIsNotKnownIsNamed) {
  const SweepFailure failure = failureAt({"no-such-machine.invalid", "5701"}, c_short);
  EXPECT_EQ(failure.getKind(), FailureKind::Unreachable);
  EXPECT_EQ(failure.getMessage().find(
                "no answer from no-such-machine.invalid:5701: the name 'no-such-machine.invalid' is not known ("),
            0U)
      << failure.getMessage();
}

TEST(SweepConnectionTest, MachineWhereNothingListensIsNamed) {
  EXPECT_EQ(failureAt({"127.0.0.1", "1"}, c_short).getMessage(),
            "no answer from 127.0.0.1:1: no connection; check that sweep-server runs there, and the port");
}

TEST(SweepConnectionTest, ProgramThatTakesConnectionsAndSaysNothingIsNotTakenForABusyServer) {
  boost::asio::io_context context;
  const boost::asio::ip::tcp::acceptor acceptor(
      context, boost::asio::ip::tcp::endpoint(boost::asio::ip::address_v4::loopback(), 0));
  const std::string port = std::to_string(acceptor.local_endpoint().port());
  EXPECT_EQ(
      failureAt({"127.0.0.1", port}, c_enoughToConnect).getMessage(),
      "no answer from 127.0.0.1:" + port +
          ": connected, but the handshake did not complete; check the port and --keys. The server may also be busy: "
          "try again later");
}

TEST(SweepConnectionTest, ServerThatIsThereAndDoesNotAnswerIsBusy) {
  const Listener server;
  Channel channel({"127.0.0.1", server.port()}, {});
  channel.connect(in(c_patience));
  EXPECT_EQ(failureOf(channel, c_short).getMessage(),
            "no answer from 127.0.0.1:" + server.port() +
                ": the server is there but busy; try again later, or give more time with --timeout");
}

TEST(SweepConnectionTest, HandshakeThatFailsEndsEachWaitAtOnce) {
  const Listener server("127.0.0.1", makeKeys());
  for (int round = 0; round < 100; ++round) {
    Channel channel({"127.0.0.1", server.port()}, {});
    for (int again = 0; again < 2; ++again) {
      const SweepFailure failure = failureOf(channel, c_patience);
      EXPECT_EQ(failure.getKind(), FailureKind::AccessRefused) << failure.getMessage();
    }
  }
}

TEST(SweepConnectionTest, KeysOfAnotherServerAreNotTaken) {
  const Listener server("127.0.0.1", makeKeys());
  Channel channel({"127.0.0.1", server.port()}, ClientKeys{makeKeys().publicKey, makeKeys()});
  EXPECT_NE(failureOf(channel, c_enoughToConnect).getMessage().find("keys"), std::string::npos);
}

TEST(SweepConnectionTest, LostConnectionIsAFailureAndTheNextPackageMakesANewOne) {
  auto server = std::make_unique<Listener>();
  const std::string port = server->port();
  Channel channel({"127.0.0.1", port}, {});
  expectEcho(channel, *server, "one");
  channel.send("two", in(c_patience));
  server.reset();
  try {
    channel.receive(in(c_patience));
    FAIL() << "nobody answered";
  } catch (const SweepFailure& failure) {
    EXPECT_NE(failure.getMessage().find(" closed the connection"), std::string::npos) << failure.getMessage();
  }
  try {
    channel.receive(in(c_patience));
    FAIL() << "nobody answered";
  } catch (const SweepFailure& failure) {
    EXPECT_NE(failure.getMessage().find("nothing was sent"), std::string::npos) << failure.getMessage();
  }
  server = std::make_unique<Listener>("127.0.0.1", std::nullopt, port);
  expectEcho(channel, *server, "three");
}

TEST(SweepConnectionTest, LossThatIsSeenWhenThePackageIsSentIsAFailureToo) {
  auto server = std::make_unique<Listener>();
  const std::string port = server->port();
  Channel channel({"127.0.0.1", port}, {});
  expectEcho(channel, *server, "one");
  server.reset();
  // What is sent until the loss is seen waits in the socket.
  bool isRefused = false;
  for (const auto deadline = in(c_patience); !isRefused && Channel::Clock::now() < deadline;) {
    try {
      channel.send("two", in(c_patience));
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    } catch (const ConnectionLost&) {
      isRefused = true;
    }
  }
  ASSERT_TRUE(isRefused);
  EXPECT_FALSE(channel.isConnected());
  server = std::make_unique<Listener>("127.0.0.1", std::nullopt, port);
  expectEcho(channel, *server, "three");  // nothing old comes first
}

TEST(SweepConnectionTest, ConnectionThatWasLostAndMadeAgainMeanwhileIsALostOne) {
  auto server = std::make_unique<Listener>();
  const std::string port = server->port();
  Channel channel({"127.0.0.1", port}, {});
  expectEcho(channel, *server, "one");
  restart(server);
  EXPECT_THROW(channel.send("two", in(c_patience)), ConnectionLost);
}

/// Ten requests to a server that answers two and is then restarted, before the last one is sent.
class InterruptedRequests {
 public:
  InterruptedRequests() {
    while (m_requests.size() < c_requests) {
      m_requests.push_back({RequestKind::Ping});
    }
  }

  /// The next request; what happens to the connection meanwhile depends on how many were taken.
  std::optional<Request> next() {
    if (m_given == c_ahead) {
      m_server->answer();
      m_server->answer();
    } else if (m_given == c_requests - 1) {  // one of the answers has been received, the other one has arrived
      restart(m_server);
    } else if (m_given == c_requests) {
      answerRest();
      return std::nullopt;
    }
    return m_requests[m_given++];
  }

  std::string address() const { return "127.0.0.1:" + m_server->port(); }
  /// The ids of the requests that the second server must get, and of those that it got.
  std::vector<std::string> expected() const {
    std::vector<std::string> ids;
    for (std::size_t index = 2; index < m_requests.size(); ++index) {
      ids.push_back(m_requests[index].id);
    }
    return ids;
  }
  const std::vector<std::string>& received() const { return m_received; }

 private:
  static constexpr std::size_t c_requests = 10;
  static constexpr std::size_t c_ahead = 8;

  void answerRest() {
    do {
      m_received.push_back(m_server->answer());
    } while (!m_received.back().empty() && m_received.back() != m_requests.back().id);
  }

  const Drelvan::ParserSession m_parser{SweepSchema()};
  std::vector<Request> m_requests;
  std::size_t m_given = 0;
  std::unique_ptr<Listener> m_server = std::make_unique<Listener>();
  std::vector<std::string> m_received;
};

TEST(SweepConnectionTest, RequestsWithoutAnAnswerAreSentAgainInTheirOrder) {
  InterruptedRequests requests;
  ServerConnection connection({requests.address(), 60, {}});
  connection.askInTurn<ServerHealth>([&] { return requests.next(); });
  EXPECT_EQ(requests.received(), requests.expected());
}

/// Two jobs of a server whose publisher is restarted at the same port.
class FollowedJobsTest : public testing::Test {
 protected:
  FollowedJobsTest() { m_host.setPublisherPort(std::stoi(m_publisher->port())); }

  /// Follows the jobs until both are followed over one connection.
  void follow(ServerConnection& connection, const std::vector<SweepJobId>& jobs) const {
    bool areFollowed = false;
    for (const auto deadline = in(c_patience); !areFollowed && Channel::Clock::now() < deadline;) {
      areFollowed = connection.follow(jobs, m_host);
      connection.receiveProgress(c_short);
      areFollowed = areFollowed && connection.isFollowing();
    }
    EXPECT_TRUE(areFollowed);
  }

  /// Receives requests until both jobs were asked for, and returns the connection that they came over.
  zmq::message_t expectBoth() {
    zmq::message_t sender;
    std::set<std::string> missing{m_first.getUniqueId(), m_second.getUniqueId()};
    while (!missing.empty()) {  // one may be asked for several times
      const Request request = m_publisher->receive(sender);
      if (request.kind != RequestKind::Follow) {
        ADD_FAILURE() << missing.size() << " jobs are not followed";
        break;
      }
      missing.erase(request.jobId.getUniqueId());
    }
    return sender;
  }

  JobStatus status(const SweepJobId& jobId, JobState state) const {
    JobStatus status{jobId, state};
    status.server = m_host;
    return status;
  }

  const Drelvan::ParserSession m_parser{SweepSchema()};
  std::unique_ptr<Listener> m_publisher = std::make_unique<Listener>();
  Listener m_server;
  Drelvan::HostInfo m_host;
  SweepJobId m_first;
  SweepJobId m_second;
  ServerConnection m_connection{{"127.0.0.1:" + m_server.port(), 60, {}}};
};

TEST_F(FollowedJobsTest, AllAreAskedForAgainAfterALoss) {
  follow(m_connection, {m_first, m_second});
  restart(m_publisher);
  m_connection.receiveProgress(c_short);
  EXPECT_FALSE(m_connection.isFollowing());
  follow(m_connection, {m_first, m_second});
  expectBoth();
}

TEST_F(FollowedJobsTest, AllAreAskedForAgainAfterALossWhileTheyAreAskedFor) {
  constexpr std::size_t c_enoughForARestart = 2000;
  std::vector<SweepJobId> jobs(c_enoughForARestart, m_second);
  jobs.insert(jobs.begin(), m_first);
  const auto restarting = std::async(std::launch::async, [&] {
    zmq::message_t sender;
    EXPECT_EQ(m_publisher->receive(sender).jobId.getUniqueId(), m_first.getUniqueId());
    restart(m_publisher);
  });
  follow(m_connection, jobs);
  restarting.wait();
  m_connection.receiveProgress(c_short);
  if (!m_connection.isFollowing()) {  // all had been asked for before the restart
    follow(m_connection, jobs);
  }
  expectBoth();
}

TEST_F(FollowedJobsTest, JobsAreFollowedToTheirEndsAfterALoss) {
  std::atomic<bool> isOver{false};
  const auto answering = std::async(std::launch::async, [&] {
    while (!isOver) {
      zmq::message_t sender;
      const Request request = m_server.receive(sender, c_short);
      if (!sender.empty()) {
        m_server.send(sender, {status(request.jobId, JobState::Running), request.id});
      }
    }
  });
  const auto publishing = std::async(std::launch::async, [&] {
    expectBoth();
    restart(m_publisher);
    zmq::message_t client = expectBoth();
    for (const SweepJobId& jobId : {m_first, m_second}) {
      zmq::message_t receiver;
      receiver.copy(client);
      m_publisher->send(receiver, {status(jobId, JobState::Finished)});
    }
    isOver = true;
  });
  RemoteJob first(m_connection, status(m_first, JobState::Queued));
  RemoteJob second(m_connection, status(m_second, JobState::Queued));
  RemoteJob::followAll(m_connection, {&first, &second});
  EXPECT_EQ(first.getState(), JobState::Finished);
  EXPECT_EQ(second.getState(), JobState::Finished);
}

TEST(SweepConnectionTest, HostWithSeveralAddressesIsReachedAtTheOneThatAnswers) {
  Listener server;
  Channel channel({"localhost", server.port()}, {});
  expectEcho(channel, server, "one");
}

TEST(SweepConnectionTest, AddressesOfIpVersion6AreReached) {
  std::optional<Listener> server;
  try {
    server.emplace("[::1]");
  } catch (const zmq::error_t& error) {
    GTEST_SKIP() << "this machine has no IPv6: " << error.what();
  }
  Channel channel(ServerAddress::fromText("[::1]:" + server->port()), {});
  expectEcho(channel, *server, "one");
}

TEST(SweepConnectionTest, PackagesThatMayComeAreWaitedForWithoutAFailure) {
  Listener server;
  Channel channel({"127.0.0.1", server.port()}, {});
  channel.send("one", in(c_patience));
  EXPECT_EQ(channel.receiveIfAny(in(c_short)), std::nullopt);
  server.echo();
  EXPECT_EQ(channel.receiveIfAny(in(c_patience)), "one");
}

}  // namespace
