#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <gtest/gtest.h>
#include <service/System.h>

#include <boost/thread/mutex.hpp>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using Drelvan::RequestXmlHelper;
using Drelvan::XercesInitializationMutex;

static_assert(std::is_same_v<decltype(XercesInitializationMutex::getMutex()), boost::mutex&>);
static_assert(!std::is_default_constructible_v<XercesInitializationMutex>);

boost::mutex* const atStart = &XercesInitializationMutex::getMutex();

TEST(XercesInitializationMutex, IsTheSameForEveryCaller) {
  std::vector<boost::mutex*> seen(8);
  std::vector<std::thread> threads;
  for (auto& mutex : seen) {
    threads.emplace_back([&mutex] { mutex = &XercesInitializationMutex::getMutex(); });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  for (const auto* mutex : seen) {
    EXPECT_EQ(mutex, atStart);
  }
}

TEST(XercesInitializationMutex, IsFreeUnlessSomebodyHoldsIt) {
  boost::mutex& mutex = XercesInitializationMutex::getMutex();
  const bool wasFree = mutex.try_lock();
  ASSERT_TRUE(wasFree);
  mutex.unlock();
  RequestXmlHelper::getInstance();
  ASSERT_TRUE(mutex.try_lock());
  mutex.unlock();
  RequestXmlHelper::reset(true);
  ASSERT_TRUE(mutex.try_lock());
  mutex.unlock();
}

TEST(XercesInitializationMutex, ExcludesOthers) {
  const boost::mutex::scoped_lock lock(XercesInitializationMutex::getMutex());
  bool taken = true;
  std::thread([&] { taken = XercesInitializationMutex::getMutex().try_lock(); }).join();
  EXPECT_FALSE(taken);
}

}  // namespace
