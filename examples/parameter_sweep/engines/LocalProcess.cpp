#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/engines/LocalProcess.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <sstream>
#include <utility>

namespace ParameterSweep {

namespace {

constexpr std::chrono::seconds c_grace{10};
constexpr const char* c_bootId = "/proc/sys/kernel/random/boot_id";

[[noreturn]] void fail(const std::string& message, int error) {
  if (isShortage(error)) {
    throw Shortage(error, std::generic_category(), message);
  }
  throw SweepFailure(FailureKind::LaunchFailed, message + ": " + std::generic_category().message(error));
}

void check(int error, const std::string& message) {
  if (error != 0) {
    fail(message, error);
  }
}

/// The content of a file of the kernel; empty when there is none. Throws `Shortage`.
std::string readKernelFile(const std::string& file) {
  const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  std::array<char, 4096> content{};
  const ssize_t size = descriptor < 0 ? -1 : ::read(descriptor, content.data(), content.size());
  const int error = errno;
  if (descriptor >= 0) {
    ::close(descriptor);
  }
  if (size >= 0) {
    return {content.data(), static_cast<std::size_t>(size)};
  }
  if (error == ENOENT || error == ESRCH) {
    return {};
  }
  throw Shortage(error, std::generic_category(), "cannot read " + file);
}

/// When the process started, as field 22 of its status; empty when there is no such process.
std::string readStartTime(pid_t process) {
  constexpr int c_fieldsAfterName = 20;
  const std::string status = readKernelFile("/proc/" + std::to_string(process) + "/stat");
  // The name, field 2, is in parentheses and may hold anything.
  std::istringstream fields(status.substr(status.rfind(')') + 1));
  std::string field;
  for (int index = 0; index < c_fieldsAfterName; ++index) {
    fields >> field;
  }
  return fields ? field : std::string();
}

/// Which start of the machine this is. Throws `Shortage`.
const std::string& getBootId() {
  static std::string s_id;
  if (s_id.empty()) {
    const std::string text = readKernelFile(c_bootId);
    s_id = text.substr(0, text.find('\n'));
  }
  return s_id;
}

/// What a new process begins with.
class SpawnSettings {
 public:
  explicit SpawnSettings(const std::string& output) {
    ::posix_spawnattr_init(&m_attributes);
    ::posix_spawn_file_actions_init(&m_actions);
    sigset_t none;
    ::sigemptyset(&none);
    sigset_t all;
    ::sigfillset(&all);
    ::posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    ::posix_spawnattr_setpgroup(&m_attributes, 0);
    ::posix_spawnattr_setsigmask(&m_attributes, &none);
    ::posix_spawnattr_setsigdefault(&m_attributes, &all);
    check(::posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0), "cannot start");
    check(::posix_spawn_file_actions_addopen(&m_actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_APPEND, 0),
          "cannot start");
    check(::posix_spawn_file_actions_adddup2(&m_actions, STDOUT_FILENO, STDERR_FILENO), "cannot start");
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;
  ~SpawnSettings() {
    ::posix_spawn_file_actions_destroy(&m_actions);
    ::posix_spawnattr_destroy(&m_attributes);
  }

  pid_t spawn(const std::vector<std::string>& command) const {
    std::vector<std::string> words = command;
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
      arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    pid_t process = 0;
    check(::posix_spawnp(&process, command.front().c_str(), &m_actions, &m_attributes, arguments.data(), environ),
          "cannot start '" + command.front() + "'");
    return process;
  }

 private:
  posix_spawnattr_t m_attributes{};
  posix_spawn_file_actions_t m_actions{};
};

void makeOutput(const std::filesystem::path& output) {
  constexpr mode_t c_mode = S_IRUSR | S_IWUSR;
  const int descriptor = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, c_mode);
  if (descriptor < 0) {
    fail("cannot write '" + output.string() + "'", errno);
  }
  ::close(descriptor);
}

void setLimit(pid_t process, __rlimit_resource resource, std::uint64_t limit, std::uint64_t more) {
  if (limit > 0) {
    const rlimit values{limit, limit + more};
    ::prlimit(process, resource, &values, nullptr);
  }
}

/// The job program sets its limits itself; these hold for a launcher that runs on this machine too.
void setLimits(pid_t process, const LocalProcess::Limits& limits) {
  constexpr std::uint64_t c_secondsToEnd = 5;
  setLimit(process, RLIMIT_CPU, limits.processorSeconds, c_secondsToEnd);
  setLimit(process, RLIMIT_AS, limits.memoryBytes, 0);
}

int openProcess(pid_t process) { return static_cast<int>(::syscall(SYS_pidfd_open, process, 0)); }

}  // namespace

bool isShortage(int error) {
  constexpr std::array<int, 10> c_shortages{EMFILE, ENFILE, EAGAIN, ENOMEM, ENOSPC,
                                            EDQUOT, EIO,    EINTR,  ESTALE, ETXTBSY};
  return std::find(c_shortages.begin(), c_shortages.end(), error) != c_shortages.end();
}

LocalProcess::LocalProcess(pid_t process, std::string startTime, int descriptor)
    : m_process(process),
      m_startTime(std::move(startTime)),
      m_descriptor(descriptor),
      m_closing(nullptr, [descriptor](void*) { ::close(descriptor); }) {}

LocalProcess LocalProcess::start(const std::vector<std::string>& command, const std::filesystem::path& output,
                                 const Limits& limits) {
  makeOutput(output);
  getBootId();  // which the record needs
  const pid_t process = SpawnSettings(output.string()).spawn(command);
  setLimits(process, limits);
  const int descriptor = openProcess(process);
  int error = errno;
  if (descriptor >= 0) {
    try {
      return {process, readStartTime(process), descriptor};
    } catch (const Shortage& shortage) {
      error = shortage.code().value();
      ::close(descriptor);
    }
  }
  ::kill(-process, SIGKILL);  // nobody would see its end, or find it again
  ::waitpid(process, nullptr, 0);
  fail("cannot watch '" + command.front() + "'", error);
}

std::optional<LocalProcess> LocalProcess::find(const std::string& record) {
  std::istringstream stream(record);
  pid_t process = 0;
  std::string startTime;
  std::string bootId;
  if (!(stream >> process >> startTime >> bootId) || process <= 0 || bootId != getBootId()) {
    return std::nullopt;
  }
  const int descriptor = openProcess(process);
  if (descriptor < 0 && errno != ESRCH) {
    throw Shortage(errno, std::generic_category(), "cannot watch the process " + std::to_string(process));
  }
  if (descriptor < 0) {
    return std::nullopt;
  }
  const LocalProcess found(process, startTime, descriptor);
  // The descriptor is opened first, so that the start time is that of the process it names.
  return readStartTime(process) == startTime && !found.hasEnded() ? std::optional(found) : std::nullopt;
}

std::string LocalProcess::getRecord() const {
  return std::to_string(m_process) + " " + m_startTime + " " + getBootId();
}

bool LocalProcess::hasEnded() const {
  pollfd item{m_descriptor, POLLIN, 0};
  return ::poll(&item, 1, 0) > 0;
}

std::chrono::milliseconds LocalProcess::getAge() const {
  constexpr std::int64_t c_milli = 1000;
  timespec now{};
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  const std::int64_t started = std::strtoll(m_startTime.c_str(), nullptr, 10) * c_milli / ::sysconf(_SC_CLK_TCK);
  return std::chrono::milliseconds(now.tv_sec * c_milli + now.tv_nsec / (c_milli * c_milli) - started);
}

RunEnd LocalProcess::reap() const {
  siginfo_t ignored{};
  if (::waitid(P_PID, static_cast<id_t>(m_process), &ignored, WEXITED | WNOWAIT | WNOHANG) != 0) {
    return {};
  }
  // As long as the process is not waited for, no other group can have its number.
  ::kill(-m_process, SIGKILL);
  int status = 0;
  if (::waitpid(m_process, &status, 0) != m_process) {
    return {};
  }
  RunEnd end;
  if (WIFSIGNALED(status)) {
    end.signal = WTERMSIG(status);
  } else {
    end.exitCode = WEXITSTATUS(status);
  }
  return end;
}

void LocalProcess::terminate() {
  const auto now = std::chrono::steady_clock::now();
  if (!m_terminatedAt) {
    m_terminatedAt = now;
    ::kill(-m_process, SIGTERM);
  } else if (now - *m_terminatedAt >= c_grace) {
    ::kill(-m_process, SIGKILL);
  }
}

}  // namespace ParameterSweep
