#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/engines/LocalEngine.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <thread>
#include <utility>

namespace ParameterSweep {

namespace {

constexpr std::uint64_t c_mebibyte = std::uint64_t{1} << 20U;
constexpr std::chrono::seconds c_lookInterval{1};
constexpr std::chrono::seconds c_longestEnd{30};

[[noreturn]] void failToWatch() { throw std::system_error(errno, std::generic_category(), "cannot watch processes"); }

int openEvents() {
  const int descriptor = ::epoll_create1(EPOLL_CLOEXEC);
  if (descriptor < 0) {
    failToWatch();
  }
  return descriptor;
}

}  // namespace

LocalEngine::LocalEngine(JobProgram program, std::vector<std::string> launcher, std::size_t runsAtOnce)
    : m_program(std::move(program)),
      m_launcher(std::move(launcher)),
      m_runsAtOnce(runsAtOnce),
      m_descriptor(openEvents()) {
  epoll_event event{};
  event.events = EPOLLIN;
  if (::epoll_ctl(m_descriptor, EPOLL_CTL_ADD, m_starter.getDescriptor(), &event) != 0) {
    failToWatch();
  }
}

LocalEngine::~LocalEngine() { ::close(m_descriptor); }

std::size_t LocalEngine::countRuns() const { return m_runs.size() + m_unsearched.size() + m_starting.size(); }

std::size_t LocalEngine::getRoom() const {
  return m_hasSearched && countRuns() < m_runsAtOnce ? m_runsAtOnce - countRuns() : 0;
}

void LocalEngine::start(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    const auto start = std::make_shared<Start>();
    m_starting[run] =
        m_starter.run([this, run, start] { *start = startProcess(run); }, [this, run, start] { started(run, *start); });
  }
}

/// Called by the worker.
LocalEngine::Start LocalEngine::startProcess(const Run& run) const {
  try {
    std::vector<std::string> command = m_launcher;
    const std::vector<std::string> program = makeCommand(m_program, run, std::to_string(run.part));
    command.insert(command.end(), program.begin(), program.end());
    const PartFiles files(m_program.spool, run.jobId, run.part, run.attempt);
    const LocalProcess::Limits limits{m_program.processorSeconds, m_program.memoryMebibytes * c_mebibyte};
    return {LocalProcess::start(command, files.output, limits), {}};
  } catch (const SweepFailure& failure) {
    return {std::nullopt, failure.getMessage() + (m_launcher.empty() ? "" : "; check --launch-with")};
  } catch (const std::exception& exception) {
    return {std::nullopt, exception.what(), true};
  }
}

void LocalEngine::started(const Run& run, const Start& start) {
  m_starting.erase(run);
  const bool isWanted = m_unwanted.erase(run) == 0;
  if (start.process) {
    watch(run, *start.process);
  }
  if (!isWanted) {
    end(run);
  } else if (start.process) {
    m_reports.push_back({run, RunReport::Kind::Started, start.process->getRecord()});
    m_reports.push_back({run, RunReport::Kind::Running});
  } else {
    m_reports.push_back({run, RunReport::Kind::NotStarted, {}, start.reason, start.isShortage});
  }
}

void LocalEngine::watch(const Run& run, const LocalProcess& process) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = ++m_lastSerial;
  // Where this fails the end is seen by the look at all processes.
  static_cast<void>(::epoll_ctl(m_descriptor, EPOLL_CTL_ADD, process.getDescriptor(), &event));
  m_runs.emplace(run, Watched{process, m_lastSerial});
  m_bySerial.emplace(m_lastSerial, run);
}

void LocalEngine::resume(const Run& run, const std::string& record) { m_unsearched.emplace(run, record); }

void LocalEngine::end(const Run& run) {
  if (const auto starting = m_starting.find(run); starting != m_starting.end() && m_starter.forget(starting->second)) {
    m_starting.erase(starting);
  }
  if (m_starting.count(run) != 0 || m_unsearched.count(run) != 0) {
    m_unwanted.insert(run);
  }
  if (const auto found = m_runs.find(run); found != m_runs.end()) {
    found->second.isEnding = true;
    found->second.process.terminate();
  }
}

bool LocalEngine::isLeft(const Run& run) const {
  return m_runs.count(run) != 0 || m_unsearched.count(run) != 0 || m_starting.count(run) != 0;
}

std::vector<RunReport> LocalEngine::poll() {
  m_starter.poll();
  findUnknown();
  findAgain();
  reapEnded();
  return std::exchange(m_reports, {});
}

/// A server that is killed between a start and its storing leaves a process that the store does not name. Nothing is
/// started before such processes have been searched for once.
void LocalEngine::findUnknown() {
  if (m_hasSearched) {
    return;
  }
  try {
    for (const auto& [record, command] : LocalProcess::listCommands()) {
      const std::optional<Run> run = findRun(m_program, command);
      if (!run || isLeft(*run)) {
        continue;
      }
      if (const auto process = LocalProcess::find(record)) {
        watch(*run, *process);
        m_reports.push_back({*run, RunReport::Kind::Found, record});
        m_reports.push_back({*run, RunReport::Kind::Running, {}, {}, false, process->getAge()});
      }
    }
    m_hasSearched = true;
  } catch (const Shortage&) {
    return;  // tried again with the next call; what was found is known by then
  }
}

void LocalEngine::findAgain() {
  for (auto next = m_unsearched.begin(); next != m_unsearched.end();) {
    const auto& [run, record] = *next;
    try {
      if (const auto process = LocalProcess::find(record)) {
        watch(run, *process);
        m_reports.push_back({run, RunReport::Kind::Running, {}, {}, false, process->getAge()});
      } else {
        m_reports.push_back({run, RunReport::Kind::Ended});
      }
      const Run found = run;
      next = m_unsearched.erase(next);
      if (m_unwanted.erase(found) != 0) {
        m_reports.pop_back();
        end(found);
      }
    } catch (const Shortage&) {
      return;  // asked again with the next call
    }
  }
}

void LocalEngine::reapEnded() {
  std::array<epoll_event, 64> events{};
  const int count = ::epoll_wait(m_descriptor, events.data(), static_cast<int>(events.size()), 0);
  for (int index = 0; index < count; ++index) {
    // Copied, since an epoll_event is packed and its members must not be referred to.
    const std::uint64_t serial = events.at(static_cast<std::size_t>(index)).data.u64;
    const auto found = m_bySerial.find(serial);
    if (found != m_bySerial.end()) {
      reap(Run(found->second));
    }
  }
  if (std::chrono::steady_clock::now() >= m_nextLook) {
    lookAtAll();
  }
}

void LocalEngine::reap(const Run& run) {
  const auto found = m_runs.find(run);
  if (found == m_runs.end() || !found->second.process.hasEnded()) {
    return;
  }
  RunReport report{run, RunReport::Kind::Ended};
  report.end = found->second.process.reap();
  if (!found->second.isEnding) {
    m_reports.push_back(report);
  }
  m_bySerial.erase(found->second.serial);
  m_runs.erase(found);
}

/// Reminds those that must go, and finds the ends that no event told.
void LocalEngine::lookAtAll() {
  m_nextLook = std::chrono::steady_clock::now() + c_lookInterval;
  std::vector<Run> runs;
  for (auto& [run, watched] : m_runs) {
    if (watched.isEnding) {
      watched.process.terminate();
    }
    runs.push_back(run);
  }
  for (const Run& run : runs) {
    reap(run);
  }
}

void LocalEngine::endAll() {
  const auto deadline = std::chrono::steady_clock::now() + c_longestEnd;
  for (const auto& [run, number] : std::map<Run, std::uint64_t>(m_starting)) {
    end(run);
  }
  while (countRuns() > 0 && std::chrono::steady_clock::now() < deadline) {
    m_starter.poll();
    findAgain();
    for (auto& [run, watched] : m_runs) {
      watched.isEnding = true;
    }
    lookAtAll();
    m_reports.clear();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

}  // namespace ParameterSweep
