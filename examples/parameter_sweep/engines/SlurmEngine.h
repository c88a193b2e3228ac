#pragma once

#include <examples/parameter_sweep/engines/JobEngine.h>
#include <examples/parameter_sweep/engines/JobProgram.h>
#include <examples/parameter_sweep/engines/SlurmAnswers.h>
#include <examples/parameter_sweep/engines/SlurmCall.h>

#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace ParameterSweep {

/// Runs parts as tasks of Slurm's job arrays: one array for what a sweep starts at a time, named after its job.
///
/// One program of Slurm is called at a time. What it cannot tell stays as it was; a run that Slurm does not know any
/// more has ended with an unknown outcome.
class SlurmEngine final : public JobEngine {
 public:
  struct Settings {
    std::vector<std::string> options;     ///< for sbatch
    std::filesystem::path programs = {};  ///< folder of sbatch, squeue, sacct and scancel; empty to search for them
    std::chrono::milliseconds interval{2000};  ///< between two looks at the queue
  };

  /// Throws `DvException` when the spool cannot be written to.
  SlurmEngine(JobProgram program, Settings settings);

  std::string getName() const override { return "slurm"; }
  std::size_t getRoom() const override;
  std::chrono::milliseconds getFileDelay() const override;
  void start(const std::vector<Run>& runs) override;
  void resume(const Run& run, const std::string& record) override;
  void end(const Run& run) override;
  bool isLeft(const Run& run) const override;
  std::vector<RunReport> poll() override;
  int getDescriptor() const override { return m_call == nullptr ? -1 : m_call->getDescriptor(); }
  std::string getError() const override { return m_error; }
  /// What the cluster runs does not end with this machine.
  void endAll() override {}

 private:
  enum class Question { Submit, Queue, Accounts, Cancel };
  struct Task {
    Run run;
    RunReport::Kind kind = RunReport::Kind::Started;  ///< as last reported
    bool isEnding = false;
  };

  bool call(Question question, const std::vector<std::string>& words);
  void callNext();
  void submitNext();
  void cancelNext();
  void askQueue();
  void askAccounts();
  void handle(const SlurmCall::Answer& answer);
  void failed(const std::string& error);
  void submitted(const SlurmCall::Answer& answer);
  void notSubmitted(const std::string& reason);
  void queued(const SlurmCall::Answer& answer);
  void accounted(const SlurmCall::Answer& answer);
  void update(const SlurmTask& task);
  void ended(const std::string& id, const RunEnd& end);

  const JobProgram m_program;
  const Settings m_settings;
  const std::filesystem::path m_script;
  std::deque<std::vector<Run>> m_orders;
  std::vector<Run> m_submitting;        ///< the order that sbatch was given
  std::map<std::string, Task> m_tasks;  ///< by Slurm's id
  std::map<Run, std::string> m_ids;     ///< the same
  std::set<Run> m_unwanted;             ///< that are to end as soon as they have an id
  std::set<std::string> m_cancels;      ///< ids
  std::set<std::string> m_cancelling;   ///< ids that scancel was given
  std::set<std::string> m_names;        ///< of jobs whose arrays are this engine's
  std::vector<std::string> m_lost;      ///< ids that the queue does not show any more
  std::vector<RunReport> m_reports;
  Question m_question = Question::Queue;
  std::unique_ptr<SlurmCall> m_call;
  std::uint64_t m_calls = 0;
  std::string m_error;
  unsigned m_failures = 0;
  std::chrono::steady_clock::time_point m_next;       ///< call
  std::chrono::steady_clock::time_point m_nextQueue;  ///< look at the queue
};

}  // namespace ParameterSweep
