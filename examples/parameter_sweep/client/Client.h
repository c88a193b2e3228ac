#pragma once

#include <examples/parameter_sweep/client/Options.h>
#include <examples/parameter_sweep/client/Output.h>
#include <examples/parameter_sweep/client/ServerConnection.h>
#include <examples/parameter_sweep/common/JobLogging.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ParameterSweep {

/// Carries out the command of the user.
class Client {
 public:
  explicit Client(const Options& options) : m_options(options), m_connection(options.connection) {}

  /// Returns the exit code. Throws for what keeps the whole command from being carried out; the failure of one of
  /// several jobs is reported, and the others go on.
  int run();

 private:
  int runCommand();
  void submit();
  Request makeSubmission() const;
  void followAndFetch(const JobStatus& status);
  int wait();
  void fetch(const SweepJobId& jobId);
  SweepResult receiveResult(const SweepJobId& jobId);
  void log();
  void output();
  void list();
  int ping();

  int forEachJob(const std::function<void(const SweepJobId&)>& action);
  int report(const std::string& job, const SweepFailure& failure) const;
  void follow(std::vector<JobStatus>& jobs);
  bool hasEndedOrPause(const SweepJobId& jobId);
  JobStatus askStatus(const SweepJobId& jobId) { return m_connection.ask<JobStatus>({RequestKind::Status, jobId}); }
  SweepJobId theJob() { return startJob(SweepJobId::fromText(m_options.jobs.front())); }
  SweepJobId startJob(const SweepJobId& jobId);

  /// Adds to the answer. Standard output gets it at once, a file at the end and as a whole.
  void print(const std::string& text);
  template <typename Answer>
  void show(const Answer& answer) {
    print(ParameterSweep::show(answer, form()));
  }
  Form form() const { return m_options.json ? Form::Json : Form::Text; }

  const Options& m_options;
  ServerConnection m_connection;
  std::optional<JobOfLog> m_jobOfLog;   ///< the job that is being asked about
  std::optional<std::string> m_answer;  ///< for a file; none when the command has none
  std::string m_hint;                   ///< added to failure messages: the job's id, which the user has not seen yet
};

}  // namespace ParameterSweep
