#pragma once

#include <examples/parameter_sweep/engines/JobEngine.h>
#include <examples/parameter_sweep/engines/JobProgram.h>
#include <examples/parameter_sweep/engines/LocalProcess.h>

#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace ParameterSweep {

/// Runs parts as processes of this machine, or of a launcher on it that reaches elsewhere.
class LocalEngine final : public JobEngine {
 public:
  /// `launcher` stands before the job program, in the shell's words; empty to start the program itself.
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
  bool isBusy() const override { return !m_toStart.empty(); }
  void work() override;
  int getDescriptor() const override { return m_descriptor; }
  std::string getError() const override { return {}; }
  void endAll() override;

 private:
  struct Watched {
    LocalProcess process;
    std::uint64_t serial = 0;
    bool isEnding = false;
  };

  void startOne(const Run& run);
  void watch(const Run& run, const LocalProcess& process);
  void findUnknown();
  void findAgain();
  void reapEnded();
  void reap(const Run& run);
  void lookAtAll();

  const JobProgram m_program;
  const std::vector<std::string> m_launcher;
  const std::size_t m_runsAtOnce;
  bool m_hasSearched = false;  ///< for runs that nobody named
  int m_descriptor;
  std::deque<Run> m_toStart;
  std::map<Run, Watched> m_runs;            ///< also those that still must go
  std::map<std::uint64_t, Run> m_bySerial;  ///< the same runs, as their events name them
  std::uint64_t m_lastSerial = 0;
  std::chrono::steady_clock::time_point m_nextLook;  ///< at all of them
  std::map<Run, std::string> m_unsearched;           ///< records that have not been followed yet
  std::set<Run> m_unwanted;                          ///< those of them that are to end
  std::vector<RunReport> m_reports;
};

}  // namespace ParameterSweep
