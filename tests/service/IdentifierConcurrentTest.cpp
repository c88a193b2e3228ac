#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <gtest/gtest.h>
#include <service/Identifier.h>

#include <cstddef>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using Drelvan::GenericJobId;
using Drelvan::HostInfo;
using Drelvan::UniqueID;

constexpr std::size_t c_threads = 8;
constexpr std::size_t c_ids = 2000;

/// What each of several threads made, all together.
template <typename Make>
std::set<std::string> madeByThreads(Make make) {
  std::vector<std::vector<std::string>> made(c_threads);
  std::vector<std::thread> threads;
  for (auto& own : made) {
    threads.emplace_back([&own, &make] {
      for (std::size_t index = 0; index < c_ids; ++index) {
        own.push_back(make());
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::set<std::string> all;
  for (const auto& own : made) {
    all.insert(own.begin(), own.end());
  }
  return all;
}

TEST(UniqueIdConcurrent, NeverRepeatsAnId) { EXPECT_EQ(madeByThreads(UniqueID::generateId).size(), c_threads * c_ids); }

TEST(GenericJobIdConcurrent, IsMadeAndReadOnEveryThread) {
  const auto make = [] {
    const GenericJobId id;
    std::string text = id.toString();
    std::string message;
    return GenericJobId::fromString(text, message).getUniqueId();
  };
  EXPECT_EQ(madeByThreads(make).size(), c_threads * c_ids);
}

TEST(GenericJobIdConcurrent, IsReadByManyThreadsAtOnce) {
  const GenericJobId id;
  const auto make = [&id] { return id.toXml("", "") + id.toString() + (id.isValid() ? "valid" : "invalid"); };
  EXPECT_EQ(madeByThreads(make), (std::set<std::string>{id.toXml("", "") + id.toString() + "invalid"}));
}

TEST(HostInfoConcurrent, TestsAddressesOnEveryThread) {
  const auto make = [] {
    return std::string(HostInfo::isIp("127.0.0.1") ? "1" : "0") + (HostInfo::isIp("a") ? "1" : "0") +
           (HostInfo::isLocalIp("127.0.0.1") ? "1" : "0");
  };
  EXPECT_EQ(madeByThreads(make), (std::set<std::string>{"101"}));
}

}  // namespace
