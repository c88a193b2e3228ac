#include <examples/parameter_sweep/common/Worker.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>

namespace {

using ParameterSweep::Worker;

class WorkerTest : public testing::Test {
 protected:
  /// Until the worker has told something.
  void poll() {
    pollfd item{m_worker.getDescriptor(), POLLIN, 0};
    ASSERT_EQ(::poll(&item, 1, 60000), 1);
    m_worker.poll();
  }
  /// Keeps the worker busy until the result is set.
  std::promise<void> block() {
    std::promise<void> going;
    std::promise<void> end;
    m_worker.run(
        [&going, future = std::make_shared<std::future<void>>(end.get_future())] {
          going.set_value();
          future->wait();
        },
        [this] { m_done += "blocked "; });
    going.get_future().wait();
    return end;
  }

  Worker m_worker{"worker"};
  std::string m_done;
};

TEST_F(WorkerTest, WorkIsDoneInOrderInAnotherThreadAndToldInThisOne) {
  std::string worked;
  std::thread::id thread;
  for (const char name : {'a', 'b', 'c'}) {
    m_worker.run(
        [&, name] {
          worked += name;
          thread = std::this_thread::get_id();
        },
        [this, name] { m_done += name; });
  }
  while (m_done.size() < 3) {
    poll();
  }
  EXPECT_EQ(worked, "abc");
  EXPECT_EQ(m_done, "abc");
  EXPECT_NE(thread, std::this_thread::get_id());
}

TEST_F(WorkerTest, NothingIsToldTwice) {
  m_worker.run([] {}, [this] { m_done += "done "; });
  poll();
  m_worker.poll();
  EXPECT_EQ(m_done, "done ");
}

TEST_F(WorkerTest, WorkThatWaitsIsForgottenAndWorkThatHasBegunIsNot) {
  std::promise<void> end = block();
  const std::uint64_t number = m_worker.run([] { FAIL(); }, [] { FAIL(); });
  m_worker.run([] {}, [this] { m_done += "last "; });
  EXPECT_TRUE(m_worker.forget(number));
  EXPECT_FALSE(m_worker.forget(number));
  EXPECT_FALSE(m_worker.forget(number - 1));
  end.set_value();
  while (m_done.find("last") == std::string::npos) {
    poll();
  }
  EXPECT_EQ(m_done, "blocked last ");
}

TEST_F(WorkerTest, WorkMayOrderMoreWork) {
  m_worker.run([] {}, [this] { m_worker.run([] {}, [this] { m_done += "second "; }); });
  while (m_done.empty()) {
    poll();
  }
  EXPECT_EQ(m_done, "second ");
}

TEST_F(WorkerTest, EndForgetsWhatWaitsAndTellsNothing) {
  constexpr int c_items = 1000;
  int begun = 0;
  bool isTold = false;
  {
    Worker worker("worker");
    for (int count = 0; count < c_items; ++count) {
      worker.run(
          [&] {
            ++begun;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
          },
          [&] { isTold = true; });
    }
  }
  EXPECT_LT(begun, c_items);
  EXPECT_FALSE(isTold);
}

TEST_F(WorkerTest, ItsThreadGivesWayToTheOthers) {
  int nice = 0;
  m_worker.run([&] { nice = ::getpriority(PRIO_PROCESS, static_cast<id_t>(::gettid())); }, [this] { m_done = "done"; });
  poll();
  EXPECT_EQ(nice, std::min(19, ::getpriority(PRIO_PROCESS, 0) + 10));
}

}  // namespace
