// Start-up and shut-down of Xerces-C's platform. The program defines these two
// operations of Xerces-C itself: its definitions win over the library's, which they call.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <service/System.h>
#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperFixture.h>

#include <chrono>
#include <functional>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>
#include <xercesc/util/IOException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLUni.hpp>

namespace {

using xercesc_3_1::MemoryManager;
using xercesc_3_1::PanicHandler;
using xercesc_3_1::XMLPlatformUtils;

/// What the replaced operations do before the library's own, which is skipped when they throw, or after it.
struct Replacement {
  std::function<void()> beforeInitialize;
  std::function<void()> afterInitialize;
  std::function<void()> beforeTerminate;
  int initializations = 0;
  int terminations = 0;
};

Replacement s_replacement;

void call(const std::function<void()>& action) {
  if (action) {
    action();
  }
}

/// The definition that `replacing` hides.
template <typename Function>
Function* hiddenBy(const void* replacing) {
  Dl_info info{};
  if (dladdr(replacing, &info) == 0 || info.dli_sname == nullptr) {
    throw std::logic_error("the replacement is not among the dynamic symbols");
  }
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, info.dli_sname));
}

}  // namespace

void XMLPlatformUtils::Initialize(const char* const locale, const char* const nlsHome, PanicHandler* const panicHandler,
                                  MemoryManager* const memoryManager) {
  using Function = void(const char*, const char*, PanicHandler*, MemoryManager*);
  Function* const self = &XMLPlatformUtils::Initialize;
  static Function* const initialize = hiddenBy<Function>(reinterpret_cast<const void*>(self));
  EXPECT_STREQ(locale, xercesc_3_1::XMLUni::fgXercescDefaultLocale);
  EXPECT_EQ(nlsHome, nullptr);
  EXPECT_EQ(panicHandler, nullptr);
  EXPECT_EQ(memoryManager, nullptr);
  ++s_replacement.initializations;
  call(s_replacement.beforeInitialize);
  initialize(locale, nlsHome, panicHandler, memoryManager);
  call(s_replacement.afterInitialize);
}

void XMLPlatformUtils::Terminate() {
  static auto* const terminate = hiddenBy<void()>(reinterpret_cast<const void*>(&XMLPlatformUtils::Terminate));
  ++s_replacement.terminations;
  call(s_replacement.beforeTerminate);
  terminate();
}

namespace {

using Drelvan::BaseRequestHandlingSchema;
using Drelvan::RequestXmlHelper;
using Drelvan::XercesInitializationMutex;
using RequestXmlHelperTests::addressOf;
using RequestXmlHelperTests::Entry;
using RequestXmlHelperTests::HelperTest;
using RequestXmlHelperTests::takeEntries;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
namespace Signature = RequestXmlHelperTests::Signature;

xercesc_3_1::IOException platformFailure() {
  return xercesc_3_1::IOException(__FILE__, __LINE__, xercesc_3_1::XMLExcepts::File_CouldNotReadFromFile,
                                  XMLPlatformUtils::fgMemoryManager);
}

/// Asked from another thread: the asking one may hold it.
bool platformMutexIsFree() {
  bool free = false;
  std::thread([&] {
    const boost::mutex::scoped_try_lock lock(XercesInitializationMutex::getMutex());
    free = lock.owns_lock();
  }).join();
  return free;
}

std::vector<Entry> creationOf(const RequestXmlHelper& instance) {
  return {{"TRACE", Signature::c_constructor, "Creating new RequestXmlHelper instance " + addressOf(&instance)},
          {"TRACE", Signature::c_addSchema,
           "Added schema:\n" + BaseRequestHandlingSchema().getSchema().substr(0, 500) + "..."},
          {"TRACE", Signature::c_getInstance, "Created new RequestXmlHelper instance " + addressOf(&instance)}};
}

const Entry c_instanceReset = {"INFO", Signature::c_reset, "RequestXmlHelper instance reset."};
const Entry c_platformTerminated = {"INFO", Signature::c_reset, "Xerces-c terminated."};

class RequestXmlHelperPlatformContractTest : public HelperTest {
 protected:
  void SetUp() override {
    HelperTest::SetUp();
    s_replacement = {};
  }
  void TearDown() override {
    s_replacement = {};
    HelperTest::TearDown();
  }
};

TEST_F(RequestXmlHelperPlatformContractTest, CreationStartsThePlatformOnceUnderTheStartUpMutex) {
  bool wasFree = true;
  s_replacement.beforeInitialize = [&] { wasFree = platformMutexIsFree(); };
  RequestXmlHelper::getInstance();
  EXPECT_FALSE(wasFree);
  EXPECT_TRUE(platformMutexIsFree());
  RequestXmlHelper::getInstance();
  parseValid();
  EXPECT_EQ(s_replacement.initializations, 1);
  EXPECT_EQ(s_replacement.terminations, 0);
}

TEST_F(RequestXmlHelperPlatformContractTest, PlatformIsStartedBeforeTheInstanceIsMade) {
  int entries = 0;
  TestSupport::RecordingLog::onEntry([&](const auto&) {
    ++entries;
    EXPECT_EQ(s_replacement.initializations, 1);
    EXPECT_TRUE(platformMutexIsFree()) << "held for the start alone";
  });
  const std::vector<Entry> expected = creationOf(RequestXmlHelper::getInstance());
  EXPECT_THAT(expected, ::testing::SizeIs(entries));
}

TEST_F(RequestXmlHelperPlatformContractTest, FailedStartIsLoggedAndTheInstanceMadeAnyway) {
  std::string message;
  s_replacement.afterInitialize = [&] {
    const auto failure = platformFailure();
    message = TestSupport::toUtf8(failure.getMessage());
    throw failure;
  };
  const RequestXmlHelper& instance = RequestXmlHelper::getInstance();
  ASSERT_NE(message, "");
  std::vector<Entry> expected = creationOf(instance);
  expected.insert(expected.begin(),
                  Entry{"ERROR", Signature::c_getInstance, "Error during Xerces-c initialization: " + message});
  EXPECT_EQ(takeEntries(), expected);
  EXPECT_TRUE(platformMutexIsFree());
  EXPECT_EQ(&RequestXmlHelper::getInstance(), &instance);
  EXPECT_EQ(s_replacement.initializations, 1) << "not tried again";
}

TEST_F(RequestXmlHelperPlatformContractTest, OtherExceptionsOfTheStartPassThrough) {
  s_replacement.beforeInitialize = [] { throw std::runtime_error("no memory"); };
  EXPECT_THROW(RequestXmlHelper::getInstance(), std::runtime_error);
  EXPECT_THAT(takeEntries(), IsEmpty());
  EXPECT_TRUE(platformMutexIsFree());
  RequestXmlHelper::reset(true);
  EXPECT_THAT(takeEntries(), IsEmpty()) << "there is no instance";
  EXPECT_EQ(s_replacement.terminations, 0);

  s_replacement.beforeInitialize = nullptr;
  EXPECT_EQ(takeEntries(), std::vector<Entry>());
  const RequestXmlHelper& instance = RequestXmlHelper::getInstance();
  EXPECT_EQ(takeEntries(), creationOf(instance));
  parseValid();
}

TEST_F(RequestXmlHelperPlatformContractTest, CallsDuringTheCreationGetTheSameInstance) {
  std::thread other;
  const RequestXmlHelper* fromOther = nullptr;
  s_replacement.beforeInitialize = [&] { other = std::thread([&] { fromOther = &RequestXmlHelper::getInstance(); }); };
  const RequestXmlHelper& instance = RequestXmlHelper::getInstance();
  other.join();
  EXPECT_EQ(fromOther, &instance);
  EXPECT_EQ(takeEntries(), creationOf(instance));
  EXPECT_EQ(s_replacement.initializations, 1);
}

TEST_F(RequestXmlHelperPlatformContractTest, TerminationIsDoneAndLoggedUnderTheStartUpMutex) {
  RequestXmlHelper::getInstance();
  TestSupport::RecordingLog::clear();
  bool freeAtTermination = true;
  bool freeAtReset = false;
  bool freeAtTerminated = true;
  s_replacement.beforeTerminate = [&] { freeAtTermination = platformMutexIsFree(); };
  TestSupport::RecordingLog::onEntry([&](const TestSupport::LogEntry& entry) {
    (entry.message == "Xerces-c terminated." ? freeAtTerminated : freeAtReset) = platformMutexIsFree();
  });
  RequestXmlHelper::reset(true);
  EXPECT_TRUE(freeAtReset);
  EXPECT_FALSE(freeAtTermination);
  EXPECT_FALSE(freeAtTerminated);
  EXPECT_TRUE(platformMutexIsFree());
  EXPECT_THAT(takeEntries(), ElementsAre(c_instanceReset, c_platformTerminated));
  EXPECT_EQ(s_replacement.terminations, 1);
}

TEST_F(RequestXmlHelperPlatformContractTest, PlatformEndsOnlyWhenItIsAskedForAndAnInstanceExists) {
  RequestXmlHelper::reset(true);
  EXPECT_EQ(s_replacement.terminations, 0);
  RequestXmlHelper::getInstance();
  RequestXmlHelper::reset(false);
  EXPECT_EQ(s_replacement.terminations, 0);
  RequestXmlHelper::reset(true);
  EXPECT_EQ(s_replacement.terminations, 0) << "the instance was gone";
  XMLPlatformUtils::Terminate();
}

TEST_F(RequestXmlHelperPlatformContractTest, FailedTerminationIsLogged) {
  parseValid();
  TestSupport::RecordingLog::clear();
  std::string message;
  s_replacement.beforeTerminate = [&] {
    const auto failure = platformFailure();
    message = TestSupport::toUtf8(failure.getMessage());
    throw failure;
  };
  RequestXmlHelper::reset(true);
  ASSERT_NE(message, "");
  EXPECT_THAT(takeEntries(), ElementsAre(c_instanceReset, Entry{"ERROR", Signature::c_reset,
                                                                "Error during Xerces-c termination: " + message}));
  EXPECT_TRUE(platformMutexIsFree());
  s_replacement.beforeTerminate = nullptr;
  const RequestXmlHelper& instance = RequestXmlHelper::getInstance();
  EXPECT_EQ(takeEntries(), creationOf(instance));
  parseValid();
  RequestXmlHelper::reset(true);
  XMLPlatformUtils::Terminate();
}

TEST_F(RequestXmlHelperPlatformContractTest, OtherExceptionsOfTheTerminationPassThrough) {
  RequestXmlHelper::getInstance();
  s_replacement.beforeTerminate = [] { throw std::runtime_error("no memory"); };
  EXPECT_THROW(RequestXmlHelper::reset(true), std::runtime_error);
  EXPECT_TRUE(platformMutexIsFree());
  s_replacement.beforeTerminate = nullptr;
  TestSupport::RecordingLog::clear();
  RequestXmlHelper::reset(true);
  EXPECT_THAT(takeEntries(), IsEmpty()) << "the instance was gone";
  XMLPlatformUtils::Terminate();
}

TEST_F(RequestXmlHelperPlatformContractTest, TerminationIsDoneUnderTheLockOfTheInstance) {
  RequestXmlHelper::getInstance();
  std::future<void> other;
  std::future_status duringTermination = std::future_status::ready;
  s_replacement.beforeTerminate = [&] {
    // Without an instance this returns at once, unless it has to wait for the lock.
    other = std::async(std::launch::async, [] { RequestXmlHelper::reset(false); });
    duringTermination = other.wait_for(std::chrono::milliseconds(200));
  };
  RequestXmlHelper::reset(true);
  other.get();
  EXPECT_EQ(duringTermination, std::future_status::timeout);
}

}  // namespace
