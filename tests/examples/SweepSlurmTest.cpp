#include <tests/examples/SweepPrograms.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/process.hpp>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>

namespace {

namespace bp = boost::process;
using SweepTest::Outcome;
using TestSupport::TemporaryFolder;

std::string freePort() {
  boost::asio::io_context context;
  const boost::asio::ip::tcp::acceptor acceptor(
      context, boost::asio::ip::tcp::endpoint(boost::asio::ip::address_v4::loopback(), 0));
  return std::to_string(acceptor.local_endpoint().port());
}

/// A cluster of this one machine, as long as the object exists.
class Cluster {
 public:
  Cluster() {
    for (const char* name : {"state", "spool"}) {
      std::filesystem::create_directory(m_folder.path() / name);
    }
    ::setenv("SLURM_CONF", m_folder.write("slurm.conf", configuration()).c_str(), 1);
    m_controller = start("slurmctld", {"-D"});
    m_node = start("slurmd", {"-D", "-N", "localhost"});
  }
  Cluster(const Cluster&) = delete;
  Cluster& operator=(const Cluster&) = delete;
  ~Cluster() {
    stop(m_node);
    stop(m_controller);
    ::unsetenv("SLURM_CONF");
  }

  bool isReady() {
    return SweepTest::eventually([this] {
             const Outcome nodes = SweepTest::run(bp::search_path("sinfo").string(), {"-h", "-o", "%T"});
             return nodes.output == "idle\n" || !m_controller.running() || !m_node.running();
           }) &&
           m_controller.running() && m_node.running();
  }

  std::string logs() const {
    return TemporaryFolder::read(m_folder.file("slurmctld.out")) + TemporaryFolder::read(m_folder.file("slurmd.out"));
  }

  /// The jobs in the queue, one a line.
  static std::string queue() { return SweepTest::run(bp::search_path("squeue").string(), {"-h"}).output; }

 private:
  std::string configuration() const {
    return "ClusterName=one\nSlurmctldHost=localhost(127.0.0.1)\nSlurmUser=root\nSlurmdUser=root\n"
           "AuthType=auth/none\nCredType=cred/none\nCommunicationParameters=NoInAddrAny,NoCtldInAddrAny\n"
           "ProctrackType=proctrack/linuxproc\nTaskPlugin=task/none\nJobAcctGatherType=jobacct_gather/none\n"
           "AccountingStorageType=accounting_storage/none\nSelectType=select/cons_tres\n"
           "SelectTypeParameters=CR_Core\nSchedulerType=sched/builtin\nSwitchType=switch/none\nMpiDefault=none\n"
           "ReturnToService=2\nNodeName=localhost NodeHostname=localhost NodeAddr=127.0.0.1 CPUs=2 Sockets=1 "
           "CoresPerSocket=2 ThreadsPerCore=1 RealMemory=4000\nPartitionName=main Nodes=localhost Default=YES\n"
           "SlurmctldPort=" +
           freePort() + "\nSlurmdPort=" + freePort() + "\nStateSaveLocation=" + m_folder.file("state") +
           "\nSlurmdSpoolDir=" + m_folder.file("spool") + "\nSlurmctldPidFile=" + m_folder.file("slurmctld.pid") +
           "\nSlurmdPidFile=" + m_folder.file("slurmd.pid") + "\n";
  }

  bp::child start(const std::string& name, SweepTest::Arguments arguments) const {
    arguments.insert(arguments.end(), {"-f", m_folder.file("slurm.conf")});
    return bp::child(bp::exe = bp::search_path(name, {"/usr/sbin", "/usr/bin"}).string(), bp::args = arguments,
                     bp::std_in<bp::null, (bp::std_out & bp::std_err)> m_folder.file(name + ".out"));
  }

  static void stop(bp::child& child) {
    if (child.running()) {
      ::kill(child.id(), SIGTERM);
    }
    child.wait();
  }

  TemporaryFolder m_folder;
  bp::child m_controller;
  bp::child m_node;
};

class SweepSlurmTest : public testing::Test {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) {
      GTEST_SKIP() << "Slurm's daemons need the rights of root";
    }
    for (const char* program : {"slurmctld", "slurmd"}) {
      if (bp::search_path(program, {"/usr/sbin", "/usr/bin"}).empty()) {
        GTEST_SKIP() << program << " is not installed";
      }
    }
    m_cluster = std::make_unique<Cluster>();
    if (!m_cluster->isReady()) {
      GTEST_SKIP() << "Slurm does not start here:\n" << m_cluster->logs();
    }
  }

  TemporaryFolder m_folder;
  std::unique_ptr<Cluster> m_cluster;
};

TEST_F(SweepSlurmTest, JobsRunOnTheCluster) {
  const SweepTest::Server server(m_folder.file("spool"), {"--jobs", "2", "--launch-with", "srun --ntasks=1"});
  const Outcome outcome = server.client({"submit", "--expression", "amplitude*exp(-damping*time)*cos(frequency*time)",
                                         "--parameters", SWEEP_MODEL, "--wait"});
  EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
  EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 401);
}

TEST_F(SweepSlurmTest, CancelledJobLeavesTheCluster) {
  const SweepTest::Server server(m_folder.file("spool"),
                                 {"--launch-with", "srun --ntasks=1 " + SweepTest::slowLauncher("600")});
  const std::string job = server.submit("x", m_folder.write("table.csv", "x\n1\n"));
  ASSERT_TRUE(SweepTest::eventually([] { return Cluster::queue().find(" R ") != std::string::npos; }));
  EXPECT_EQ(server.client({"cancel", job}).exitCode, 0);
  EXPECT_TRUE(SweepTest::eventually([] { return Cluster::queue().empty(); })) << Cluster::queue();
  EXPECT_EQ(server.state(job), "Cancelled");
}

TEST_F(SweepSlurmTest, JobThatFailsOnTheClusterNamesItsExitCode) {
  const SweepTest::Server server(m_folder.file("spool"), {"--launch-with", "srun --ntasks=1 sh -c 'exit 7'"});
  const std::string job = server.submit("x", m_folder.write("table.csv", "x\n1\n"));
  const Outcome outcome = server.client({"--quiet", "wait", job});
  EXPECT_EQ(outcome.exitCode, 9);
  EXPECT_NE(outcome.errors.find("exit code 7"), std::string::npos) << outcome.errors;
}

}  // namespace
