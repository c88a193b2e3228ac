#include <tests/examples/SweepPrograms.h>

#include <memory>

namespace {

TEST(SweepLoadTest, TwoHundredClientsAtOnceAllGetTheirResults) {
  constexpr int c_clients = 200;
  const TestSupport::TemporaryFolder folder;
  SweepTest::Server server(folder.file("spool"), {"--jobs", "4"});
  const std::string table = folder.write("table.csv", "x\n1\n2\n");
  std::vector<std::unique_ptr<SweepTest::RunningClient>> clients;
  for (int number = 0; number < c_clients; ++number) {
    clients.push_back(std::make_unique<SweepTest::RunningClient>(
        server.address(), SweepTest::Arguments{"--quiet", "--timeout", "100", "submit", "--wait", "--parameters", table,
                                               "--expression", std::to_string(number) + "*x"}));
  }
  for (int number = 0; number < c_clients; ++number) {
    const SweepTest::Outcome outcome = clients[static_cast<std::size_t>(number)]->wait();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.output,
              "realizationId,result\n1," + std::to_string(number) + "\n2," + std::to_string(2 * number) + "\n");
  }
  EXPECT_EQ(server.stop(), 0);
}

}  // namespace
