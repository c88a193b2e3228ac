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
#include <new>
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
  std::array<char, 4096> piece{};
  std::string content;
  ssize_t size = -1;
  while (descriptor >= 0 && (size = ::read(descriptor, piece.data(), piece.size())) > 0) {
    content.append(piece.data(), static_cast<std::size_t>(size));
  }
  const int error = errno;
  if (descriptor >= 0) {
    ::close(descriptor);
  }
  if (size == 0) {
    return content;
  }
  if (error == ENOENT || error == ESRCH) {
    return {};
  }
  throw Shortage(error, std::generic_category(), "cannot read " + file);
}

/// A field of the process's status, counted from 1; empty when there is no such process. Throws `Shortage`.
std::string readStatus(pid_t process, int number) {
  const std::string status = readKernelFile("/proc/" + std::to_string(process) + "/stat");
  // The name, field 2, is in parentheses and may hold anything.
  std::istringstream fields(status.substr(status.rfind(')') + 1));
  std::string field;
  for (int index = 2; index < number; ++index) {
    fields >> field;
  }
  return fields ? field : std::string();
}

std::string readGroup(pid_t process) {
  constexpr int c_field = 5;
  return readStatus(process, c_field);
}

/// When the process started, in the kernel's own measure.
std::string readStartTime(pid_t process) {
  constexpr int c_field = 22;
  return readStatus(process, c_field);
}

/// The program and its arguments.
std::vector<std::string> readCommand(pid_t process) {
  std::istringstream words(readKernelFile("/proc/" + std::to_string(process) + "/cmdline"));
  std::vector<std::string> command;
  for (std::string word; std::getline(words, word, '\0');) {
    command.push_back(word);
  }
  return command;
}

/// The numbers of this user's processes. Throws `Shortage`.
std::vector<pid_t> listProcesses() {
  std::vector<pid_t> processes;
  std::error_code error;
  for (std::filesystem::directory_iterator next("/proc", error), end; !error && next != end; next.increment(error)) {
    const std::string name = next->path().filename().string();
    struct stat status {};
    const bool isOurs = name.find_first_not_of("0123456789") == std::string::npos &&
                        ::stat(next->path().c_str(), &status) == 0 && status.st_uid == ::geteuid();
    if (isOurs) {
      processes.push_back(std::stoi(name));
    }
  }
  if (error) {
    throw Shortage(error.value(), std::generic_category(), "cannot read /proc");
  }
  return processes;
}

/// Which start of the machine this is. Throws `Shortage`.
const std::string& getBootId() {
  static const std::string s_id = [] {
    const std::string text = readKernelFile(c_bootId);
    return text.substr(0, text.find('\n'));
  }();
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
    // Other threads open files meanwhile.
    check(::posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1), "cannot start");
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
    const std::string message = "cannot start '" + command.front() + "'";
    pid_t process = 0;
    check(::posix_spawnp(&process, command.front().c_str(), &m_actions, &m_attributes, arguments.data(), environ),
          message);
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

std::string makeRecord(pid_t process, const std::string& startTime) {
  return std::to_string(process) + " " + startTime + " " + getBootId();
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
      LocalProcess started(process, {}, descriptor);  // which closes the descriptor
      started.m_startTime = readStartTime(process);
      return started;
    } catch (const Shortage& shortage) {
      error = shortage.code().value();
    } catch (const std::bad_alloc&) {
      error = ENOMEM;
    }
  }
  ::kill(-process, SIGKILL);  // its end could not be seen, nor could it be found again
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

std::vector<std::pair<std::string, std::vector<std::string>>> LocalProcess::listCommands() {
  std::vector<std::pair<std::string, std::vector<std::string>>> result;
  for (const pid_t process : listProcesses()) {
    // Read before the command, so that the command is that of the process which the record names, or of none.
    const std::string startTime = readStartTime(process);
    if (readGroup(process) == std::to_string(process)) {
      result.emplace_back(makeRecord(process, startTime), readCommand(process));
    }
  }
  return result;
}

std::string LocalProcess::getRecord() const { return makeRecord(m_process, m_startTime); }

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
