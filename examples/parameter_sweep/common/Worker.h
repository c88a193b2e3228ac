#pragma once

#include <examples/parameter_sweep/common/EventDescriptor.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace ParameterSweep {

/// Does what takes time without keeping its caller waiting, one piece of work after the other. The nice value of its
/// thread, and of processes that it starts, is 10 above this program's, which answers while all cores compute.
///
/// Threads: its own one, which does the work; everything else belongs to the caller's one thread.
class Worker {
 public:
  using Action = std::function<void()>;

  /// `name` is that of the thread, for those who look at the process. Throws `std::system_error`.
  explicit Worker(const char* name);
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  /// Waits for the work that is being done, and forgets what waits after it. Calls nothing.
  ~Worker();

  /// `work` must not throw. Once it has been done, `poll` calls `done`. Returns a number for `forget`.
  std::uint64_t run(Action work, Action done);
  /// Forgets work that waits, `done` too; false when it has begun.
  bool forget(std::uint64_t number);

  /// Becomes readable when `poll` has something to call.
  int getDescriptor() const { return m_event.get(); }
  void poll();

 private:
  struct Item {
    Action work;
    Action done;
  };
  using Items = std::map<std::uint64_t, Item>;  ///< by their numbers, in their order

  void work();
  Items::node_type takeNext();
  void finish(Items::node_type item);

  const EventDescriptor m_event;
  std::uint64_t m_lastNumber = 0;

  std::mutex m_mutex;  ///< guards what follows
  std::condition_variable m_changed;
  Items m_waiting;
  Items m_finished;
  bool m_isEnding = false;

  std::thread m_thread;  ///< last: it uses all the others
};

}  // namespace ParameterSweep
