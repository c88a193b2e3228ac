#pragma once

#include <examples/parameter_sweep/common/Messages.h>
#include <tests/examples/faults/FaultyServer.h>

#include <optional>
#include <string>
#include <vector>

namespace SweepTest {

/// What servers have said about the jobs of one client, and what must therefore hold, whatever happens to the servers:
/// what was accepted stays known, what was refused stays unknown, and a job ends once, with the one right outcome.
class JobBook {
 public:
  /// How a job must end. Each is of one realization with the value 42.
  enum class Ending { Finished, BadExpression, Cancelled };

  /// Submits a job that must end like that. Returns its number in this book.
  std::size_t submit(FaultyServer& server, const std::string& name, Ending ending = Ending::Finished);
  /// Cancels a job: if the server says so, it must end as cancelled, and if not, it may.
  void cancel(FaultyServer& server, std::size_t job);

  /// From now on jobs may be unknown again once they have ended, for good.
  void letJobsExpire() { m_mayExpire = true; }

  /// Asks for the state of every job and checks it. Returns whether all that were accepted have ended.
  bool look(FaultyServer& server);
  /// Asks until all have ended, and for their results; for a server to which nothing happens.
  void expectRightEnds(FaultyServer& server);

  bool isAccepted(std::size_t job) const { return m_entries.at(job).isAccepted; }
  /// What did not hold, one text each.
  const std::vector<std::string>& getErrors() const { return m_errors; }

 private:
  struct Entry {
    std::string name;
    ParameterSweep::Request submission;
    std::vector<Ending> endings;  ///< any of these
    bool isAccepted = false;
    bool isRefused = false;
    bool isExpired = false;
    std::optional<Ending> seen = {};
  };

  void look(Entry& entry, const ParameterSweep::JobStatus& status);
  void lookForUnknown(Entry& entry);
  void expectResult(Entry& entry, FaultyServer& server);
  void add(const Entry& entry, const std::string& error);

  bool m_mayExpire = false;
  std::vector<Entry> m_entries;
  std::vector<std::string> m_errors;
};

}  // namespace SweepTest
