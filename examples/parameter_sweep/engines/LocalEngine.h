#pragma once

#include <examples/parameter_sweep/common/Worker.h>
#include <examples/parameter_sweep/engines/JobEngine.h>
#include <examples/parameter_sweep/engines/JobProgram.h>
#include <examples/parameter_sweep/engines/LocalProcess.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace ParameterSweep {

/// Runs parts as processes of this machine, or of a launcher on it that reaches elsewhere.
class LocalEngine final : public JobEngine {
 public:
  /// `launcher` precedes the job program, in the shell's words; empty to start the program itself.
  LocalEngine(JobProgram program, std::vector<std::string> launcher, std::size_t runsAtOnce);
  ~LocalEngine() override;  ///< Leaves the processes alone.

  std::string getName() const override { return "local"; }
  std::size_t getRoom() const override;
  std::chrono::milliseconds getFileDelay() const override { return std::chrono::milliseconds(0); }
  void start(const std::vector<Run>& runs) override;
  void resume(const Run& run, const std::string& record) override;
  void end(const Run& run) override;
  bool isLeft(const Run& run) const override;
  std::vector<RunReport> poll() override;
  int getDescriptor() const override { return m_descriptor; }
  std::string getError() const override { return {}; }
  void endAll() override;

 private:
  struct Watched {
    LocalProcess process;
    std::uint64_t serial = 0;
    bool isEnding = false;
  };

  /// What became of the start of a process.
  struct Start {
    std::optional<LocalProcess> process;
    std::string reason;
    bool isShortage = false;  ///< a later start may succeed
  };

  std::size_t countRuns() const;
  Start startProcess(const Run& run) const;
  void started(const Run& run, const Start& start);
  void watch(const Run& run, const LocalProcess& process);
  void findUnknown();
  void findAgain();
  void reapEnded();
  void reap(const Run& run);
  void lookAtAll();

  const JobProgram m_program;
  const std::vector<std::string> m_launcher;
  const std::size_t m_runsAtOnce;
  bool m_hasSearched = false;  ///< for runs that `resume` did not name
  int m_descriptor;
  std::map<Run, std::uint64_t> m_starting;  ///< and their numbers of the worker
  std::map<Run, Watched> m_runs;            ///< also those that still must go
  std::map<std::uint64_t, Run> m_bySerial;  ///< the same runs, as their events name them
  std::uint64_t m_lastSerial = 0;
  std::chrono::steady_clock::time_point m_nextLook;  ///< at all of them
  std::map<Run, std::string> m_unsearched;           ///< records that have not been followed yet
  std::set<Run> m_unwanted;                          ///< of these, and of those that start: they are to end
  std::vector<RunReport> m_reports;
  Worker m_starter{"starter"};  ///< on a busy machine each start takes milliseconds
};

}  // namespace ParameterSweep
