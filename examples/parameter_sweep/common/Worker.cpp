#include <examples/parameter_sweep/common/Threads.h>
#include <examples/parameter_sweep/common/Worker.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace ParameterSweep {

namespace {

constexpr int c_niceness = 10;

}  // namespace

Worker::Worker(const char* name) {
  m_thread = startThread(name, [this] { work(); });
}

Worker::~Worker() {
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isEnding = true;
  }
  m_changed.notify_one();
  m_thread.join();
}

std::uint64_t Worker::run(Action work, Action done) {
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_waiting.push_back({++m_lastNumber, std::move(work), std::move(done)});
  }
  m_changed.notify_one();
  return m_lastNumber;
}

bool Worker::forget(std::uint64_t number) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto found =
      std::find_if(m_waiting.begin(), m_waiting.end(), [&](const Item& item) { return item.number == number; });
  if (found == m_waiting.end()) {
    return false;
  }
  m_waiting.erase(found);
  return true;
}

void Worker::poll() {
  std::list<Item> finished;
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_event.clear();
    finished.swap(m_finished);
  }
  for (const Item& item : finished) {
    item.done();
  }
}

void Worker::work() {
  // In Linux the nice value is one of a thread.
  ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), ::getpriority(PRIO_PROCESS, 0) + c_niceness);
  for (std::list<Item> item = takeNext(); !item.empty(); item = takeNext()) {
    item.front().work();
    finish(std::move(item));
  }
}

/// Waits for work; empty at the end. Items are moved without an allocation, which could fail.
std::list<Worker::Item> Worker::takeNext() {
  std::list<Item> item;
  std::unique_lock<std::mutex> lock(m_mutex);
  m_changed.wait(lock, [this] { return m_isEnding || !m_waiting.empty(); });
  if (!m_isEnding) {
    item.splice(item.end(), m_waiting, m_waiting.begin());
  }
  return item;
}

void Worker::finish(std::list<Item> item) {
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_finished.splice(m_finished.end(), item);
  }
  m_event.raise();
}

}  // namespace ParameterSweep
