#include <examples/parameter_sweep/common/Threads.h>
#include <examples/parameter_sweep/store/StoreWriter.h>
#include <poll.h>
#include <service/Logging.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace ParameterSweep {

namespace {

using std::chrono::milliseconds;

Drelvan::Logging s_logger(__FILE__);

constexpr milliseconds c_firstPause{250};
constexpr milliseconds c_longestPause{30000};
constexpr std::size_t c_changesAtOnce = 200;

}  // namespace

StoreWriter::StoreWriter(JobStore& store) : m_store(store) {
  m_thread = startThread("store", [this] { run(); });
}

StoreWriter::~StoreWriter() {
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isEnding = true;
  }
  m_changed.notify_one();
  m_thread.join();
}

void StoreWriter::write(Change change, Patience patience, Done done) {
  ++m_waiting;
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_entries.push_back({std::move(change), patience, std::move(done)});
  }
  m_changed.notify_one();
}

void StoreWriter::poll() {
  Entries finished;
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_event.clear();
    finished.swap(m_finished);
  }
  m_waiting -= finished.size();
  for (Entry& entry : finished) {
    entry.done(entry.result);
  }
}

void StoreWriter::pollFor(milliseconds wait) {
  pollfd item{m_event.get(), POLLIN, 0};
  ::poll(&item, 1, static_cast<int>(wait.count()));
  poll();
}

std::string StoreWriter::getError() const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return m_error;
}

void StoreWriter::run() {
  Entries entries;  // those of the last round that are tried again, then the new ones
  milliseconds pause{0};
  while (take(entries, pause)) {
    store(entries);
    pause = entries.empty() ? milliseconds(0) : std::clamp(2 * pause, c_firstPause, c_longestPause);
  }
}

/// Adds what came meanwhile; waits for it unless something is to be tried again after the pause. False at the end.
bool StoreWriter::take(Entries& entries, milliseconds pause) {
  std::unique_lock<std::mutex> lock(m_mutex);
  const auto isWoken = [this] { return m_isEnding || !m_entries.empty(); };
  if (entries.empty()) {
    m_changed.wait(lock, isWoken);
  } else {
    m_changed.wait_for(lock, pause, isWoken);
  }
  if (m_isEnding && m_entries.empty() && (entries.empty() || std::exchange(m_hadLastTry, true))) {
    return false;
  }
  const auto count = static_cast<std::ptrdiff_t>(std::min(m_entries.size(), c_changesAtOnce));
  std::move(m_entries.begin(), m_entries.begin() + count, std::back_inserter(entries));
  m_entries.erase(m_entries.begin(), m_entries.begin() + count);
  return true;
}

/// Stores what can be; leaves what is to be tried again.
void StoreWriter::store(Entries& entries) {
  std::vector<Entry*> all;
  for (Entry& entry : entries) {
    all.push_back(&entry);
  }
  if (!applyAll(all) && all.size() > 1) {
    // One that can never be stored must not keep the others from it.
    for (Entry* entry : all) {
      std::vector<Entry*> one{entry};
      applyAll(one);
    }
  }
  const auto again = std::stable_partition(entries.begin(), entries.end(), [](const Entry& entry) {
    return entry.result != Stored::Failed || entry.patience == Patience::Once;
  });
  Entries left(std::make_move_iterator(again), std::make_move_iterator(entries.end()));
  entries.erase(again, entries.end());
  finish(entries);
  entries = std::move(left);
}

/// One commit for all; false, with nothing stored, when it fails.
bool StoreWriter::applyAll(std::vector<Entry*>& entries) {
  std::vector<const Change*> changes;
  changes.reserve(entries.size());
  for (const Entry* entry : entries) {
    changes.push_back(&entry->change);
  }
  try {
    const std::vector<bool> applied = m_store.apply(changes);
    for (std::size_t index = 0; index < entries.size(); ++index) {
      entries[index]->result = applied[index] ? Stored::Done : Stored::Refused;
    }
    tell("");
    return true;
  } catch (const DatabaseError& error) {
    tell(error.what());
    if (error.isAmbiguous()) {
      overwriteFailed();
    }
  } catch (const std::exception& exception) {
    tell(exception.what());
  }
  return false;
}

/// Nobody is told of a failure that might turn out to be stored.
void StoreWriter::overwriteFailed() {
  for (milliseconds length = c_firstPause;; length = std::min(2 * length, c_longestPause)) {
    try {
      m_store.overwriteFailed();
      return;
    } catch (const std::exception& exception) {
      tell(exception.what());
    }
    if (!pause(length)) {
      return;
    }
  }
}

void StoreWriter::finish(Entries& entries) {
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::move(entries.begin(), entries.end(), std::back_inserter(m_finished));
  }
  m_event.raise();
}

/// Keeps the state of the store, and logs when it changes.
void StoreWriter::tell(const std::string& error) {
  const std::string before = [&] {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::exchange(m_error, error);
  }();
  if (before.empty() && !error.empty()) {
    s_logger.logERROR("cannot store: " + error + "; trying again", __FILE__, __func__, __LINE__);
  } else if (!before.empty() && error.empty()) {
    s_logger.logINFO("can store again", __FILE__, __func__, __LINE__);
  }
}

/// False when the program ends meanwhile.
bool StoreWriter::pause(milliseconds length) {
  std::unique_lock<std::mutex> lock(m_mutex);
  return !m_changed.wait_for(lock, length, [this] { return m_isEnding; });
}

}  // namespace ParameterSweep
