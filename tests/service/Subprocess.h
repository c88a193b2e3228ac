#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <tests/support/TemporaryFolder.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace TestSupport {

struct ProcessResult {
  int status = -1;  ///< what the process returned; -1 when it ended otherwise
  std::string output;
  std::string errors;
};

/// Runs `program` to its end with these variables added to the environment and `input` as its standard input.
inline ProcessResult runProcess(const std::string& program, const std::vector<std::string>& arguments,
                                const std::map<std::string, std::string>& environment = {},
                                const std::string& input = {}) {
  const TemporaryFolder folder;
  const std::string inputFile = folder.write("input", input);
  const pid_t process = ::fork();
  if (process == 0) {
    const auto redirect = [](const std::string& file, int flags, int number) {
      ::dup2(::open(file.c_str(), flags, 0600), number);
    };
    redirect(inputFile, O_RDONLY, 0);
    redirect(folder.file("output"), O_WRONLY | O_CREAT, 1);
    redirect(folder.file("errors"), O_WRONLY | O_CREAT, 2);
    for (const auto& [name, value] : environment) {
      ::setenv(name.c_str(), value.c_str(), 1);
    }
    std::vector<std::string> texts{program};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& text : texts) {
      pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    ::execv(program.c_str(), pointers.data());
    ::_exit(127);
  }
  int status = 0;
  ProcessResult result;
  if (process > 0 && ::waitpid(process, &status, 0) == process && WIFEXITED(status)) {
    result.status = WEXITSTATUS(status);
  }
  result.output = TemporaryFolder::read(folder.file("output"));
  result.errors = TemporaryFolder::read(folder.file("errors"));
  return result;
}

}  // namespace TestSupport
