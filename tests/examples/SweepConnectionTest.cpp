#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <examples/parameter_sweep/client/Channel.h>
#include <examples/parameter_sweep/client/ServerConnection.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/common/SweepSchema.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>
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
    ASSERT_TRUE(m_monitor.recv(event));
  }

  /// The next request, which is `Status` when none comes for a while; `sender` gets the connection that it came over.
  Request receive(zmq::message_t& sender) {
    zmq::message_t text;
    m_socket.set(zmq::sockopt::rcvtimeo, 10000);
    return m_socket.recv(sender) && m_socket.recv(text) ? readRequestPackage(text.to_string()) : Request();
  }

  /// Answers the next request, which must be a `Ping`, and returns its id; empty when there is none for a while.
  std::string answer() {
    zmq::message_t sender;
    const Request request = receive(sender);
    if (request.kind != RequestKind::Ping) {
      return {};
    }
    m_socket.send(sender, zmq::send_flags::sndmore);
    m_socket.send(zmq::buffer(writeReplyPackage({ServerHealth{}, request.id}, "test")), zmq::send_flags::none);
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
          ": something listens there but does not speak to this client; check the port and the keys, or try again "
          "later, as the server may be too busy to let anybody in");
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

TEST(SweepConnectionTest, RequestsWithoutAnAnswerAreSentAgainInTheirOrder) {
  constexpr int c_requests = 10;
  constexpr int c_ahead = 8;
  const Drelvan::ParserSession parser{SweepSchema()};
  std::vector<Request> requests;
  for (int count = 0; count < c_requests; ++count) {
    requests.push_back({RequestKind::Ping});
  }
  auto server = std::make_unique<Listener>();
  const std::string port = server->port();
  ServerConnection connection({"127.0.0.1:" + port, 60, {}});
  std::vector<std::string> received;
  int given = 0;
  const auto next = [&]() -> std::optional<Request> {
    if (given == c_ahead) {
      server->answer();
      server->answer();
    } else if (given == c_requests - 1) {  // one of the answers has been received, the other one has arrived
      restart(server);
    } else if (given == c_requests) {
      while (received.empty() || received.back() != requests.back().id) {
        received.push_back(server->answer());
        if (received.back().empty()) {
          break;
        }
      }
      return std::nullopt;
    }
    return requests[static_cast<std::size_t>(given++)];
  };
  connection.askInTurn<ServerHealth>(next);
  ASSERT_EQ(received.size(), c_requests - 2U);
  for (std::size_t index = 0; index < received.size(); ++index) {
    EXPECT_EQ(received[index], requests[index + 2].id) << index;
  }
}

TEST(SweepConnectionTest, ProgressOfAllJobsIsAskedForAgainAfterALoss) {
  const Drelvan::ParserSession parser{SweepSchema()};
  const std::vector<SweepJobId> jobs{SweepJobId(), SweepJobId()};
  auto publisher = std::make_unique<Listener>();
  const std::string port = publisher->port();
  Drelvan::HostInfo host;
  host.setPublisherPort(std::stoi(port));
  ServerConnection connection({"127.0.0.1:1", 60, {}});
  const auto followAll = [&] {
    return std::all_of(jobs.begin(), jobs.end(), [&](const SweepJobId& job) { return connection.follow(job, host); });
  };
  while (!followAll()) {
  }
  EXPECT_TRUE(connection.isFollowing());
  restart(publisher);
  connection.receiveProgress(c_short);
  EXPECT_FALSE(connection.isFollowing());
  while (!followAll()) {
  }
  EXPECT_TRUE(connection.isFollowing());
  std::set<std::string> missing{jobs[0].getUniqueId(), jobs[1].getUniqueId()};
  while (!missing.empty()) {  // one may be asked for twice
    zmq::message_t sender;
    const Request request = publisher->receive(sender);
    ASSERT_EQ(request.kind, RequestKind::Follow);
    missing.erase(request.jobId.getUniqueId());
  }
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
