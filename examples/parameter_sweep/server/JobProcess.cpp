#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/server/JobProcess.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/process.hpp>
#include <boost/process/extend.hpp>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <sstream>
#include <system_error>
#include <utility>

namespace ParameterSweep {

namespace {

namespace bp = boost::process;

using Clock = std::chrono::system_clock;

constexpr std::chrono::seconds c_grace{10};

/// When the process started, as field 22 of its status; empty when there is no such process.
std::string readStartTime(pid_t process) {
  constexpr int c_fieldsAfterName = 20;
  const std::string status = readStoredFile("/proc/" + std::to_string(process) + "/stat");
  // The name, field 2, is in parentheses and may hold anything.
  std::istringstream fields(status.substr(status.rfind(')') + 1));
  std::string field;
  for (int index = 0; index < c_fieldsAfterName; ++index) {
    fields >> field;
  }
  return fields ? field : std::string();
}

[[noreturn]] void fail(const std::string& message, const std::error_code& error) {
  for (const int shortage : {EMFILE, ENFILE, EAGAIN, ENOMEM, ENOSPC, EDQUOT}) {
    if (error.value() == shortage) {
      throw std::system_error(error, message);
    }
  }
  throw SweepFailure(FailureKind::LaunchFailed, message + ": " + error.message());
}

}  // namespace

JobProcess::JobProcess(pid_t process, std::string startTime, Clock::time_point started)
    : m_process(process),
      m_startTime(std::move(startTime)),
      m_started(started),
      m_descriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0))),
      m_closing(nullptr, [descriptor = m_descriptor](void*) { ::close(descriptor); }) {}

JobProcess JobProcess::start(const std::vector<std::string>& command, const std::filesystem::path& output) {
  if (!std::ofstream(output)) {
    fail("cannot write '" + output.string() + "'", {errno, std::generic_category()});
  }
  try {
    bp::group group;
    bp::child child(
        bp::exe = command.front(), bp::args = std::vector<std::string>(command.begin() + 1, command.end()),
        bp::std_in<bp::null, (bp::std_out & bp::std_err)> output.string(), group,
        bp::extend::on_exec_setup = [](auto&) { static_cast<void>(std::signal(SIGPIPE, SIG_DFL)); });
    const pid_t process = child.id();
    child.detach();
    group.detach();
    JobProcess started(process, readStartTime(process), Clock::now());
    if (started.m_descriptor < 0) {
      const std::error_code error(errno, std::generic_category());
      ::kill(-process, SIGKILL);  // nobody would see its end
      ::waitpid(process, nullptr, 0);
      fail("cannot watch '" + command.front() + "'", error);
    }
    return started;
  } catch (const bp::process_error& error) {
    fail("cannot start '" + command.front() + "'", error.code());
  }
}

std::optional<JobProcess> JobProcess::find(const std::string& record) {
  std::istringstream stream(record);
  pid_t process = 0;
  std::string startTime;
  Clock::rep started = 0;
  if (!(stream >> process >> startTime >> started) || process <= 0) {
    return std::nullopt;
  }
  JobProcess found(process, startTime, Clock::time_point(Clock::duration(started)));
  // The descriptor is opened first, so that the start time is that of the process it names.
  const bool isRunning = found.m_descriptor >= 0 && readStartTime(process) == startTime && !found.hasEnded();
  return isRunning ? std::optional(found) : std::nullopt;
}

std::string JobProcess::getRecord() const {
  return std::to_string(m_process) + " " + m_startTime + " " + std::to_string(m_started.time_since_epoch().count()) +
         "\n";
}

bool JobProcess::hasEnded() const {
  pollfd item{m_descriptor, POLLIN, 0};
  return ::poll(&item, 1, 0) > 0;
}

std::optional<int> JobProcess::reap() const {
  siginfo_t ignored{};
  if (::waitid(P_PID, static_cast<id_t>(m_process), &ignored, WEXITED | WNOWAIT) != 0) {
    return std::nullopt;
  }
  // As long as the process is not waited for, no other group can have its number.
  ::kill(-m_process, SIGKILL);
  int status = 0;
  ::waitpid(m_process, &status, 0);
  return status;
}

void JobProcess::terminate() {
  const auto now = std::chrono::steady_clock::now();
  if (!m_terminatedAt) {
    m_terminatedAt = now;
    ::kill(-m_process, SIGTERM);
  } else if (now - *m_terminatedAt >= c_grace) {
    ::kill(-m_process, SIGKILL);
  }
}

}  // namespace ParameterSweep
