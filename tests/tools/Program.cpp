#include <fcntl.h>
#include <sys/wait.h>
#include <tests/support/TemporaryFolder.h>
#include <tests/tools/Program.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <stdexcept>

namespace TestSupport {

namespace {

[[noreturn]] void execute(std::vector<std::string> command, const std::string& input, const std::string& output,
                          const std::string& errors) {
  std::vector<char*> arguments;
  for (std::string& argument : command) {
    arguments.push_back(argument.data());
  }
  arguments.push_back(nullptr);
  ::dup2(::open(input.c_str(), O_RDONLY), STDIN_FILENO);
  ::dup2(::open(output.c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
  ::dup2(::open(errors.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
  ::execvp(arguments.front(), arguments.data());
  ::_exit(127);
}

}  // namespace

ProgramRun program(const std::vector<std::string>& command, const std::string& input) {
  const TemporaryFolder folder;
  const std::string inputFile = folder.write("input", input);
  const pid_t child = ::fork();
  if (child < 0) {
    throw std::runtime_error("cannot start a process");
  }
  if (child == 0) {
    execute(command, inputFile, folder.file("output"), folder.file("errors"));
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  const int exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return {exitCode, TemporaryFolder::read(folder.file("output")), TemporaryFolder::read(folder.file("errors"))};
}

ProgramRun dvrequest(const std::vector<std::string>& arguments, const std::string& input) {
  std::vector<std::string> command{dvrequestPath()};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return program(command, input);
}

std::string dvrequestPath() { return DVREQUEST_PROGRAM; }

std::string package(const std::string& name) { return DVREQUEST_PACKAGES "/" + name; }

std::string fragment() { return package("simulation.fragment.xsd"); }

std::vector<std::string> allPackages() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(DVREQUEST_PACKAGES)) {
    if (entry.path().extension() == ".xml") {
      names.push_back(entry.path().filename().string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
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
