#include <Platform/RemoteComputation/Service/RequestHandlingBase/WaitingFileUtilities.h>
#include <gtest/gtest.h>
#include <tests/support/RecordingLogging.h>
#include <tests/support/ScriptedFiles.h>

#include <boost/chrono/duration.hpp>
#include <boost/chrono/system_clocks.hpp>
#include <boost/thread/thread.hpp>
#include <climits>
#include <cstddef>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using Drelvan::DvException;
using Drelvan::DvExceptionNested;
using Drelvan::FileName;
using Drelvan::FileNameException;
using Drelvan::WaitingFileUtilities;
using TestSupport::LogEntry;
using TestSupport::RecordingLog;
using TestSupport::ScriptedFiles;

using Lines = std::vector<std::string>;

// ---- The type ----

static_assert(!std::is_default_constructible_v<WaitingFileUtilities>);
static_assert(std::is_destructible_v<WaitingFileUtilities>);
static_assert(std::is_copy_assignable_v<WaitingFileUtilities>);
static_assert(std::is_empty_v<WaitingFileUtilities> && !std::is_polymorphic_v<WaitingFileUtilities>);
static_assert(std::is_same_v<decltype(&WaitingFileUtilities::waitingCopy),
                             void (*)(const FileName&, const FileName&, unsigned long, int)>);
static_assert(std::is_same_v<decltype(&WaitingFileUtilities::waitingRename),
                             void (*)(const FileName&, const FileName&, unsigned long, int)>);
static_assert(
    std::is_same_v<decltype(&WaitingFileUtilities::waitingRemove), void (*)(const FileName&, unsigned long, int)>);

/// One of the three operations, with what it calls and says.
struct Operation {
  const char* title;
  std::function<void(unsigned long, int)> run;
  std::string call;
  std::string failed;  ///< what follows "FileNameException " and "Exception "
  std::string lastTry;
  std::string signature;
};

const std::vector<Operation>& operations() {
  static const std::vector<Operation> all{
      {"Copy", [](unsigned long wait, int tries) { WaitingFileUtilities::waitingCopy("a", "b", wait, tries); },
       "copyFile a b", "copying 'a' to 'b'", "Could not copy 'a' to 'b'! Doing one last try...",
       "void __cdecl Drelvan::WaitingFileUtilities::waitingCopy(const class Drelvan::FileName &,"
       "const class Drelvan::FileName &,unsigned long,int)"},
      {"Rename", [](unsigned long wait, int tries) { WaitingFileUtilities::waitingRename("a", "b", wait, tries); },
       "rename a b", "renaming 'a' to 'b'", "Could not rename 'a' to 'b'! Doing one last try...",
       "void __cdecl Drelvan::WaitingFileUtilities::waitingRename(const class Drelvan::FileName &,"
       "const class Drelvan::FileName &,unsigned long,int)"},
      {"Remove", [](unsigned long wait, int tries) { WaitingFileUtilities::waitingRemove("a", wait, tries); },
       "remove a", "removing 'a'", "Could not remove 'a'! Doing one last try...",
       "void __cdecl Drelvan::WaitingFileUtilities::waitingRemove(const class Drelvan::FileName &,unsigned long,int)"}};
  return all;
}

FileNameException fileFailure() {
  return {"copy", "x", "y", std::make_error_code(std::errc::text_file_busy), "f", "file", 1};
}

/// A derived exception that speaks for itself.
class BusyFile : public FileNameException {
 public:
  BusyFile() : FileNameException(fileFailure()) {}
  const char* what() const noexcept override { return "busy!"; }
};

/// Every call and log entry in the order in which they came.
class Timeline {
 public:
  void add(const std::string& line) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_lines.push_back(line);
  }
  Lines lines() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_lines;
  }

 private:
  mutable std::mutex m_mutex;
  Lines m_lines;
};

class WaitingFileUtilitiesCalls : public ::testing::TestWithParam<Operation> {
 protected:
  WaitingFileUtilitiesCalls() {
    ScriptedFiles::reset();
    RecordingLog::clear();
    RecordingLog::onEntry([this](const LogEntry& entry) { m_timeline.add(entry.level + " " + entry.message); });
    onCall([](int) {});
  }
  ~WaitingFileUtilitiesCalls() override {
    ScriptedFiles::reset();
    RecordingLog::onEntry(nullptr);
    RecordingLog::clear();
  }

  /// `action` makes a call fail by throwing.
  void onCall(std::function<void(int)> action) {
    ScriptedFiles::onCall([this, action = std::move(action)](int before) {
      m_timeline.add(ScriptedFiles::calls().back());
      action(before);
    });
  }

  void run(unsigned long wait, int tries) const { GetParam().run(wait, tries); }

  std::string fileFailureLine(const std::string& what, const std::string& wait, const std::string& progress) const {
    return "DEBUG FileNameException " + GetParam().failed + ": " + what + "\nWaiting " + wait + "ms to retry (" +
           progress + ")...";
  }
  std::string otherFailureLine(const std::string& wait, const std::string& progress) const {
    return "DEBUG Exception " + GetParam().failed + "\nWaiting " + wait + "ms to retry (" + progress + ")...";
  }
  std::string lastTryLine() const { return "INFO " + GetParam().lastTry; }
  const std::string& call() const { return GetParam().call; }
  Lines timeline() const { return m_timeline.lines(); }

 private:
  Timeline m_timeline;
};

INSTANTIATE_TEST_SUITE_P(Each, WaitingFileUtilitiesCalls, ::testing::ValuesIn(operations()),
                         [](const auto& operation) { return std::string(operation.param.title); });

TEST_P(WaitingFileUtilitiesCalls, LogNothingWhenTheFirstTrySucceeds) {
  run(1000000, 3);
  EXPECT_EQ(timeline(), (Lines{call()}));
}

TEST_P(WaitingFileUtilitiesCalls, TryThreeTimesAndPassTheLastFailureOn) {
  onCall([](int) { throw fileFailure(); });
  const std::string what = fileFailure().what();
  EXPECT_THROW(run(2, 3), FileNameException);
  EXPECT_EQ(timeline(), (Lines{call(), fileFailureLine(what, "2", "0/3"), call(), fileFailureLine(what, "2", "1/3"),
                               lastTryLine(), call()}));
}

TEST_P(WaitingFileUtilitiesCalls, TryTwiceWithOneWait) {
  onCall([](int) { throw fileFailure(); });
  EXPECT_THROW(run(0, 2), FileNameException);
  EXPECT_EQ(timeline(), (Lines{call(), fileFailureLine(fileFailure().what(), "0", "0/2"), lastTryLine(), call()}));
}

TEST_P(WaitingFileUtilitiesCalls, StopAtTheFirstSuccess) {
  onCall([](int before) {
    if (before < 2) {
      throw fileFailure();
    }
  });
  run(0, 10);
  const std::string what = fileFailure().what();
  EXPECT_EQ(timeline(),
            (Lines{call(), fileFailureLine(what, "0", "0/10"), call(), fileFailureLine(what, "0", "1/10"), call()}));
}

TEST_P(WaitingFileUtilitiesCalls, SucceedAtTheLastTry) {
  onCall([](int before) {
    if (before < 1) {
      throw fileFailure();
    }
  });
  run(0, 2);
  EXPECT_EQ(timeline(), (Lines{call(), fileFailureLine(fileFailure().what(), "0", "0/2"), lastTryLine(), call()}));
}

TEST_P(WaitingFileUtilitiesCalls, TryOnceWithoutAWaitForOneZeroAndNegativeNumbers) {
  for (const int tries : {1, 0, -2, -3, -1000, INT_MIN + 1}) {
    ScriptedFiles::reset();
    RecordingLog::clear();
    onCall([](int) { throw fileFailure(); });
    // A wait would take days.
    EXPECT_THROW(run(1000000000, tries), FileNameException) << tries;
    EXPECT_EQ(ScriptedFiles::calls(), (Lines{call()}));
    EXPECT_EQ(RecordingLog::lines(), (Lines{lastTryLine()}));
  }
}

TEST_P(WaitingFileUtilitiesCalls, AnnounceTheOnlyTryAlsoWhenItSucceeds) {
  for (const int tries : {1, 0, -2}) {
    RecordingLog::clear();
    run(0, tries);
    EXPECT_EQ(RecordingLog::lines(), (Lines{lastTryLine()}));
  }
  EXPECT_EQ(timeline(), (Lines{lastTryLine(), call(), lastTryLine(), call(), lastTryLine(), call()}));
}

TEST_P(WaitingFileUtilitiesCalls, TryWithoutEndForMinusOne) {
  onCall([](int before) {
    if (before < 25) {
      throw fileFailure();
    }
  });
  run(0, -1);
  Lines expected;
  for (int index = 0; index < 25; ++index) {
    expected.push_back(call());
    expected.push_back(fileFailureLine(fileFailure().what(), "0", std::to_string(index) + "/-1"));
  }
  expected.push_back(call());
  EXPECT_EQ(timeline(), expected);
}

TEST_P(WaitingFileUtilitiesCalls, RetryWhateverIsThrown) {
  onCall([](int before) {
    switch (before) {
      case 0:
        throw 42;
      case 1:
        throw std::runtime_error("unused text");
      case 2:
        throw DvException("unused text", "g", "f", "file", 1);
      case 3:
        throw DvExceptionNested("unused text", "g", "f", "file", 1);
      case 4:
        throw BusyFile();
      case 5:
        throw "unused text";
      case 6:
        throw boost::thread_interrupted();
      case 7:
        throw fileFailure();
      default:
        break;
    }
  });
  run(0, 100);
  EXPECT_EQ(timeline(), (Lines{call(), otherFailureLine("0", "0/100"), call(), otherFailureLine("0", "1/100"), call(),
                               otherFailureLine("0", "2/100"), call(), otherFailureLine("0", "3/100"), call(),
                               fileFailureLine("busy!", "0", "4/100"), call(), otherFailureLine("0", "5/100"), call(),
                               otherFailureLine("0", "6/100"), call(),
                               fileFailureLine(fileFailure().what(), "0", "7/100"), call()}));
}

struct Unrelated {
  int number;
};

TEST_P(WaitingFileUtilitiesCalls, PassTheLastFailureOnAsItIs) {
  onCall([](int before) {
    if (before == 0) {
      throw fileFailure();
    }
    throw Unrelated{7};
  });
  try {
    run(0, 2);
    FAIL() << "nothing was thrown";
  } catch (const Unrelated& exception) {
    EXPECT_EQ(exception.number, 7);
  }
  EXPECT_EQ(timeline().back(), call());
}

TEST_P(WaitingFileUtilitiesCalls, PassADerivedFailureOnWithItsType) {
  onCall([](int) { throw BusyFile(); });
  EXPECT_THROW(run(0, 1), BusyFile);
  EXPECT_THROW(run(0, 2), BusyFile);
}

TEST_P(WaitingFileUtilitiesCalls, LogTheirPlaceAndSignature) {
  onCall([](int before) {
    if (before == 0) {
      throw fileFailure();
    }
    throw 1;
  });
  EXPECT_THROW(run(0, 3), int);
  const std::vector<LogEntry> entries = RecordingLog::entries();
  ASSERT_EQ(entries.size(), 3U);
  const std::string unit = "Platform/RemoteComputation/Service/RequestHandlingBase/WaitingFileUtilities.cpp";
  for (const LogEntry& entry : entries) {
    EXPECT_EQ(entry.function, GetParam().signature);
    EXPECT_EQ(entry.file, entry.logger);
    ASSERT_GE(entry.file.size(), unit.size());
    EXPECT_EQ(entry.file.substr(entry.file.size() - unit.size()), unit);
    EXPECT_GT(entry.line, 0);
  }
}

/// Has the thread that runs the operation interrupted by its own call number `interruptedCall`.
void interruptWithin(const std::function<void()>& operation, int interruptedCall,
                     const std::function<void(std::function<void(int)>)>& onCall) {
  boost::mutex mutex;
  boost::thread thread;
  boost::unique_lock<boost::mutex> starting(mutex);
  onCall([&](int before) {
    if (before == interruptedCall) {
      const boost::lock_guard<boost::mutex> untilStarted(mutex);
      thread.interrupt();
    }
    throw fileFailure();
  });
  bool interrupted = false;
  thread = boost::thread([&] {
    try {
      operation();
    } catch (const boost::thread_interrupted&) {
      interrupted = true;
    } catch (const FileNameException&) {
    }
  });
  starting.unlock();
  thread.join();
  EXPECT_TRUE(interrupted);
}

TEST_P(WaitingFileUtilitiesCalls, WriteTheWaitAsAnUnsignedNumber) {
  const unsigned long wait = ULONG_MAX;
  interruptWithin([&] { run(wait, 5); }, 0, [this](std::function<void(int)> action) { onCall(std::move(action)); });
  EXPECT_EQ(timeline(), (Lines{call(), fileFailureLine(fileFailure().what(), std::to_string(wait), "0/5")}));
}

TEST_P(WaitingFileUtilitiesCalls, WaitAfterEachFailureButTheLastAlsoForNoTime) {
  constexpr int tries = 4;
  for (const unsigned long wait : {0UL, 1UL}) {
    for (int interruptedCall = 0; interruptedCall < tries - 1; ++interruptedCall) {
      ScriptedFiles::reset();
      RecordingLog::clear();
      interruptWithin([&] { run(wait, tries); }, interruptedCall,
                      [this](std::function<void(int)> action) { onCall(std::move(action)); });
      EXPECT_EQ(ScriptedFiles::calls().size(), static_cast<std::size_t>(interruptedCall + 1));
      ASSERT_EQ(RecordingLog::entries().size(), static_cast<std::size_t>(interruptedCall + 1));
      EXPECT_EQ(RecordingLog::entries().back().level, "DEBUG");
    }
  }
}

TEST_P(WaitingFileUtilitiesCalls, EndlessTriesEndWithAnInterruption) {
  interruptWithin([&] { run(0, -1); }, 20, [this](std::function<void(int)> action) { onCall(std::move(action)); });
  EXPECT_EQ(ScriptedFiles::calls().size(), 21U);
}

TEST_P(WaitingFileUtilitiesCalls, LastTryIsNotFollowedByAWait) {
  boost::mutex mutex;
  boost::thread thread;
  boost::unique_lock<boost::mutex> starting(mutex);
  onCall([&](int) {
    const boost::lock_guard<boost::mutex> untilStarted(mutex);
    thread.interrupt();
    throw fileFailure();
  });
  thread = boost::thread([&] { EXPECT_THROW(run(0, 1), FileNameException); });
  starting.unlock();
  thread.join();
}

TEST_P(WaitingFileUtilitiesCalls, GoOnWhereInterruptionIsDisabled) {
  onCall([](int) { throw fileFailure(); });
  boost::thread thread([&] {
    const boost::this_thread::disable_interruption disabled;
    EXPECT_THROW(run(0, 3), FileNameException);
  });
  thread.interrupt();
  thread.join();
  EXPECT_EQ(ScriptedFiles::calls().size(), 3U);
}

TEST_P(WaitingFileUtilitiesCalls, LongWaitsAreNotShortAndEndWithAnInterruption) {
  const unsigned long clockRange = static_cast<unsigned long>(LLONG_MAX / 1000000);
  for (const unsigned long wait :
       {1000000000UL, 0xFFFFFFFFUL, 0x100000000UL, clockRange - 1, clockRange, clockRange + 1, 2 * clockRange,
        ULONG_MAX / 1000000 + 1, static_cast<unsigned long>(LONG_MAX), ULONG_MAX / 2 + 1, ULONG_MAX - 1, ULONG_MAX}) {
    ScriptedFiles::reset();
    RecordingLog::clear();
    onCall([](int) { throw fileFailure(); });
    boost::thread thread([&] { EXPECT_THROW(run(wait, 2), boost::thread_interrupted); });
    while (RecordingLog::entries().empty()) {
      boost::this_thread::yield();
    }
    // A wait that has wrapped to a short one is over by then.
    EXPECT_FALSE(thread.try_join_for(boost::chrono::milliseconds(20))) << wait;
    thread.interrupt();
    thread.join();
    EXPECT_EQ(ScriptedFiles::calls().size(), 1U) << wait;
    EXPECT_EQ(RecordingLog::entries().size(), 1U) << wait;
  }
}

TEST_P(WaitingFileUtilitiesCalls, WaitMilliseconds) {
  using boost::chrono::milliseconds;
  onCall([](int) { throw fileFailure(); });
  const auto start = boost::chrono::steady_clock::now();
  EXPECT_THROW(run(30, 3), FileNameException);
  // Two waits; how much later a busy machine goes on is no matter of the library.
  EXPECT_GE(boost::chrono::steady_clock::now() - start, milliseconds(60));
}

TEST_P(WaitingFileUtilitiesCalls, KeepNothingBetweenThreads) {
  constexpr int threads = 6;
  onCall([](int) { throw 1; });
  boost::thread_group group;
  for (int index = 0; index < threads; ++index) {
    group.create_thread([&] { EXPECT_THROW(run(1, 5), int); });
  }
  group.join_all();
  EXPECT_EQ(ScriptedFiles::calls().size(), 5U * threads);
  EXPECT_EQ(RecordingLog::entries().size(), 5U * threads);
}

TEST(WaitingFileUtilitiesNames, AreWrittenAsTheyWereGiven) {
  ScriptedFiles::reset();
  RecordingLog::clear();
  ScriptedFiles::onCall([](int) { throw 1; });
  EXPECT_THROW(WaitingFileUtilities::waitingCopy("it's /a b/../c", "", 0, 2), int);
  EXPECT_EQ(RecordingLog::lines(),
            (Lines{"DEBUG Exception copying 'it's /a b/../c' to ''\nWaiting 0ms to retry (0/2)...",
                   "INFO Could not copy 'it's /a b/../c' to ''! Doing one last try..."}));
  EXPECT_EQ(ScriptedFiles::calls(), (Lines{"copyFile it's /a b/../c ", "copyFile it's /a b/../c "}));
  ScriptedFiles::reset();
  RecordingLog::clear();
}

TEST(WaitingFileUtilitiesLogger, IsTheOnlyOneOfItsUnit) {
  int own = 0;
  for (const std::string& name : RecordingLog::loggers()) {
    own += name.find("RequestHandlingBase/WaitingFileUtilities.cpp") == std::string::npos ? 0 : 1;
  }
  EXPECT_EQ(own, 1);
}

}  // namespace
