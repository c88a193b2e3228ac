#include <Platform/RemoteComputation/Service/RequestHandlingBase/RemoteJobStatusInterface.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

/// Allocations that still succeed on this thread; negative for any number.
thread_local long allocationsLeft = -1;

void* allocate(std::size_t size) {
  if (allocationsLeft == 0) {
    throw std::bad_alloc();
  }
  if (allocationsLeft > 0) {
    --allocationsLeft;
  }
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using Drelvan::GenericJobId;
using Drelvan::HostInfo;
using Drelvan::RemoteJobStatusInterface;
using State = RemoteJobStatusInterface::State;

class JobStatus : public RemoteJobStatusInterface {
 public:
  GenericJobId getJobId() const override { return {}; }
  State getState() const override { return State::Running; }
  double getProgress() const override { return 0.25; }
  HostInfo getHost() const override { return {"alpha", "10.0.0.1"}; }
  std::string getErrorMessage() const override { return "none"; }
  void cancel() override { m_cancelled(); }
};

static_assert(std::is_abstract_v<RemoteJobStatusInterface>);
static_assert(std::has_virtual_destructor_v<RemoteJobStatusInterface>);
static_assert(std::is_destructible_v<RemoteJobStatusInterface>);
static_assert(std::is_default_constructible_v<JobStatus>);
static_assert(!std::is_copy_constructible_v<JobStatus> && !std::is_copy_assignable_v<JobStatus>);
static_assert(!std::is_move_constructible_v<JobStatus> && !std::is_move_assignable_v<JobStatus>);
static_assert(sizeof(RemoteJobStatusInterface) == sizeof(void*) + 7 * sizeof(Signals::Signal<void()>));
static_assert(std::is_same_v<decltype(RemoteJobStatusInterface::m_stateChanged), Signals::Signal<void(State)>>);
static_assert(std::is_same_v<decltype(RemoteJobStatusInterface::m_progressChanged), Signals::Signal<void(double)>>);
static_assert(std::is_same_v<decltype(RemoteJobStatusInterface::m_started), Signals::Signal<void()>>);
static_assert(std::is_same_v<decltype(RemoteJobStatusInterface::m_failed), Signals::Signal<void(const std::string&)>>);
static_assert(std::is_same_v<decltype(RemoteJobStatusInterface::m_finished), Signals::Signal<void()>>);
static_assert(std::is_same_v<decltype(RemoteJobStatusInterface::m_cancelled), Signals::Signal<void()>>);
static_assert(std::is_same_v<decltype(RemoteJobStatusInterface::m_connectionLost), Signals::Signal<void()>>);
static_assert(State::Unknown != State::Queued);

std::size_t placeOf(const RemoteJobStatusInterface& status, const void* member) {
  return static_cast<std::size_t>(static_cast<const char*>(member) - reinterpret_cast<const char*>(&status));
}

TEST(RemoteJobStatusInterfaceContractTest, HoldsItsSignalsInOrder) {
  const JobStatus status;
  const std::vector<std::size_t> places{
      placeOf(status, &status.m_stateChanged),  placeOf(status, &status.m_progressChanged),
      placeOf(status, &status.m_started),       placeOf(status, &status.m_failed),
      placeOf(status, &status.m_finished),      placeOf(status, &status.m_cancelled),
      placeOf(status, &status.m_connectionLost)};
  for (std::size_t index = 0; index < places.size(); ++index) {
    EXPECT_EQ(places[index], sizeof(void*) + index * sizeof(Signals::Signal<void()>)) << index;
  }
}

/// Records its number when the last copy of the slot that holds it goes.
class Witness {
 public:
  Witness(int number, std::vector<int>& record) : m_number(number), m_record(record) {}
  Witness(const Witness&) = delete;
  Witness& operator=(const Witness&) = delete;
  ~Witness() { m_record.push_back(m_number); }

 private:
  int m_number;
  std::vector<int>& m_record;
};

TEST(RemoteJobStatusInterfaceContractTest, DestroysItsSignalsInReverseOrder) {
  std::vector<int> destroyed;
  std::unique_ptr<RemoteJobStatusInterface> status = std::make_unique<JobStatus>();
  const auto witness = [&](int number) { return std::make_shared<Witness>(number, destroyed); };
  status->m_connectionLost.connect([held = witness(7)] {});
  status->m_stateChanged.connect([held = witness(1)](State) {});
  status->m_failed.connect([held = witness(4)](const std::string&) {});
  status->m_started.connect([held = witness(3)] {});
  status->m_progressChanged.connect([held = witness(2)](double) {});
  status->m_cancelled.connect([held = witness(6)] {});
  status->m_finished.connect([held = witness(5)] {});
  EXPECT_TRUE(destroyed.empty());
  status.reset();
  EXPECT_EQ(destroyed, (std::vector<int>{7, 6, 5, 4, 3, 2, 1}));
}

TEST(RemoteJobStatusInterface, CallsItsSlots) {
  JobStatus status;
  std::vector<std::string> heard;
  status.m_stateChanged.connect(
      [&](State state) { heard.push_back("state " + std::to_string(static_cast<int>(state))); });
  status.m_progressChanged.connect([&](double progress) { heard.push_back("progress " + std::to_string(progress)); });
  status.m_started.connect([&] { heard.push_back("started"); });
  status.m_failed.connect([&](const std::string& reason) { heard.push_back("failed " + reason); });
  status.m_finished.connect([&] { heard.push_back("finished"); });
  status.m_cancelled.connect([&] { heard.push_back("cancelled"); });
  status.m_connectionLost.connect([&] { heard.push_back("lost"); });
  status.m_stateChanged(State::Queued);
  status.m_progressChanged(0.5);
  status.m_started();
  status.m_failed("disk full");
  status.m_finished();
  static_cast<RemoteJobStatusInterface&>(status).cancel();
  status.m_connectionLost();
  EXPECT_EQ(heard, (std::vector<std::string>{"state 1", "progress 0.500000", "started", "failed disk full", "finished",
                                             "cancelled", "lost"}));
}

TEST(RemoteJobStatusInterface, ReachesTheOperationsThroughTheBase) {
  const JobStatus status;
  const RemoteJobStatusInterface& base = status;
  EXPECT_EQ(base.getState(), State::Running);
  EXPECT_EQ(base.getProgress(), 0.25);
  EXPECT_EQ(base.getHost().getName(), "alpha");
  EXPECT_EQ(base.getErrorMessage(), "none");
  EXPECT_FALSE(base.getJobId().isValid());
}

TEST(RemoteJobStatusInterface, FailsWholeWhenASignalCannotBeMade) {
  int failures = 0;
  for (long allocations = 0;; ++allocations) {
    alignas(JobStatus) unsigned char place[sizeof(JobStatus)];
    allocationsLeft = allocations;
    try {
      auto* const status = new (place) JobStatus;
      allocationsLeft = -1;
      status->~JobStatus();
      break;
    } catch (const std::bad_alloc&) {
      allocationsLeft = -1;
      ++failures;
    }
  }
  // Every signal allocates, so each of the seven has failed once at least.
  EXPECT_GE(failures, 7);
}

#if defined(__x86_64__)
/// The place of a virtual operation in the dispatch table, as the common C++ ABI tells it.
template <typename Operation>
std::size_t slotOf(Operation operation) {
  std::size_t encoded = 0;
  std::memcpy(&encoded, &operation, sizeof encoded);
  return (encoded - 1) / sizeof(void*);
}

TEST(RemoteJobStatusInterfaceContractTest, DispatchesTheDestructorFirst) {
  EXPECT_EQ(slotOf(&RemoteJobStatusInterface::getJobId), 2U);
  EXPECT_EQ(slotOf(&RemoteJobStatusInterface::getState), 3U);
  EXPECT_EQ(slotOf(&RemoteJobStatusInterface::getProgress), 4U);
  EXPECT_EQ(slotOf(&RemoteJobStatusInterface::getHost), 5U);
  EXPECT_EQ(slotOf(&RemoteJobStatusInterface::getErrorMessage), 6U);
  EXPECT_EQ(slotOf(&RemoteJobStatusInterface::cancel), 7U);
}
#endif

}  // namespace
