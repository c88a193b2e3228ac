#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/server/Followers.h>
#include <gtest/gtest.h>
#include <tests/examples/RawClient.h>
#include <tests/examples/SweepFakes.h>
#include <tests/examples/SweepPrograms.h>
#include <tests/support/TemporaryFolder.h>

#include <list>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace ParameterSweep;
using SweepTest::RawClient;
using SweepTest::refusal;

/// Connections that follow jobs, in the process of the server.
class FollowersTest : public SweepTest::RawTest {
 protected:
  FollowersTest() { m_socket.bind("127.0.0.1", 0); }

  SweepJobId submit() {
    const AddPackage change = SweepTest::makeJob(1, 1);
    m_store.apply({change});
    m_table.add(change.job, change.parts);
    return change.job.status.jobId;
  }
  std::unique_ptr<RawClient> connect() {
    const std::string endpoint = m_socket.get().get(zmq::sockopt::last_endpoint);
    return std::make_unique<RawClient>(endpoint.substr(endpoint.rfind('/') + 1));
  }

  /// The next package that a connection gets.
  ReplyContent receive(RawClient& client) {
    std::string package;
    EXPECT_TRUE(SweepTest::eventually([&] {
      m_followers.answer();
      package = client.received();
      return !package.empty();
    }));
    return readReplyPackage(package).content;
  }
  ReplyContent follow(RawClient& client, const SweepJobId& jobId) {
    client.send({writeRequestPackage({RequestKind::Follow, jobId})});
    return receive(client);
  }

  TestSupport::TemporaryFolder m_folder;
  SweepTest::FakeEngine m_engine;
  JobStore m_store{m_folder.file("sweep.db")};
  StoreWriter m_writer{m_store};
  JobTable m_table{{m_folder.file("spool"), 3, 100}, m_store, m_writer, m_engine};
  SweepServer m_server{{}, m_store, m_writer, m_engine, m_table, {}};
  zmq::context_t m_context;
  Authentication m_authentication{m_context, "", {}};
  ServerSocket m_socket{m_context, m_authentication, 8192};
  Followers m_followers{m_socket, m_server, {2, 3}};
};

TEST_F(FollowersTest, ConnectionFollowsABoundedNumberOfJobsAndTheSameOneAsOftenAsItLikes) {
  const auto client = connect();
  const SweepJobId first = submit();
  const SweepJobId second = submit();
  for (int count = 0; count < 3; ++count) {
    EXPECT_EQ(refusal(follow(*client, first)), "status");
    EXPECT_EQ(refusal(follow(*client, second)), "status");
  }
  EXPECT_EQ(refusal(follow(*client, submit())), "TooMuch");
}

TEST_F(FollowersTest, ClientFollowsABoundedNumberOfJobsOverAllOfItsConnections) {
  const auto one = connect();
  const auto other = connect();
  const SweepJobId first = submit();
  EXPECT_EQ(refusal(follow(*one, first)), "status");
  EXPECT_EQ(refusal(follow(*one, submit())), "status");
  EXPECT_EQ(refusal(follow(*other, submit())), "status");
  const SweepJobId late = submit();
  ReplyContent refused = follow(*other, late);
  while (std::holds_alternative<JobStatus>(refused)) {  // the state of the other one, which comes at any time
    refused = receive(*other);
  }
  EXPECT_EQ(refusal(refused), "TooMuch");
  JobStatus status = m_server.getStatus(first, {});
  status.state = JobState::Finished;
  m_followers.publish(status);
  EXPECT_EQ(refusal(follow(*other, late)), "status");
}

TEST_F(FollowersTest, EndIsToldToAllAndForgotten) {
  const auto one = connect();
  const auto other = connect();
  const SweepJobId jobId = submit();
  follow(*one, jobId);
  follow(*other, jobId);
  JobStatus status = m_server.getStatus(jobId, {});
  status.state = JobState::Cancelled;
  m_followers.publish(status);
  EXPECT_EQ(m_followers.countConnections(), 0U);
  for (RawClient* client : {one.get(), other.get()}) {
    ReplyContent last = receive(*client);
    while (std::get<JobStatus>(last).state != JobState::Cancelled) {
      last = receive(*client);
    }
    EXPECT_EQ(std::get<JobStatus>(last).jobId.getUniqueId(), jobId.getUniqueId());
  }
}

TEST_F(FollowersTest, ConnectionsThatAreGoneAreForgottenWhileNothingHappensToTheirJobs) {
  constexpr int c_connections = 50;
  Followers followers(m_socket, m_server);
  const SweepJobId jobId = submit();
  const auto followOnce = [&] {
    const auto client = connect();
    client->send({writeRequestPackage({RequestKind::Follow, jobId})});
    EXPECT_TRUE(SweepTest::eventually([&] {
      followers.answer();
      return !client->received().empty();
    }));
  };
  for (int count = 0; count < c_connections; ++count) {
    followOnce();
  }
  EXPECT_TRUE(SweepTest::eventually([&] {
    followOnce();
    return followers.countConnections() < c_connections / 5;
  })) << followers.countConnections();
}

}  // namespace
