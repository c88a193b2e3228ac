#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestServer.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using Drelvan::AbstractRequestServer;
using Drelvan::HostInfo;

/// A server that can install itself, as a program's would.
class Server : public AbstractRequestServer {
 public:
  void start() override {}
  void stop() override {}
  HostInfo getHostInfo() const override { return {"alpha", "10.0.0.1"}; }
  std::string handleRequest(const std::string& requestPackage) override { return "reply to " + requestPackage; }

  void install() { store(this); }
  static void clear() { store(nullptr); }
  static boost::mutex& mutex() { return s_instanceMutex; }
  /// For a caller that holds the mutex.
  static AbstractRequestServer*& instance() { return s_instance; }

 private:
  static void store(AbstractRequestServer* server) {
    const boost::mutex::scoped_lock lock(s_instanceMutex);
    s_instance = server;
  }
};

template <typename Type, typename = void>
struct InstanceIsPublic : std::false_type {};
template <typename Type>
struct InstanceIsPublic<Type, std::void_t<decltype(Type::s_instance)>> : std::true_type {};

template <typename Type, typename = void>
struct MutexIsPublic : std::false_type {};
template <typename Type>
struct MutexIsPublic<Type, std::void_t<decltype(Type::s_instanceMutex)>> : std::true_type {};

static_assert(std::is_abstract_v<AbstractRequestServer>);
static_assert(std::has_virtual_destructor_v<AbstractRequestServer>);
static_assert(std::is_destructible_v<AbstractRequestServer>);
static_assert(sizeof(AbstractRequestServer) == sizeof(void*));
static_assert(std::is_default_constructible_v<Server> && std::is_copy_constructible_v<Server>);
static_assert(std::is_copy_assignable_v<AbstractRequestServer>);
static_assert(!InstanceIsPublic<AbstractRequestServer>::value && !MutexIsPublic<AbstractRequestServer>::value);
static_assert(std::is_same_v<decltype(AbstractRequestServer::getInstance()), AbstractRequestServer*>);

class AbstractRequestServerInstance : public ::testing::Test {
 protected:
  ~AbstractRequestServerInstance() override { Server::clear(); }
};

using AbstractRequestServerInstanceContractTest = AbstractRequestServerInstance;

TEST_F(AbstractRequestServerInstance, IsNullBeforeAnyServerInstalledItself) {
  EXPECT_EQ(AbstractRequestServer::getInstance(), nullptr);
}

TEST_F(AbstractRequestServerInstance, IsNotTouchedByServersThatComeAndGo) {
  {
    Server server;
    Server copy(server);
    EXPECT_EQ(AbstractRequestServer::getInstance(), nullptr);
    EXPECT_EQ(&(copy = server), &copy);
    EXPECT_EQ(AbstractRequestServer::getInstance(), nullptr);
  }
  EXPECT_EQ(AbstractRequestServer::getInstance(), nullptr);

  Server installed;
  installed.install();
  {
    Server other;
    Server copy(installed);
    other = installed;
    installed = copy;
    static_cast<AbstractRequestServer&>(installed) = copy;
    EXPECT_EQ(AbstractRequestServer::getInstance(), &installed);
  }
  EXPECT_EQ(AbstractRequestServer::getInstance(), &installed);
}

TEST_F(AbstractRequestServerInstance, OutlivesAServerThatDoesNotClearIt) {
  auto server = std::make_unique<Server>();
  server->install();
  const AbstractRequestServer* const address = server.get();
  server.reset();
  EXPECT_EQ(AbstractRequestServer::getInstance(), address);
}

TEST_F(AbstractRequestServerInstance, IsTheInstalledServerUntilItClearsItself) {
  Server server;
  server.install();
  ASSERT_EQ(AbstractRequestServer::getInstance(), &server);
  EXPECT_EQ(AbstractRequestServer::getInstance()->handleRequest("x"), "reply to x");
  EXPECT_EQ(AbstractRequestServer::getInstance()->getHostInfo().getName(), "alpha");
  Server::clear();
  EXPECT_EQ(AbstractRequestServer::getInstance(), nullptr);
}

TEST_F(AbstractRequestServerInstance, IsSeenByEveryThread) {
  Server server;
  server.install();
  std::vector<AbstractRequestServer*> seen(8);
  std::vector<std::thread> threads;
  for (auto& result : seen) {
    threads.emplace_back([&result] { result = AbstractRequestServer::getInstance(); });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  for (const auto* result : seen) {
    EXPECT_EQ(result, &server);
  }
}

TEST_F(AbstractRequestServerInstanceContractTest, IsReadUnderTheLock) {
  Server server;
  AbstractRequestServer* seen = nullptr;
  std::atomic<bool> started{false};
  std::thread reader;
  {
    const boost::mutex::scoped_lock lock(Server::mutex());
    reader = std::thread([&] {
      started = true;
      seen = AbstractRequestServer::getInstance();
    });
    while (!started) {
      std::this_thread::yield();
    }
    // Long enough for a reader that does not take the lock to see null.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    Server::instance() = &server;
  }
  reader.join();
  EXPECT_EQ(seen, &server);
}

TEST_F(AbstractRequestServerInstanceContractTest, IsUnlockedAfterTheRead) {
  AbstractRequestServer::getInstance();
  ASSERT_TRUE(Server::mutex().try_lock());
  Server::mutex().unlock();
}

TEST(AbstractRequestServerType, IsDestroyedThroughTheBase) {
  class Counted : public Server {
   public:
    explicit Counted(int& count) : m_count(count) {}
    ~Counted() override { ++m_count; }

   private:
    int& m_count;
  };
  int destroyed = 0;
  std::unique_ptr<AbstractRequestServer> server = std::make_unique<Counted>(destroyed);
  server.reset();
  EXPECT_EQ(destroyed, 1);
}

#if defined(__x86_64__)
/// The place of a virtual operation in the dispatch table, as the common C++ ABI tells it.
template <typename Operation>
std::size_t slotOf(Operation operation) {
  std::size_t encoded = 0;
  std::memcpy(&encoded, &operation, sizeof encoded);
  return (encoded - 1) / sizeof(void*);
}

TEST(AbstractRequestServerContractTest, DispatchesTheDestructorFirst) {
  EXPECT_EQ(slotOf(&AbstractRequestServer::start), 2U);
  EXPECT_EQ(slotOf(&AbstractRequestServer::stop), 3U);
  EXPECT_EQ(slotOf(&AbstractRequestServer::getHostInfo), 4U);
  EXPECT_EQ(slotOf(&AbstractRequestServer::handleRequest), 5U);
}
#endif

}  // namespace
