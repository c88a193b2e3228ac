#include <examples/parameter_sweep/common/Messages.h>
#include <examples/parameter_sweep/common/StoredFile.h>
#include <examples/parameter_sweep/server/JobProcess.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <boost/process.hpp>
#include <csignal>
#include <sstream>
#include <utility>

namespace ParameterSweep {

namespace {

namespace bp = boost::process;

constexpr std::chrono::seconds c_grace{10};

/// When the process started, as field 22 of its status; empty when there is no such process.
std::string readStartTime(pid_t process) {
  constexpr int c_fieldsAfterName = 20;
  const std::string status = readStoredFile("/proc/" + std::to_string(process) + "/stat");
  // The name, field 2, is in parentheses and may hold anything.
  std::istringstream fields(status.substr(std::min(status.size(), status.rfind(')') + 1)));
  std::string field;
  for (int index = 0; index < c_fieldsAfterName; ++index) {
    fields >> field;
  }
  return fields ? field : std::string();
}

}  // namespace

JobProcess::Descriptor::Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}

JobProcess::Descriptor& JobProcess::Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(m_number, other.m_number);
  return *this;
}

JobProcess::Descriptor::~Descriptor() {
  if (m_number >= 0) {
    ::close(m_number);
  }
}

JobProcess::JobProcess(pid_t process, std::string startTime, std::int64_t startedAt)
    : m_process(process),
      m_startTime(std::move(startTime)),
      m_startedAt(startedAt),
      m_descriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0))) {}

JobProcess JobProcess::start(const std::vector<std::string>& command, const std::filesystem::path& output) {
  try {
    const std::string& program = command.front();
    const auto found = program.find('/') == std::string::npos ? bp::search_path(program) : program;
    bp::group group;
    bp::child child(bp::exe = found.string(), bp::args = std::vector<std::string>(command.begin() + 1, command.end()),
                    bp::std_in<bp::null, (bp::std_out & bp::std_err)> output.string(), group);
    const pid_t process = child.id();
    child.detach();
    group.detach();
    return {process, readStartTime(process), currentMilliseconds()};
  } catch (const bp::process_error& error) {
    throw SweepFailure(FailureKind::LaunchFailed,
                       "cannot start '" + command.front() + "': " + error.code().message() + "; check --launch-with");
  }
}

std::optional<JobProcess> JobProcess::find(const std::string& record) {
  std::istringstream stream(record);
  pid_t process = 0;
  std::string startTime;
  std::int64_t startedAt = 0;
  if (!(stream >> process >> startTime >> startedAt) || process <= 0) {
    return std::nullopt;
  }
  JobProcess found(process, startTime, startedAt);
  // The descriptor is opened first, so that the start time is that of the process it names.
  if (found.getDescriptor() < 0 || readStartTime(process) != startTime || found.hasEnded()) {
    return std::nullopt;
  }
  return found;
}

std::string JobProcess::getRecord() const {
  std::ostringstream stream;
  stream << m_process << " " << m_startTime << " " << m_startedAt << "\n";
  return stream.str();
}

int JobProcess::getDescriptor() const { return m_descriptor.number(); }

std::int64_t JobProcess::getAge() const { return currentMilliseconds() - m_startedAt; }

bool JobProcess::hasEnded() const {
  pollfd item{m_descriptor.number(), POLLIN, 0};
  return ::poll(&item, 1, 0) > 0;
}

std::optional<Ending> JobProcess::poll() {
  if (!hasEnded()) {
    return std::nullopt;
  }
  siginfo_t ignored{};
  if (::waitid(P_PID, static_cast<id_t>(m_process), &ignored, WEXITED | WNOWAIT) != 0) {
    return Ending{};
  }
  // As long as the process is not waited for, no other group can have its number.
  ::kill(-m_process, SIGKILL);
  int status = 0;
  ::waitpid(m_process, &status, 0);
  if (WIFSIGNALED(status)) {
    return Ending{Ending::Status{Ending::How::Signalled, WTERMSIG(status)}};
  }
  return Ending{Ending::Status{Ending::How::Exited, WEXITSTATUS(status)}};
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
