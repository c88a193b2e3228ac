#include <tests/examples/RawClient.h>
#include <tests/examples/SweepPrograms.h>
#include <tests/examples/faults/JobBook.h>

#include <algorithm>

namespace SweepTest {

using namespace ParameterSweep;

namespace {

using Ending = JobBook::Ending;

constexpr const char* c_goodExpression = "21*x";  // of x = 2
constexpr const char* c_badExpression = "x+*2";
constexpr double c_value = 42;

/// How a job has ended; empty for an end that none of these jobs may have.
std::optional<Ending> endingOf(const JobStatus& status) {
  if (status.state == JobState::Finished && !status.failure) {
    return Ending::Finished;
  }
  const auto kind = status.failure ? status.failure->getKind() : FailureKind::Internal;
  if (status.state == JobState::Failed && kind == FailureKind::BadExpression) {
    return Ending::BadExpression;
  }
  if (status.state == JobState::Cancelled && kind == FailureKind::JobCancelled) {
    return Ending::Cancelled;
  }
  return std::nullopt;
}

std::string describe(const JobStatus& status) {
  return std::string(toText(status.state)) + (status.failure ? " (" + status.failure->getMessage() + ")" : "");
}

}  // namespace

std::size_t JobBook::submit(FaultyServer& server, const std::string& name, Ending ending) {
  m_entries.push_back(
      {name, makeSubmission(ending == Ending::BadExpression ? c_badExpression : c_goodExpression), {ending}});
  Entry& entry = m_entries.back();
  if (const auto answer = server.ask(entry.submission)) {
    entry.isAccepted = std::holds_alternative<JobStatus>(*answer);
    entry.isRefused = !entry.isAccepted;
  }
  return m_entries.size() - 1;
}

void JobBook::cancel(FaultyServer& server, std::size_t job) {
  Entry& entry = m_entries.at(job);
  const auto answer = server.ask({RequestKind::Cancel, entry.submission.jobId});
  if (answer && std::holds_alternative<JobStatus>(*answer)) {
    entry.endings = {Ending::Cancelled};
  } else if (!answer) {
    entry.endings.push_back(Ending::Cancelled);
  }
}

void JobBook::look(Entry& entry, const JobStatus& status) {
  if (entry.isRefused) {
    add(entry, "was refused and is known");
  }
  if (entry.isExpired) {
    add(entry, "was removed and is known again");
  }
  entry.isAccepted = true;
  if (!isEnd(status.state)) {
    if (entry.seen) {
      add(entry, "had ended and is " + describe(status) + " again");
    }
    return;
  }
  const auto ending = endingOf(status);
  if (!ending || std::count(entry.endings.begin(), entry.endings.end(), *ending) == 0) {
    add(entry, "has the wrong end " + describe(status));
  } else if (entry.seen && *entry.seen != *ending) {
    add(entry, "had another end before " + describe(status));
  }
  entry.seen = ending;
}

void JobBook::lookForUnknown(Entry& entry) {
  if (m_mayExpire) {
    entry.isExpired = true;
  } else {
    add(entry, "was accepted and is unknown");
  }
}

bool JobBook::look(FaultyServer& server) {
  bool haveAllEnded = true;
  for (Entry& entry : m_entries) {
    const auto answer = server.ask({RequestKind::Status, entry.submission.jobId});
    if (!answer) {
      return false;
    }
    if (const auto* status = std::get_if<JobStatus>(&*answer)) {
      look(entry, *status);
      haveAllEnded = haveAllEnded && isEnd(status->state);
    } else if (entry.isAccepted && refusal(*answer) == toText(FailureKind::UnknownJob)) {
      lookForUnknown(entry);
    } else {
      haveAllEnded = haveAllEnded && !entry.isAccepted;
    }
  }
  return haveAllEnded;
}

void JobBook::expectRightEnds(FaultyServer& server) {
  if (!eventually([&] { return !server.isRunning() || server.isDeaf() || look(server); }) || !server.isRunning() ||
      server.isDeaf()) {
    m_errors.emplace_back("the jobs do not end with a server to which nothing happens");
  }
  for (Entry& entry : m_entries) {
    if (entry.seen == Ending::Finished && !entry.isExpired) {
      expectResult(entry, server);
    }
  }
}

void JobBook::expectResult(Entry& entry, FaultyServer& server) {
  const auto answer = server.ask({RequestKind::Result, entry.submission.jobId});
  const auto* result = answer ? std::get_if<SweepResult>(&*answer) : nullptr;
  if (result == nullptr || result->realizations.size() != 1 || result->realizations[0].realizationId != 1 ||
      result->realizations[0].value != c_value) {
    add(entry, "is finished without its result: " + (answer ? refusal(*answer) : "no answer"));
  }
}

void JobBook::add(const Entry& entry, const std::string& error) {
  const std::string text = entry.name + " " + error;
  if (std::count(m_errors.begin(), m_errors.end(), text) == 0) {
    m_errors.push_back(text);
  }
}

}  // namespace SweepTest
