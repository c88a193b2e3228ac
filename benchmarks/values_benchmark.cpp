/// Unique ids beside libuuid's, address tests beside the system's.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <service/Identifier.h>
#include <uuid/uuid.h>

#include <string>

namespace {

void generateId(benchmark::State& state) {
  for (const auto iteration : state) {
    static_cast<void>(iteration);
    benchmark::DoNotOptimize(Drelvan::UniqueID::generateId());
  }
}

/// 128 random bits as text; the library's ids have 192.
void libuuid(benchmark::State& state) {
  for (const auto iteration : state) {
    static_cast<void>(iteration);
    uuid_t bits;
    char text[UUID_STR_LEN];
    uuid_generate_random(bits);
    uuid_unparse_lower(bits, text);
    benchmark::DoNotOptimize(std::string(text));
  }
}

const std::string c_address = "192.168.10.27";
const std::string c_name = "node27.cluster.example";

void isIp(benchmark::State& state, const std::string& text) {
  for (const auto iteration : state) {
    static_cast<void>(iteration);
    benchmark::DoNotOptimize(Drelvan::HostInfo::isIp(text));
  }
}

void systemsTest(benchmark::State& state, const std::string& text) {
  for (const auto iteration : state) {
    static_cast<void>(iteration);
    in_addr address;
    benchmark::DoNotOptimize(inet_pton(AF_INET, text.c_str(), &address));
  }
}

BENCHMARK(generateId)->Name("id/generateId");
BENCHMARK(libuuid)->Name("id/libuuid");
BENCHMARK_CAPTURE(isIp, address, c_address)->Name("address/isIp");
BENCHMARK_CAPTURE(systemsTest, address, c_address)->Name("address/inet_pton");
BENCHMARK_CAPTURE(isIp, name, c_name)->Name("name/isIp");
BENCHMARK_CAPTURE(systemsTest, name, c_name)->Name("name/inet_pton");

}  // namespace

BENCHMARK_MAIN();
