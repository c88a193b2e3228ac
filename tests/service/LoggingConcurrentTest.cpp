#include <gtest/gtest.h>
#include <service/Logging.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// spdlog's own library is not built for ThreadSanitizer, which does not see therefore that a replaced logger's
// references are dropped there by atomic operations. It is kept to the end then; elsewhere it goes as soon as it can.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KEEP_REPLACED_LOGGERS
#endif
#endif

namespace {

using Drelvan::Logging;

class CountingSink : public spdlog::sinks::base_sink<std::mutex> {
 public:
  explicit CountingSink(std::atomic<int>& count) : m_count(count) {}

 protected:
  void sink_it_(const spdlog::details::log_msg&) override { ++m_count; }
  void flush_() override {}

 private:
  std::atomic<int>& m_count;
};

/// Puts the default logger back at the end of each test.
class LoggingConcurrent : public ::testing::Test {
 protected:
  ~LoggingConcurrent() override { spdlog::set_default_logger(m_before); }

  static std::shared_ptr<spdlog::logger> loggerWith(std::shared_ptr<spdlog::sinks::sink> sink) {
    auto logger = std::make_shared<spdlog::logger>("test", std::move(sink));
    logger->set_level(spdlog::level::trace);
    return logger;
  }

  void replaceLogger(std::shared_ptr<spdlog::logger> logger) {
#ifdef KEEP_REPLACED_LOGGERS
    m_replaced.push_back(logger);
#endif
    spdlog::set_default_logger(std::move(logger));
  }

  /// Logs `count` entries of five levels from each of several threads while `meanwhile` runs over and over on this one.
  template <typename Meanwhile>
  void logWhile(int count, Meanwhile meanwhile) {
    std::atomic<int> running{4};
    std::vector<std::thread> threads;
    for (int index = running; index > 0; --index) {
      threads.emplace_back([&] {
        for (int round = 0; round < count; ++round) {
          m_logger.logTRACE("a trace", "file", "function", round);
          m_logger.logDEBUG("a debug\nof two lines", "file", "function", round);
          m_logger.logINFO("an info", "file", "function", round);
          m_logger.logWARN("a warning", "file", "function", round);
          m_logger.logERROR("an error", "file", "function", round);
        }
        --running;
      });
    }
    while (running > 0) {
      meanwhile();
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }

 private:
  std::shared_ptr<spdlog::logger> m_before = spdlog::default_logger();
  std::vector<std::shared_ptr<spdlog::logger>> m_replaced;

 protected:
  Logging m_logger{"shared by all threads"};
};

TEST_F(LoggingConcurrent, LosesNoEntry) {
  std::atomic<int> entries{0};
  replaceLogger(loggerWith(std::make_shared<CountingSink>(entries)));
  logWhile(500, [] { std::this_thread::yield(); });
  EXPECT_EQ(entries, 4 * 500 * 5);
}

TEST_F(LoggingConcurrent, LosesNoEntryWhileTheLoggerIsReplaced) {
  std::atomic<int> entries{0};
  replaceLogger(loggerWith(std::make_shared<CountingSink>(entries)));
  logWhile(500, [&] { replaceLogger(loggerWith(std::make_shared<CountingSink>(entries))); });
  EXPECT_EQ(entries, 4 * 500 * 5);
}

TEST_F(LoggingConcurrent, GoesOnWhileTheOutputIsReconfigured) {
  std::atomic<int> entries{0};
  int round = 0;
  logWhile(500, [&] {
    switch (++round % 4) {
      case 0:
        replaceLogger(nullptr);
        break;
      case 1:
        replaceLogger(loggerWith(std::make_shared<CountingSink>(entries)));
        break;
      case 2:
        spdlog::set_level(round % 8 == 2 ? spdlog::level::off : spdlog::level::trace);
        break;
      default:
        replaceLogger(loggerWith(std::make_shared<spdlog::sinks::null_sink_mt>()));
        spdlog::set_pattern(round % 8 == 3 ? "%v" : "%l %v");
        break;
    }
  });
  EXPECT_LE(entries, 4 * 500 * 5);
  entries = 0;
  replaceLogger(loggerWith(std::make_shared<CountingSink>(entries)));
  spdlog::set_level(spdlog::level::trace);
  Logging("afterwards").logINFO("one", "file", "function", 1);
  EXPECT_EQ(entries, 1);
}

TEST_F(LoggingConcurrent, MakesAndDestroysLoggersMeanwhile) {
  std::atomic<int> entries{0};
  replaceLogger(loggerWith(std::make_shared<CountingSink>(entries)));
  int made = 0;
  logWhile(200, [&] {
    Logging another("another");
    another.logINFO("one", "file", "function", 1);
    ++made;
  });
  EXPECT_EQ(entries, 4 * 200 * 5 + made);
}

}  // namespace
