#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/engines/SlurmEngine.h>
#include <service/Logging.h>

#include <algorithm>
#include <boost/algorithm/string/join.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <system_error>
#include <utility>

namespace ParameterSweep {

namespace {

using Clock = std::chrono::steady_clock;

Drelvan::Logging s_logger(__FILE__);

constexpr std::size_t c_room = 5000;
constexpr std::size_t c_idsAtOnce = 500;
constexpr std::chrono::seconds c_fileDelay{30};  // until a shared folder shows everywhere what was written
constexpr unsigned c_mostDoublings = 6;

bool isSame(const Run& left, const Run& right) { return !(left < right) && !(right < left); }

/// The tasks of an array as sbatch wants them, such as 1-3,7.
std::string writeTasks(const std::vector<Run>& runs) {
  std::set<std::uint32_t> parts;
  for (const Run& run : runs) {
    parts.insert(run.part);
  }
  std::string text;
  for (auto next = parts.begin(); next != parts.end();) {
    const std::uint32_t first = *next;
    std::uint32_t last = first;
    while (++next != parts.end() && *next == last + 1) {
      last = *next;
    }
    text += (text.empty() ? "" : ",") + std::to_string(first) + (last > first ? "-" + std::to_string(last) : "");
  }
  return text;
}

}  // namespace

SlurmEngine::SlurmEngine(JobProgram program, Settings settings)
    : m_program(std::move(program)), m_settings(std::move(settings)), m_script(m_program.spool / "slurm-job.sh") {
  // Slurm takes nothing but a script; this one is the program that follows it.
  writeStoredFile(m_script, "#!/bin/sh\nexec \"$@\"\n");
}

std::size_t SlurmEngine::getRoom() const {
  std::size_t used = m_tasks.size() + m_submitting.size();
  for (const std::vector<Run>& order : m_orders) {
    used += order.size();
  }
  return used < c_room ? c_room - used : 0;
}

std::chrono::milliseconds SlurmEngine::getFileDelay() const { return c_fileDelay; }

void SlurmEngine::start(const std::vector<Run>& runs) { m_orders.push_back(runs); }

void SlurmEngine::resume(const Run& run, const std::string& record) {
  if (!isTaskId(record)) {
    m_reports.push_back({run, RunReport::Kind::Ended});
    return;
  }
  m_tasks.emplace(record, Task{run});
  m_ids.emplace(run, record);
  m_names.insert(run.jobId.toString());
}

void SlurmEngine::end(const Run& run) {
  for (std::vector<Run>& order : m_orders) {
    order.erase(std::remove_if(order.begin(), order.end(), [&](const Run& other) { return isSame(run, other); }),
                order.end());
  }
  if (std::any_of(m_submitting.begin(), m_submitting.end(), [&](const Run& other) { return isSame(run, other); })) {
    m_unwanted.insert(run);
  }
  if (const auto known = m_ids.find(run); known != m_ids.end()) {
    m_tasks.at(known->second).isEnding = true;
    m_cancels.insert(known->second);
  }
}

bool SlurmEngine::isLeft(const Run& run) const { return m_ids.count(run) != 0 || m_unwanted.count(run) != 0; }

std::vector<RunReport> SlurmEngine::poll() {
  if (m_call != nullptr) {
    if (const auto answer = m_call->poll()) {
      m_call.reset();
      handle(*answer);
    }
  }
  if (m_call == nullptr && Clock::now() >= m_next) {
    callNext();
  }
  return std::exchange(m_reports, {});
}

void SlurmEngine::callNext() {
  m_orders.erase(std::remove_if(m_orders.begin(), m_orders.end(), [](const auto& order) { return order.empty(); }),
                 m_orders.end());
  if (!m_cancels.empty()) {
    cancelNext();
  } else if (!m_lost.empty()) {
    askAccounts();
  } else if (!m_orders.empty()) {
    submitNext();
  } else if (!m_tasks.empty() && Clock::now() >= m_nextQueue) {
    askQueue();
  }
}

/// False when the program cannot even be started.
bool SlurmEngine::call(Question question, const std::vector<std::string>& words) {
  std::vector<std::string> command = words;
  if (!m_settings.programs.empty()) {
    command.front() = (m_settings.programs / command.front()).string();
  }
  m_question = question;
  try {
    const std::string file = "slurm-answer." + std::to_string(++m_calls % 2);
    m_call = std::make_unique<SlurmCall>(command, m_program.spool / file);
    return true;
  } catch (const std::exception& exception) {
    handle({"", exception.what()});
    return false;
  }
}

void SlurmEngine::submitNext() {
  m_submitting = std::move(m_orders.front());
  m_orders.pop_front();
  const Run& first = m_submitting.front();
  m_names.insert(first.jobId.toString());
  const std::filesystem::path folder = JobFolder(m_program.spool, first.jobId).path;
  std::vector<std::string> words{"sbatch",
                                 "--parsable",
                                 "--array=" + writeTasks(m_submitting),
                                 "--job-name=" + first.jobId.toString(),
                                 "--requeue",
                                 "--open-mode=append",
                                 "--input=/dev/null",
                                 "--output=" + (folder / ("%a." + std::to_string(first.attempt) + ".output")).string(),
                                 "--chdir=" + m_program.spool.string()};
  words.insert(words.end(), m_settings.options.begin(), m_settings.options.end());
  words.push_back(m_script.string());
  const std::vector<std::string> program = makeCommand(m_program, first, "slurm");
  words.insert(words.end(), program.begin(), program.end());
  call(Question::Submit, words);
}

void SlurmEngine::cancelNext() {
  std::vector<std::string> words{"scancel", "--quiet"};
  m_cancelling.clear();
  for (const std::string& id : m_cancels) {
    if (m_cancelling.size() < c_idsAtOnce) {
      m_cancelling.insert(id);
      words.push_back(id);
    }
  }
  call(Question::Cancel, words);
}

void SlurmEngine::askQueue() {
  m_nextQueue = Clock::now() + m_settings.interval;
  call(Question::Queue, {"squeue", "--noheader", "--array", "--states=all", std::string("--Format=") + c_queueFormat});
}

void SlurmEngine::askAccounts() {
  const auto count = static_cast<std::ptrdiff_t>(std::min(m_lost.size(), c_idsAtOnce));
  const std::vector<std::string> ids(m_lost.begin(), m_lost.begin() + count);
  call(Question::Accounts, {"sacct", "--noheader", "--parsable2", "--allocations", "--array",
                            "--jobs=" + boost::algorithm::join(ids, ","), std::string("--format=") + c_accountFormat});
}

void SlurmEngine::handle(const SlurmCall::Answer& answer) {
  switch (m_question) {
    case Question::Submit:
      submitted(answer);
      break;
    case Question::Queue:
      queued(answer);
      break;
    case Question::Accounts:
      accounted(answer);
      break;
    case Question::Cancel:
      if (answer.error.empty()) {
        failed("");
        for (const std::string& id : m_cancelling) {
          m_cancels.erase(id);
        }
      } else {
        failed(answer.error);
      }
      break;
  }
}

/// Keeps whether Slurm can be asked; an empty text for one that can. Says so once when that changes.
void SlurmEngine::failed(const std::string& error) {
  if (m_error.empty() && !error.empty()) {
    s_logger.logERROR("cannot ask Slurm now, will retry: " + error, __FILE__, __func__, __LINE__);
  } else if (!m_error.empty() && error.empty()) {
    s_logger.logINFO("can ask Slurm again", __FILE__, __func__, __LINE__);
  }
  m_error = error;
  m_failures = error.empty() ? 0 : m_failures + 1;
  m_next = Clock::now();
  if (m_failures > 0) {
    m_next += std::chrono::seconds(std::int64_t{1} << std::min(m_failures - 1, c_mostDoublings));
  }
}

void SlurmEngine::submitted(const SlurmCall::Answer& answer) {
  const auto array = answer.error.empty() ? readArrayId(answer.text) : std::nullopt;
  if (!array) {
    notSubmitted(answer.error.empty() ? "sbatch printed no job id: " + answer.text.substr(0, 500) : answer.error);
    return;
  }
  failed("");
  for (const Run& run : std::exchange(m_submitting, {})) {
    const std::string id = *array + "_" + std::to_string(run.part);
    m_tasks.emplace(id, Task{run});
    m_ids.emplace(run, id);
    if (m_unwanted.erase(run) != 0) {
      end(run);
    } else {
      m_reports.push_back({run, RunReport::Kind::Started, id});
    }
  }
  m_nextQueue = std::min(m_nextQueue, Clock::now() + m_settings.interval / 4);
}

/// Whatever sbatch refuses now may be taken later. Should it have been taken all the same, the queue shows a task of
/// this engine without a run, which is ended.
void SlurmEngine::notSubmitted(const std::string& reason) {
  for (const Run& run : std::exchange(m_submitting, {})) {
    if (m_unwanted.erase(run) == 0) {
      RunReport report{run, RunReport::Kind::NotStarted};
      report.reason = reason;
      report.isShortage = true;
      m_reports.push_back(report);
    }
  }
  failed(reason);
}

void SlurmEngine::queued(const SlurmCall::Answer& answer) {
  // An answer that may lack tasks tells nothing.
  const std::string error = answer.error.empty() ? readComplaints(answer.text) : answer.error;
  const auto tasks = error.empty() ? readQueue(answer.text) : std::nullopt;
  if (!tasks) {
    failed(error.empty() ? "squeue printed unexpected output: " + answer.text.substr(0, 500) : error);
    return;
  }
  failed("");
  std::set<std::string> shown;
  for (const SlurmTask& task : *tasks) {
    shown.insert(task.id);
    if (m_tasks.count(task.id) != 0) {
      update(task);
    } else if (m_names.count(task.name) != 0 && task.kind != RunReport::Kind::Ended) {
      m_cancels.insert(task.id);
    }
  }
  m_lost.clear();
  for (const auto& [id, task] : m_tasks) {
    if (shown.count(id) == 0) {
      m_lost.push_back(id);
    }
  }
}

void SlurmEngine::accounted(const SlurmCall::Answer& answer) {
  const bool hasNone = boost::algorithm::contains(answer.error, "accounting storage is disabled") ||
                       boost::algorithm::contains(answer.error, "No such file");
  const auto tasks = answer.error.empty() ? readAccounts(answer.text) : std::nullopt;
  if (!hasNone && !tasks) {
    failed(answer.error.empty() ? "sacct printed unexpected output: " + answer.text.substr(0, 500) : answer.error);
    return;
  }
  failed("");
  for (const SlurmTask& task : tasks.value_or(std::vector<SlurmTask>())) {
    ended(task.id, task.end);
  }
  // Neither the queue nor the accounts know the others.
  const auto count = static_cast<std::ptrdiff_t>(std::min(m_lost.size(), c_idsAtOnce));
  for (auto id = m_lost.begin(); id != m_lost.begin() + count; ++id) {
    ended(*id, {});
  }
  m_lost.erase(m_lost.begin(), m_lost.begin() + count);
}

void SlurmEngine::update(const SlurmTask& task) {
  Task& known = m_tasks.at(task.id);
  if (task.kind == RunReport::Kind::Ended) {
    ended(task.id, task.end);
  } else if (known.kind != task.kind) {
    known.kind = task.kind;
    RunReport report{known.run, task.kind};
    report.age = task.age;
    if (!known.isEnding) {
      m_reports.push_back(report);
    }
  }
}

void SlurmEngine::ended(const std::string& id, const RunEnd& end) {
  const auto found = m_tasks.find(id);
  if (found == m_tasks.end()) {
    return;
  }
  if (!found->second.isEnding) {
    RunReport report{found->second.run, RunReport::Kind::Ended};
    report.end = end;
    m_reports.push_back(report);
  }
  m_ids.erase(found->second.run);
  m_cancels.erase(id);
  m_tasks.erase(found);
}

}  // namespace ParameterSweep
