#include <dlfcn.h>
#include <execinfo.h>
#include <tests/support/FailingAllocations.h>

#include <algorithm>
#include <boost/core/demangle.hpp>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <map>
#include <mutex>
#include <new>
#include <utility>

namespace TestSupport {

namespace {

constexpr int c_frames = 64;

/// Stands before every block.
struct alignas(std::max_align_t) Header {
  Header* previous;
  Header* next;
  int frames;
  void* places[c_frames];
};

struct Blocks {
  std::mutex mutex;
  Header* traced = nullptr;
};

/// Never destroyed, as blocks are freed until the very end of the process.
Blocks& blocksOfProcess() {
  alignas(Blocks) static unsigned char storage[sizeof(Blocks)];
  static Blocks& instance = *::new (static_cast<void*>(storage)) Blocks;
  return instance;
}

thread_local bool t_counting = false;
thread_local bool t_failed = false;
thread_local bool t_tracing = false;
thread_local std::size_t t_remaining = 0;
thread_local int t_failureFrames = 0;
thread_local void* t_failurePlaces[c_frames];

bool failsNow() {
  if (!t_counting || t_failed) {
    return false;
  }
  t_failed = t_remaining == 0;
  t_remaining -= t_failed ? 0 : 1;
  t_failureFrames = t_failed ? backtrace(t_failurePlaces, c_frames) : 0;
  return t_failed;
}

void link(Header& header, Blocks& all) {
  header.previous = nullptr;
  header.next = all.traced;
  if (all.traced != nullptr) {
    all.traced->previous = &header;
  }
  all.traced = &header;
}

void unlink(Header& header, Blocks& all) {
  (header.previous == nullptr ? all.traced : header.previous->next) = header.next;
  if (header.next != nullptr) {
    header.next->previous = header.previous;
  }
}

void* allocate(std::size_t size) {
  if (failsNow() || size > std::numeric_limits<std::size_t>::max() - sizeof(Header)) {
    return nullptr;
  }
  void* memory = std::malloc(sizeof(Header) + size);
  if (memory == nullptr) {
    return nullptr;
  }
  auto* header = static_cast<Header*>(memory);
  header->frames = t_tracing ? backtrace(header->places, c_frames) : 0;
  Blocks& all = blocksOfProcess();
  const std::lock_guard<std::mutex> lock(all.mutex);
  if (header->frames != 0) {
    link(*header, all);
  }
  return header + 1;
}

void release(void* block) noexcept {
  if (block == nullptr) {
    return;
  }
  Header* header = static_cast<Header*>(block) - 1;
  {
    Blocks& all = blocksOfProcess();
    const std::lock_guard<std::mutex> lock(all.mutex);
    if (header->frames != 0) {
      unlink(*header, all);
    }
  }
  std::free(header);
}

/// Removes one traced block from the list; the number of its places, which are copied, or 0 when there is none.
int takeTraced(void** places) {
  Blocks& all = blocksOfProcess();
  const std::lock_guard<std::mutex> lock(all.mutex);
  Header* header = all.traced;
  if (header == nullptr) {
    return 0;
  }
  unlink(*header, all);
  std::copy(header->places, header->places + header->frames, places);
  return std::exchange(header->frames, 0);
}

std::string functionAt(void* place) {
  Dl_info info{};
  if (dladdr(place, &info) == 0) {
    return "?";
  }
  const std::string file = info.dli_fname == nullptr ? "?" : info.dli_fname;
  const std::string name = info.dli_sname == nullptr ? "?" : boost::core::demangle(info.dli_sname);
  return name + " in " + file.substr(file.rfind('/') + 1);
}

/// `functionAt`, which takes long, once for each place.
const std::string& knownFunctionAt(void* place) {
  static std::map<void*, std::string> known;
  const auto found = known.find(place);
  return found != known.end() ? found->second : known.emplace(place, functionAt(place)).first->second;
}

std::vector<std::string> functionsAt(void* const* places, int count) {
  std::vector<std::string> result;
  std::transform(places, places + count, std::back_inserter(result), knownFunctionAt);
  return result;
}

/// The first use of `backtrace` allocates.
void loadUnwinder() {
  void* place[1];
  backtrace(place, 1);
}

}  // namespace

void FailingAllocations::failAfter(std::size_t successes) {
  t_remaining = successes;
  loadUnwinder();
  t_failed = false;
  t_failureFrames = 0;
  t_counting = true;
}

bool FailingAllocations::stop() {
  t_counting = false;
  return t_failed;
}

std::vector<std::string> FailingAllocations::failurePlaces() { return functionsAt(t_failurePlaces, t_failureFrames); }

void FailingAllocations::beginTrace() {
  loadUnwinder();
  t_tracing = true;
}

void FailingAllocations::pauseTrace() { t_tracing = false; }

std::vector<std::vector<std::string>> FailingAllocations::endTrace() {
  pauseTrace();
  std::vector<std::vector<std::string>> result;
  void* places[c_frames];
  for (int count = takeTraced(places); count != 0; count = takeTraced(places)) {
    result.push_back(functionsAt(places, count));
  }
  return result;
}

}  // namespace TestSupport

void* operator new(std::size_t size) {
  void* block = TestSupport::allocate(size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return TestSupport::allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return TestSupport::allocate(size); }
void operator delete(void* block) noexcept { TestSupport::release(block); }
void operator delete[](void* block) noexcept { TestSupport::release(block); }
void operator delete(void* block, std::size_t) noexcept { TestSupport::release(block); }
void operator delete[](void* block, std::size_t) noexcept { TestSupport::release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { TestSupport::release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { TestSupport::release(block); }
