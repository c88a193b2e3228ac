#pragma once

#include <examples/parameter_sweep/common/EventDescriptor.h>
#include <examples/parameter_sweep/store/JobStore.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace ParameterSweep {

/// What became of a change.
enum class Stored {
  Done,     ///< it is stored
  Refused,  ///< it does not apply any more; nothing has changed
  Failed    ///< the store failed; nothing has changed
};

/// Stores changes without keeping its caller waiting. All that wait together are one commit.
///
/// Threads: its own one, which alone applies changes; everything else belongs to the server's one thread.
class StoreWriter {
 public:
  using Done = std::function<void(Stored)>;
  enum class Patience {
    Once,    ///< a failure is told
    Forever  ///< a failure is tried again, with growing pauses, until it is stored or does not apply any more
  };

  explicit StoreWriter(JobStore& store);
  StoreWriter(const StoreWriter&) = delete;
  StoreWriter& operator=(const StoreWriter&) = delete;
  /// Tries what waits once more; calls nobody.
  ~StoreWriter();

  /// `done` is called by `poll`, never from here.
  void write(Change change, Patience patience, Done done);

  /// Becomes readable when `poll` has something to call.
  int getDescriptor() const { return m_event.get(); }
  void poll();
  /// Waits until something is through, or for so long; then as `poll`. For tests and the end of the program.
  void pollFor(std::chrono::milliseconds wait);

  /// Why nothing can be stored now; empty when it can, as far as is known.
  std::string getError() const;
  /// The number of changes that wait to be stored.
  std::size_t countWaiting() const { return m_waiting; }

 private:
  struct Entry {
    Change change;
    Patience patience;
    Done done;
    Stored result = Stored::Failed;
  };
  using Entries = std::deque<Entry>;

  void run();
  bool take(Entries& entries, std::chrono::milliseconds pause);
  void store(Entries& entries);
  bool applyAll(std::vector<Entry*>& entries);
  void finish(Entries& entries);
  void overwriteFailed();
  void tell(const std::string& error);
  bool pause(std::chrono::milliseconds length);

  JobStore& m_store;
  const EventDescriptor m_event;
  std::size_t m_waiting = 0;  ///< of the server's thread

  mutable std::mutex m_mutex;  ///< guards what follows
  std::condition_variable m_changed;
  Entries m_entries;
  Entries m_finished;
  std::string m_error;
  bool m_isEnding = false;
  bool m_hadLastTry = false;

  std::thread m_thread;  ///< last: it uses all the others
};

}  // namespace ParameterSweep
