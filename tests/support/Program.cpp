#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <tests/support/Program.h>
#include <unistd.h>

#include <csignal>
#include <sstream>
#include <system_error>
#include <thread>

namespace TestSupport {

namespace {

using Environment = std::map<std::string, std::string>;

/// Where the standard streams of a process lead.
class Redirections {
 public:
  Redirections() { ::posix_spawn_file_actions_init(&m_actions); }
  Redirections(const Redirections&) = delete;
  Redirections& operator=(const Redirections&) = delete;
  ~Redirections() { ::posix_spawn_file_actions_destroy(&m_actions); }

  void add(int stream, const std::string& file, int flags) {
    ::posix_spawn_file_actions_addopen(&m_actions, stream, file.c_str(), flags, S_IRUSR | S_IWUSR);
  }
  const posix_spawn_file_actions_t* get() const { return &m_actions; }

 private:
  posix_spawn_file_actions_t m_actions{};
};

/// The environment of this process with these variables, as "NAME=VALUE".
std::vector<std::string> environmentWith(Environment variables) {
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const std::size_t end = text.find('=');
    variables.emplace(text.substr(0, end), end == std::string::npos ? "" : text.substr(end + 1));
  }
  std::vector<std::string> entries;
  for (const auto& [name, value] : variables) {
    entries.push_back(name + "=" + value);
  }
  return entries;
}

/// The texts as the system takes them; valid as long as they are.
std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

pid_t start(Command command, const Environment& variables, const Redirections& redirections) {
  std::vector<std::string> environment = environmentWith(variables);
  pid_t process = -1;
  const int error = ::posix_spawnp(&process, command.front().c_str(), redirections.get(), nullptr,
                                   pointersTo(command).data(), pointersTo(environment).data());
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), "cannot start " + command.front());
  }
  return process;
}

pid_t start(const Command& command, const ProgramOptions& options, const TemporaryFolder& folder) {
  Redirections redirections;
  redirections.add(STDIN_FILENO, folder.write("input", options.input), O_RDONLY);
  redirections.add(STDOUT_FILENO, folder.file("output"), O_WRONLY | O_CREAT | O_APPEND);
  redirections.add(STDERR_FILENO, folder.file("errors"), O_WRONLY | O_CREAT | O_APPEND);
  return start(command, options.environment, redirections);
}

}  // namespace

Program::Program(const Command& command, const ProgramOptions& options)
    : m_deadline(std::chrono::steady_clock::now() + options.timeout), m_process(start(command, options, m_folder)) {}

Program::~Program() {
  if (isRunning()) {
    ::kill(m_process, SIGKILL);
    ::waitpid(m_process, &m_status, 0);
  }
}

bool Program::isRunning() {
  m_hasEnded = m_hasEnded || ::waitpid(m_process, &m_status, WNOHANG) != 0;
  return !m_hasEnded;
}

void Program::signal(int number) {
  if (isRunning()) {
    ::kill(m_process, number);
  }
}

ProgramRun Program::wait() {
  while (isRunning()) {
    if (std::chrono::steady_clock::now() > m_deadline) {
      ::kill(m_process, SIGKILL);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return {WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -1, WIFSIGNALED(m_status) ? WTERMSIG(m_status) : 0, output(),
          errors()};
}

ProgramRun runProgram(const Command& command, const ProgramOptions& options) {
  return Program(command, options).wait();
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

}  // namespace TestSupport
