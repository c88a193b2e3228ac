#include <tests/examples/faults/Injection.h>
#include <tests/support/TemporaryFolder.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace SweepTest {

namespace {

using TestSupport::Command;
using TestSupport::TemporaryFolder;
using Errors = std::vector<std::string>;

const std::string c_kill = "SIGKILL";

/// What a full disk, a broken one, and a machine that is short of descriptors, memory or processes answer. Locks are
/// left out: they are refused only where another program uses the spool.
const std::map<std::string, Errors>& errorsByCall() {
  static const Errors s_opening{"ENOSPC", "EIO", "EMFILE", "ENOMEM"};
  static const Errors s_writing{"ENOSPC", "EIO"};
  static const Errors s_naming{"ENOSPC", "EIO", "ENOMEM"};
  static const Errors s_looking{"EIO", "ENOMEM"};
  static const Errors s_descriptors{"EMFILE", "ENOMEM"};
  static const Errors s_starting{"EAGAIN", "ENOMEM"};
  static const std::map<std::string, Errors> s_errors{{"open", s_opening},
                                                      {"openat", s_opening},
                                                      {"creat", s_opening},
                                                      {"write", s_writing},
                                                      {"writev", s_writing},
                                                      {"pwrite64", s_writing},
                                                      {"pwritev", s_writing},
                                                      {"fsync", s_writing},
                                                      {"fdatasync", s_writing},
                                                      {"ftruncate", s_writing},
                                                      {"fallocate", s_writing},
                                                      {"mkdir", s_naming},
                                                      {"mkdirat", s_naming},
                                                      {"rename", s_naming},
                                                      {"renameat", s_naming},
                                                      {"renameat2", s_naming},
                                                      {"link", s_naming},
                                                      {"linkat", s_naming},
                                                      {"symlink", s_naming},
                                                      {"unlink", s_looking},
                                                      {"unlinkat", s_looking},
                                                      {"rmdir", s_looking},
                                                      {"stat", s_looking},
                                                      {"lstat", s_looking},
                                                      {"fstat", s_looking},
                                                      {"newfstatat", s_looking},
                                                      {"statx", s_looking},
                                                      {"access", s_looking},
                                                      {"faccessat2", s_looking},
                                                      {"readlink", s_looking},
                                                      {"chmod", s_looking},
                                                      {"fchmod", s_looking},
                                                      {"fchmodat", s_looking},
                                                      {"getdents64", s_looking},
                                                      {"read", {"EIO"}},
                                                      {"readv", {"EIO"}},
                                                      {"pread64", {"EIO"}},
                                                      {"preadv", {"EIO"}},
                                                      {"clone", s_starting},
                                                      {"clone3", s_starting},
                                                      {"fork", s_starting},
                                                      {"vfork", s_starting},
                                                      {"pipe2", s_descriptors},
                                                      {"pidfd_open", s_descriptors},
                                                      {"socket", s_descriptors},
                                                      {"accept4", s_descriptors},
                                                      {"dup", s_descriptors},
                                                      {"eventfd2", s_descriptors},
                                                      {"memfd_create", s_descriptors},
                                                      {"epoll_create1", s_descriptors},
                                                      {"mmap", {"ENOMEM"}},
                                                      {"mremap", {"ENOMEM"}},
                                                      {"statfs", s_looking},
                                                      {"fstatfs", s_looking},
                                                      {"statvfs", s_looking}};
  return s_errors;
}

/// The name of the call of a line; empty for what is no call.
std::string nameOf(const std::string& line) {
  const std::size_t end = line.find('(');
  const bool isName =
      end != std::string::npos && line.find_first_not_of("abcdefghijklmnopqrstuvwxyz_0123456789") == end;
  return isName ? line.substr(0, end) : std::string();
}

std::vector<Fault> faultsOf(const std::string& trace, const std::string& firstFile,
                            const std::function<Errors(const std::string&)>& effectsOf) {
  std::vector<Fault> faults;
  std::map<std::string, std::size_t> counts;
  bool isCounted = false;
  for (const std::string& line : TestSupport::linesOf(TemporaryFolder::read(trace))) {
    const std::string call = nameOf(line);
    isCounted = isCounted || line.find(firstFile) != std::string::npos;
    const std::size_t index = ++counts[call];
    for (const std::string& effect : call.empty() || !isCounted ? Errors() : effectsOf(call)) {
      faults.push_back({call, index, effect});
    }
  }
  return faults;
}

/// The content of a file of the system, whose size it does not tell.
std::string readAll(const std::string& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// The number of the thread of that name; empty when there is none.
std::string findThread(pid_t process, const std::string& name) {
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task", ignored)) {
    if (readAll(entry.path() / "comm") == name + "\n") {
      return entry.path().filename().string();
    }
  }
  return {};
}

}  // namespace

Fault Fault::fromText(const std::string& text) {
  std::istringstream stream(text);
  Fault fault;
  std::string index;
  if (!std::getline(stream, fault.call, ':') || !std::getline(stream, index, ':') ||
      !std::getline(stream, fault.effect)) {
    throw std::invalid_argument("'" + text + "' is no fault; give CALL:INDEX:EFFECT");
  }
  fault.index = std::stoul(index);
  return fault;
}

std::string tracingError() {
  try {
    const auto run = TestSupport::runProgram({"strace", "-D", "-qq", "-o", "/dev/null", "true"});
    return run.exitCode == 0 ? "" : "strace does not work here: " + run.errors;
  } catch (const std::exception& exception) {
    return exception.what();
  }
}

Tracing::Tracing(std::string thread, std::string trace, const std::optional<Fault>& fault)
    : m_thread(std::move(thread)), m_strace{"strace", "-qq", "-o", std::move(trace)} {
  if (fault) {
    const std::string effect = (fault->effect == c_kill ? "signal=" : "error=") + fault->effect;
    m_strace.insert(m_strace.end(), {"-e", "trace=" + fault->call, "-e",
                                     "inject=" + fault->call + ":" + effect + ":when=" + std::to_string(fault->index)});
  }
}

Command Tracing::start(const Command& program) const {
  if (!m_thread.empty()) {
    return program;
  }
  Command command = m_strace;
  command.emplace_back("-D");  // the program, not strace, is the child of the test
  command.insert(command.end(), program.begin(), program.end());
  return command;
}

std::unique_ptr<TestSupport::Program> Tracing::attach(pid_t process) const {
  const std::string thread = m_thread.empty() ? "" : findThread(process, m_thread);
  if (thread.empty()) {
    return nullptr;
  }
  Command command = m_strace;
  command.insert(command.end(), {"-p", thread});
  auto tracer = std::make_unique<TestSupport::Program>(command);
  const std::string status = "/proc/" + thread + "/status";
  while (tracer->isRunning() && readAll(status).find("TracerPid:\t0\n") != std::string::npos) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return tracer;
}

bool hasHappened(const Fault& fault, const std::string& trace) {
  const std::string text = TemporaryFolder::read(trace);
  return text.find(fault.effect == c_kill ? "+++ killed by SIGKILL" : "(INJECTED)") != std::string::npos;
}

std::vector<Fault> errorsOf(const std::string& trace, const std::string& firstFile) {
  return faultsOf(trace, firstFile, [](const std::string& call) {
    const auto errors = errorsByCall().find(call);
    return errors == errorsByCall().end() ? Errors() : errors->second;
  });
}

std::vector<Fault> killsOf(const std::string& trace, const std::string& firstFile) {
  return faultsOf(trace, firstFile, [](const std::string& call) {
    const bool hasNoEffect = call == "getpid" || call == "futex" || call.rfind("exit", 0) == 0;
    return hasNoEffect ? Errors() : Errors{c_kill};
  });
}

}  // namespace SweepTest
