#pragma once

#include <examples/parameter_sweep/engines/JobEngine.h>
#include <examples/parameter_sweep/server/Clocks.h>
#include <examples/parameter_sweep/server/PartResults.h>
#include <examples/parameter_sweep/store/Records.h>

#include <filesystem>
#include <memory>
#include <vector>

namespace ParameterSweep {

/// The state of a part of an active job.
enum class PartPhase {
  Queued,      ///< waits for room, or for the end of a pause
  Preparing,   ///< its input is being written
  Starting,    ///< the engine was asked to start it
  Resumed,     ///< an earlier server started it; the engine has not said yet what became of it
  Waiting,     ///< the engine has it; it does not run yet
  Running,     ///< it runs
  Collecting,  ///< it has ended; what it left is being read
  Storing,     ///< its results are being stored
  Finished
};

/// Whether the engine has the part, and only it can say what becomes of it.
inline bool isGiven(PartPhase phase) {
  return phase == PartPhase::Resumed || phase == PartPhase::Waiting || phase == PartPhase::Running;
}

struct ActivePart {
  PartRecord record;
  PartPhase phase = PartPhase::Queued;
  TimePoint notBefore{};                           ///< of the next try, or of the next look at its files
  TimePoint endedAt{};                             ///< of its process
  std::uint32_t failedReads = 0;                   ///< of what it left, one after the other
  std::uint64_t preparation = 0;                   ///< the writing of its input that is waited for
  RunEnd end = {};                                 ///< of its process
  double progress = 0;                             ///< of the present try, from 0 to 1
  std::filesystem::file_time_type progressRead{};  ///< the time of the file that it was read from
  std::unique_ptr<PartResults> results = {};
};

/// A job that has not ended.
struct ActiveJob {
  JobRecord record;
  std::vector<ActivePart> parts;
  std::uint64_t place = 0;           ///< in the order of submission
  bool isEnding = false;             ///< its end is being stored; nothing more is started
  bool isStartStored = false;        ///< it is shown as running only then
  std::size_t queued = 0;            ///< parts in the phase `Queued`
  std::size_t running = 0;           ///< parts in the phases from `Running` to `Storing`
  TimePoint runningSince{};          ///< while any part runs
  std::chrono::milliseconds ran{0};  ///< before that
};

}  // namespace ParameterSweep
