#include <tests/examples/SweepPrograms.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/process/search_path.hpp>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sstream>

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

/// A cluster of two nodes that both are this machine, as long as the object exists.
class Cluster {
 public:
  Cluster() {
    for (const char* name : {"state", "spool-node1", "spool-node2"}) {
      std::filesystem::create_directory(m_folder.path() / name);
    }
    ::setenv("SLURM_CONF", m_folder.write("slurm.conf", configuration()).c_str(), 1);
    m_controller = start("slurmctld", {"-D"});
    m_node = start("slurmd", {"-D", "-N", "node1"});
    m_otherNode = start("slurmd", {"-D", "-N", "node2"});
  }
  Cluster(const Cluster&) = delete;
  Cluster& operator=(const Cluster&) = delete;
  ~Cluster() {
    stop(*m_node);
    stop(*m_otherNode);
    stop(*m_controller);
    ::unsetenv("SLURM_CONF");
  }

  bool isReady() {
    return SweepTest::eventually([this] {
             const Outcome nodes = SweepTest::run("sinfo", {"-h", "-o", "%T"});
             return nodes.output == "idle\n" || !isRunning();
           }) &&
           isRunning();
  }

  /// The second node dies, with everything that it runs.
  void loseNode() {
    const std::string jobs = SweepTest::run("squeue", {"-h", "-w", "node2", "-t", "R", "-o", "%A"}).output;
    m_otherNode->signal(SIGKILL);
    std::istringstream stream(jobs);
    for (std::string job; stream >> job;) {
      // The daemon of the job's step has no parent any more, and the job's processes are its children.
      const std::string step = "slurmstepd: \\[" + job + "\\.";
      std::istringstream steps(SweepTest::run("pgrep", {"-f", step}).output);
      for (std::string process; steps >> process;) {
        SweepTest::run("pkill", {"-KILL", "-P", process});
        ::kill(std::stoi(process), SIGKILL);
      }
    }
  }

  std::string logs() const {
    return m_controller->errors() + m_controller->output() + m_node->errors() + m_node->output() +
           m_otherNode->errors();
  }

  /// The jobs in the queue, one a line.
  static std::string queue() { return SweepTest::run("squeue", {"-h"}).output; }

 private:
  std::string configuration() const {
    return "ClusterName=one\nSlurmctldHost=localhost(127.0.0.1)\nSlurmUser=root\nSlurmdUser=root\n"
           // A job that is put back into the queue waits as long as a credential is valid.
           "AuthType=auth/none\nAuthInfo=cred_expire=15\nCredType=cred/none\n"
           "CommunicationParameters=NoInAddrAny,NoCtldInAddrAny\n"
           "ProctrackType=proctrack/linuxproc\nTaskPlugin=task/none\nJobAcctGatherType=jobacct_gather/none\n"
           "AccountingStorageType=accounting_storage/none\nSelectType=select/cons_tres\n"
           "SelectTypeParameters=CR_Core\n"
           "SchedulerType=sched/builtin\nSchedulerParameters=sched_interval=2\n"
           "SwitchType=switch/none\nMpiDefault=none\n"
           "ReturnToService=2\nSlurmdTimeout=10\n" +
           node("node1") + node("node2") +
           "PartitionName=main Nodes=node1,node2 Default=YES\nSlurmctldPort=" + freePort() +
           "\nStateSaveLocation=" + m_folder.file("state") + "\nSlurmdSpoolDir=" + m_folder.file("spool-%n") +
           "\nSlurmctldPidFile=" + m_folder.file("slurmctld.pid") +
           "\nSlurmdPidFile=" + m_folder.file("slurmd-%n.pid") + "\n";
  }

  static std::string node(const std::string& name) {
    return "NodeName=" + name + " NodeHostname=localhost NodeAddr=127.0.0.1 Port=" + freePort() +
           " CPUs=2 Sockets=1 CoresPerSocket=2 ThreadsPerCore=1 RealMemory=2000\n";
  }

  bool isRunning() { return m_controller->isRunning() && m_node->isRunning() && m_otherNode->isRunning(); }

  std::unique_ptr<TestSupport::Program> start(const std::string& name, SweepTest::Arguments arguments) const {
    arguments.insert(arguments.begin(), bp::search_path(name, {"/usr/sbin", "/usr/bin"}).string());
    arguments.insert(arguments.end(), {"-f", m_folder.file("slurm.conf")});
    TestSupport::ProgramOptions options;
    options.timeout = std::chrono::seconds(600);
    return std::make_unique<TestSupport::Program>(arguments, options);
  }

  static void stop(TestSupport::Program& program) {
    program.signal(SIGTERM);
    program.wait();
  }

  TemporaryFolder m_folder;
  std::unique_ptr<TestSupport::Program> m_controller;
  std::unique_ptr<TestSupport::Program> m_node;
  std::unique_ptr<TestSupport::Program> m_otherNode;
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
  const std::string started = m_folder.file("started");
  const SweepTest::Server server(
      m_folder.file("spool"), {"--launch-with", "srun --ntasks=1 sh -c 'touch " + started + "; sleep 600' launcher"});
  const std::string job = server.submit("x", m_folder.write("table.csv", "x\n1\n"));
  // An srun that is ended while it starts may leave its allocation behind.
  ASSERT_TRUE(SweepTest::eventually([&] { return std::filesystem::exists(started); }));
  EXPECT_EQ(server.client({"cancel", job}).exitCode, 0);
  EXPECT_TRUE(SweepTest::eventually([] { return Cluster::queue().empty(); })) << Cluster::queue();
  EXPECT_EQ(server.state(job), "Cancelled");
}

TEST_F(SweepSlurmTest, JobThatFailsOnTheClusterNamesItsExitCode) {
  const SweepTest::Server server(m_folder.file("spool"),
                                 {"--tries", "1", "--launch-with", "srun --ntasks=1 sh -c 'exit 7'"});
  const std::string job = server.submit("x", m_folder.write("table.csv", "x\n1\n"));
  const Outcome outcome = server.client({"--quiet", "wait", job});
  EXPECT_EQ(outcome.exitCode, 9);
  EXPECT_NE(outcome.errors.find("exit code 7"), std::string::npos) << outcome.errors;
}

/// A table of so many realizations, each of which takes a while to read.
std::string largeTable(int realizations) {
  std::string table = "a,b,c,d,e,f,g,h,i,j\n";
  for (int number = 1; number <= realizations; ++number) {
    for (int column = 1; column <= 10; ++column) {
      table += std::to_string(number) + (column < 10 ? "." + std::to_string(column) + "," : "\n");
    }
  }
  return table;
}

TEST_F(SweepSlurmTest, PartsOfASweepAreOneArray) {
  const SweepTest::Server server(m_folder.file("spool"), {"--engine", "slurm"});
  const Outcome outcome =
      server.client({"submit", "--part-size", "50", "--expression", "amplitude*exp(-damping*time)*cos(frequency*time)",
                     "--parameters", SWEEP_MODEL, "--wait"});
  EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
  EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 401);
}

TEST_F(SweepSlurmTest, CancelledArrayLeavesTheCluster) {
  const SweepTest::Server server(m_folder.file("spool"), {"--engine", "slurm", "--slurm-options", "--hold"});
  const std::string job = server.submit("x", m_folder.write("table.csv", "x\n1\n2\n"));
  ASSERT_TRUE(SweepTest::eventually([] { return Cluster::queue().find(" PD ") != std::string::npos; }));
  EXPECT_EQ(server.state(job), "Queued") << "what waits in the cluster does not run";
  EXPECT_EQ(server.client({"cancel", job}).exitCode, 0);
  EXPECT_TRUE(SweepTest::eventually([] { return Cluster::queue().empty(); })) << Cluster::queue();
}

TEST_F(SweepSlurmTest, NothingIsLostWithANodeAndWithTheServer) {
  const SweepTest::Arguments arguments{"--engine", "slurm"};
  auto server = std::make_unique<SweepTest::Server>(m_folder.file("spool"), arguments);
  const Outcome submitted = server->client({"submit", "--part-size", "1000", "--expression", "a+b+c+d+e+f+g+h+i+j",
                                            "--parameters", m_folder.write("table.csv", largeTable(20000))});
  ASSERT_EQ(submitted.exitCode, 0) << submitted.errors;
  const std::string job = submitted.output.substr(0, submitted.output.find('\n'));
  ASSERT_TRUE(SweepTest::eventually([] {
    return SweepTest::run("squeue", {"-h", "-w", "node2", "-t", "R"}).output.find('\n') != std::string::npos;
  }));
  m_cluster->loseNode();
  server->kill();
  server = std::make_unique<SweepTest::Server>(m_folder.file("spool"), arguments);
  EXPECT_EQ(server->client({"--quiet", "--timeout", "60", "wait", job}).exitCode, 0);
  const std::string results = server->client({"result", job}).output;
  EXPECT_EQ(std::count(results.begin(), results.end(), '\n'), 20001);
  EXPECT_NE(results.find("\n20000,"), std::string::npos);
}

}  // namespace
