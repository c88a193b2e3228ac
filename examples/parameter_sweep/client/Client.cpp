#include <examples/parameter_sweep/client/Client.h>
#include <examples/parameter_sweep/client/ParameterTable.h>
#include <examples/parameter_sweep/client/Plot.h>
#include <examples/parameter_sweep/client/RemoteJob.h>
#include <examples/parameter_sweep/client/ShowProgress.h>
#include <examples/parameter_sweep/client/Submission.h>
#include <examples/parameter_sweep/common/SweepEvaluator.h>
#include <service/Logging.h>
#include <unistd.h>

#include <chrono>
#include <exception>
#include <iostream>
#include <iterator>
#include <list>
#include <optional>
#include <set>
#include <thread>

namespace ParameterSweep {

namespace {

Drelvan::Logging s_logger(__FILE__);

/// Whether a failure of this kind says that the server has not taken a submission.
bool isRefusal(FailureKind kind) {
  static const std::set<FailureKind> s_refusals{FailureKind::AccessRefused,   FailureKind::BadParameters,
                                                FailureKind::JobExists,       FailureKind::MalformedPackage,
                                                FailureKind::MissingPackage,  FailureKind::NotStored,
                                                FailureKind::PackageTooLarge, FailureKind::TooMuch,
                                                FailureKind::UnknownJob,      FailureKind::UnknownRequest};
  return s_refusals.count(kind) != 0;
}

/// Does what may fail, and adds to the failure's message what only this program knows: the id of the job.
template <typename Action>
auto adding(const std::string& hint, const Action& action) {
  try {
    return action();
  } catch (const std::exception& exception) {
    const SweepFailure failure = toFailure(exception);
    throw SweepFailure(failure.getKind(), failure.getMessage() + (isRefusal(failure.getKind()) ? "" : hint));
  }
}

}  // namespace

int Client::run() {
  try {
    const int code = runCommand();
    if (!m_options.output.empty() && m_answer) {
      adding(m_hint, [this] { writeOutput(m_options.output, *m_answer); });
    }
    return code;
  } catch (const std::exception& exception) {
    s_logger.logERROR(exception.what(), __FILE__, __func__, __LINE__);
    throw;
  }
}

int Client::runCommand() {
  switch (m_options.command) {
    case Command::Submit:
      submit();
      break;
    case Command::Status:
      return forEachJob([&](const SweepJobId& job) { show(askStatus(job)); });
    case Command::Wait:
      return wait();
    case Command::Result:
      fetch(theJob());
      break;
    case Command::Cancel:
      return forEachJob([&](const SweepJobId& job) { show(m_connection.ask<JobStatus>({RequestKind::Cancel, job})); });
    case Command::Remove:
      return forEachJob([&](const SweepJobId& job) { show(m_connection.ask<JobRemoved>({RequestKind::Remove, job})); });
    case Command::Log:
      log();
      break;
    case Command::Output:
      output();
      break;
    case Command::List:
      list();
      break;
    case Command::Ping:
      return ping();
  }
  return 0;
}

Request Client::makeSubmission() const {
  Request request{RequestKind::Submit, SweepJobId()};
  request.title = m_options.title;
  request.priority = m_options.priority;
  request.partSize = m_options.partSize;
  request.sweep.expression = m_options.expression;
  if (!m_options.again.empty()) {
    request.kind = RequestKind::Again;
    request.ofJob = SweepJobId::fromText(m_options.again);
  }
  return request;
}

void Client::submit() {
  const Request request = makeSubmission();
  std::optional<ParameterTable> table;
  if (request.kind == RequestKind::Submit) {
    table = readParameterFile(m_options.parameters);
    // Says what is wrong with the expression before anybody is asked to compute it.
    SweepEvaluator(request.sweep.expression, table->getVector(0)).evaluate(table->getVector(0));
  }
  m_connection.connect();  // nothing was sent yet: who fails here has no job
  const std::string job = startJob(request.jobId).toString();
  const auto send = [&] {
    return table ? submitTable(m_connection, request, *table) : m_connection.ask<JobStatus>(request);
  };
  const JobStatus status = adding("; if it was accepted, the job is " + job, send);
  s_logger.logINFO("submitted", __FILE__, __func__, __LINE__);
  table.reset();
  m_hint = "; the job is " + job;
  if (m_options.wait) {
    if (!m_options.quiet) {
      std::cerr << job << std::endl;
      m_hint.clear();
    }
    adding(m_hint, [&] { followAndFetch(status); });
  } else {
    adding(m_hint, [&] { print(m_options.json ? ParameterSweep::show(status, Form::Json) : job + "\n"); });
  }
}

void Client::followAndFetch(const JobStatus& status) {
  std::vector<JobStatus> jobs{status};
  follow(jobs);
  if (jobs.front().failure) {
    throw SweepFailure(*jobs.front().failure);
  }
  fetch(status.jobId);
}

int Client::wait() {
  std::vector<JobStatus> jobs;
  int code = forEachJob([&](const SweepJobId& job) { jobs.push_back(askStatus(job)); });
  follow(jobs);
  for (const JobStatus& job : jobs) {
    if (m_options.json) {
      show(job);
    }
    if (job.failure) {
      const int failed = report(job.jobId.toString(), *job.failure);
      code = code == 0 ? failed : code;
    }
  }
  return code;
}

void Client::fetch(const SweepJobId& jobId) {
  const SweepResult result = receiveResult(jobId);
  if (m_options.plot.empty() || !m_options.output.empty() || m_options.json) {
    show(result);
  }
  if (!m_options.plot.empty()) {
    plot(result, m_options.plot);
  }
}

SweepResult Client::receiveResult(const SweepJobId& jobId) {
  SweepResult result{jobId};
  do {
    Request request{RequestKind::Result, jobId};
    request.after = result.realizations.size();
    const auto piece = m_connection.ask<SweepResult>(request);
    result.total = piece.total;
    result.realizations.insert(result.realizations.end(), piece.realizations.begin(), piece.realizations.end());
    if (piece.first != request.after || (piece.realizations.empty() && request.after < piece.total)) {
      throw SweepFailure(FailureKind::Internal, "the server left out a part of the results");
    }
  } while (result.realizations.size() < result.total);
  return result;
}

void Client::log() {
  Request request{RequestKind::Log, theJob()};
  JobMessages all{request.jobId};
  for (bool hasEnded = false;;) {
    auto page = m_connection.ask<JobMessages>(request);
    if (page.messages.empty()) {
      if (!m_options.follow || hasEnded) {
        break;
      }
      hasEnded = hasEndedOrPause(request.jobId);
    } else if (m_options.follow) {
      show(page);
    } else {
      std::move(page.messages.begin(), page.messages.end(), std::back_inserter(all.messages));
    }
    request = {RequestKind::Log, request.jobId};
    request.after = page.next;
  }
  if (!m_options.follow) {
    show(all);
  }
}

void Client::output() {
  Request request{RequestKind::Output, theJob()};
  print("");  // a job without output has an empty answer
  request.follow = m_options.follow;
  for (bool hasEnded = false;;) {
    const auto piece = m_connection.ask<JobOutput>(request);
    if (!piece.text.empty()) {
      show(piece);
    }
    if (!piece.more) {
      if (!m_options.follow || hasEnded) {
        return;
      }
      hasEnded = hasEndedOrPause(request.jobId);
    }
    request = {RequestKind::Output, request.jobId};
    request.follow = m_options.follow;
    request.after = piece.next;
  }
}

void Client::list() {
  Request request{RequestKind::List};
  do {
    const std::uint64_t before = request.before;
    request = {RequestKind::List};
    request.before = before;
    request.state = m_options.state;
    request.owner = m_options.owner;
    const auto page = m_connection.ask<JobList>(request);
    show(page);
    request.before = page.next;
  } while (request.before != 0);
}

int Client::ping() {
  const auto health = m_connection.ask<ServerHealth>({RequestKind::Ping});
  show(health);
  return isHealthy(health) ? 0 : exitCode(FailureKind::Internal);
}

int Client::forEachJob(const std::function<void(const SweepJobId&)>& action) {
  int code = 0;
  for (const std::string& job : m_options.jobs) {
    try {
      action(startJob(SweepJobId::fromText(job)));
    } catch (const SweepFailure& failure) {
      // Who gets no answer about one job gets none about the others.
      const bool isOfThisJob =
          failure.getKind() != FailureKind::Unreachable && failure.getKind() != FailureKind::AccessRefused;
      if (m_options.jobs.size() == 1 || !isOfThisJob) {
        throw;
      }
      s_logger.logERROR(failure.what(), __FILE__, __func__, __LINE__);
      const int failed = report(job, failure);
      code = code == 0 ? failed : code;
    }
    if (m_options.jobs.size() > 1) {
      m_jobOfLog.reset();
    }
  }
  return code;
}

SweepJobId Client::startJob(const SweepJobId& jobId) {
  m_jobOfLog.reset();
  m_jobOfLog.emplace(jobId.toString());
  return jobId;
}

int Client::report(const std::string& job, const SweepFailure& failure) const {
  const std::string message = (m_options.jobs.size() > 1 ? job + ": " : "") + failure.getMessage();
  std::cerr << ParameterSweep::show(SweepFailure(failure.getKind(), message), form()) << std::flush;
  return exitCode(failure.getKind());
}

void Client::follow(std::vector<JobStatus>& jobs) {
  std::list<RemoteJob> remote;  // which cannot be moved
  std::vector<RemoteJob*> all;
  for (const JobStatus& job : jobs) {
    all.push_back(&remote.emplace_back(m_connection, job));
    if (!m_options.quiet) {
      const bool isBar = jobs.size() == 1 && ::isatty(STDERR_FILENO) != 0;
      showProgress(*all.back(), std::cerr, isBar ? ProgressForm::Bar : ProgressForm::Lines);
    }
  }
  RemoteJob::followAll(m_connection, all);
  jobs.clear();
  for (const RemoteJob* job : all) {
    jobs.push_back(job->getStatus());
  }
}

/// Whether the job has ended; waits a little when it has not.
bool Client::hasEndedOrPause(const SweepJobId& jobId) {
  constexpr std::chrono::milliseconds c_pause{500};
  const bool hasEnded = isEnd(askStatus(jobId).state);
  if (!hasEnded) {
    std::this_thread::sleep_for(c_pause);
  }
  return hasEnded;
}

void Client::print(const std::string& text) {
  if (m_options.output.empty()) {
    writeOutput("", text);
  } else {
    m_answer = std::move(m_answer).value_or("") + text;
  }
}

}  // namespace ParameterSweep
