#include <gtest/gtest.h>
#include <service/Signals.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

using Signals::Connection;
using Signals::ScopedConnection;
using Signals::Signal;

template <typename Work>
void runThreads(int count, Work work) {
  std::vector<std::thread> threads;
  for (int index = 0; index < count; ++index) {
    threads.emplace_back(work, index);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(SignalConcurrent, ReachesEverySlotFromEveryThread) {
  Signal<void(int)> signal;
  std::atomic<int> sum{0};
  signal.connect([&](int number) { sum += number; });
  signal.connect([&](int number) { sum += number; });
  runThreads(4, [&](int) {
    for (int round = 0; round < 500; ++round) {
      signal(1);
    }
  });
  EXPECT_EQ(sum, 4 * 500 * 2);
}

TEST(SignalConcurrent, ConnectsAndDisconnectsWhileItEmits) {
  Signal<void()> signal;
  std::atomic<int> permanent{0};
  std::atomic<int> passing{0};
  signal.connect([&] { ++permanent; });
  runThreads(4, [&](int index) {
    for (int round = 0; round < 300; ++round) {
      if (index % 2 == 0) {
        signal();
      } else {
        const ScopedConnection connection = signal.connect([&] { ++passing; });
        EXPECT_TRUE(connection.connected());
      }
    }
  });
  EXPECT_EQ(permanent, 2 * 300);
  passing = 0;
  signal();
  EXPECT_EQ(passing, 0);
}

TEST(SignalConcurrent, CallsASlotThatWasConnectedBefore) {
  Signal<void()> signal;
  runThreads(4, [&](int) {
    for (int round = 0; round < 200; ++round) {
      // Emissions of other threads may still call the slot after the end of its connection.
      const auto calls = std::make_shared<std::atomic<int>>(0);
      const ScopedConnection connection = signal.connect([calls] { ++*calls; });
      signal();
      EXPECT_GE(*calls, 1);
    }
  });
}

TEST(SignalConcurrent, SlotsDisconnectThemselvesOnce) {
  Signal<void()> signal;
  for (int round = 0; round < 50; ++round) {
    std::vector<Connection> connections(8);
    std::atomic<int> calls{0};
    for (Connection& connection : connections) {
      connection = signal.connect([&connection, &calls] {
        connection.disconnect();
        ++calls;
      });
    }
    runThreads(4, [&](int) { signal(); });
    EXPECT_GE(calls, 8);
    calls = 0;
    signal();
    EXPECT_EQ(calls, 0);
  }
}

TEST(SignalConcurrent, DisconnectsFromAnotherThread) {
  Signal<void()> signal;
  for (int round = 0; round < 100; ++round) {
    const auto calls = std::make_shared<std::atomic<int>>(0);
    const Connection connection = signal.connect([calls] { ++*calls; });
    runThreads(3, [&](int index) {
      if (index == 0) {
        Connection own = connection;
        own.disconnect();
      } else {
        signal();
      }
    });
    EXPECT_FALSE(connection.connected());
    const int before = *calls;
    signal();
    EXPECT_EQ(*calls, before);
  }
}

TEST(SignalConcurrent, PassesExceptionsToTheEmitterThatMetThem) {
  Signal<void(int)> signal;
  std::atomic<int> others{0};
  signal.connect([](int thread) { throw thread; });
  signal.connect([&](int) { ++others; });
  runThreads(4, [&](int index) {
    for (int round = 0; round < 200; ++round) {
      try {
        signal(index);
        ADD_FAILURE() << "nothing was thrown";
      } catch (const int thread) {
        EXPECT_EQ(thread, index);
      }
    }
  });
  EXPECT_EQ(others, 4 * 200);
}

TEST(SignalConcurrent, QueriesTheConnectionWhileTheSignalIsDestroyed) {
  for (int round = 0; round < 100; ++round) {
    auto signal = std::make_unique<Signal<void()>>();
    const Connection connection = signal->connect([] {});
    runThreads(3, [&](int index) {
      if (index == 0) {
        signal.reset();
      } else {
        Connection own = connection;
        own.connected();
        own.disconnect();
      }
    });
    EXPECT_FALSE(connection.connected());
  }
}

}  // namespace
