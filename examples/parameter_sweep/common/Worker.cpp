#include <examples/parameter_sweep/common/Threads.h>
#include <examples/parameter_sweep/common/Worker.h>
#include <sys/resource.h>
#include <unistd.h>

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
    m_waiting.emplace(++m_lastNumber, Item{std::move(work), std::move(done)});
  }
  m_changed.notify_one();
  return m_lastNumber;
}

bool Worker::forget(std::uint64_t number) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return m_waiting.erase(number) != 0;
}

void Worker::poll() {
  Items finished;
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_event.clear();
    finished.swap(m_finished);
  }
  for (const auto& [number, item] : finished) {
    item.done();
  }
}

void Worker::work() {
  // In Linux the nice value is one of a thread.
  ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), ::getpriority(PRIO_PROCESS, 0) + c_niceness);
  for (Items::node_type item = takeNext(); !item.empty(); item = takeNext()) {
    item.mapped().work();
    finish(std::move(item));
  }
}

/// Waits for work; empty at the end. Items are moved without an allocation, which could fail.
Worker::Items::node_type Worker::takeNext() {
  std::unique_lock<std::mutex> lock(m_mutex);
  m_changed.wait(lock, [this] { return m_isEnding || !m_waiting.empty(); });
  return m_isEnding ? Items::node_type() : m_waiting.extract(m_waiting.begin());
}

void Worker::finish(Items::node_type item) {
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_finished.insert(std::move(item));
  }
  m_event.raise();
}

}  // namespace ParameterSweep
