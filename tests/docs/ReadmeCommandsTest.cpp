#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <tests/docs/Pages.h>
#include <tests/support/Pattern.h>
#include <tests/support/Program.h>
#include <tests/support/TemporaryFolder.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

using TestSupport::Pattern;
using TestSupport::TemporaryFolder;

/// What the test does with a command line of a README.
struct Treatment {
  const char* command;
  const char* notRun = nullptr;  ///< why it cannot run here
  const char* makes = nullptr;   ///< a file that it leaves, not empty
};

constexpr const char* c_installsAndBuilds = "installs packages and builds; the continuous integration runs it";
constexpr const char* c_needsASource = "needs a source or program of the reader's";

/// All command lines of all READMEs. Where a line cannot run, the reason says what else covers it.
const std::map<std::string, std::vector<Treatment>> c_readmes{
    {"tools/dvrequest/README.md", {}},
    {"README.md",
     {{"./run", c_installsAndBuilds},
      {"./test", c_installsAndBuilds},
      {"./run FILE...", c_needsASource},
      {"cmake --preset release && cmake --build --preset release && cmake --install build/release "
       "--prefix $HOME/requests",
       "builds everything; tests/consumers installs the library"},
      {"export PKG_CONFIG_PATH=$HOME/requests/lib/pkgconfig"},
      {"g++ -std=c++17 cancel.cpp $(pkg-config --cflags --libs Service_RequestPackages) "
       "-Wl,-rpath,$HOME/requests/lib -o cancel",
       "needs the installed library; tests/consumers builds a program in this way"},
      {"./cancel examples/packages/cancel-request.xml", "needs the installed library; ReadmeTest runs the program"},
      {"cmake --preset dev && cmake --build build/dev --target manual",
       "builds in this build tree; the continuous integration runs it"}}},
    {"docs/README.md",
     {{"cmake --preset dev && cmake --build build/dev --target manual",
       "builds in this build tree; the continuous integration runs it"},
      {"dvrequest schema --check"}}},
    {"fuzz/README.md",
     {{"fuzz/run 60", "builds with clang and takes minutes; the continuous integration runs it"},
      {"fuzz/run 7200 parse", "takes two hours"},
      {"fuzz/coverage", "builds with clang and takes minutes"},
      {"ctest --preset dev -L fuzz-replay", "runs tests of this build tree, which run beside this one"},
      {"build/fuzz/bin/fuzz_parse build/fuzz/finds/parse/crash-...", "needs a finding"},
      {"dvrequest check", "names a command, which needs a document; tests/tools runs it"}}},
    {"examples/parameter_sweep/README.md",
     {{"{ echo amplitude,damping,frequency,time; seq -f '1,0.2,3,%g' 0 0.05 20; } > oscillator.csv", nullptr,
       "oscillator.csv"},
      {"sweep-server --spool spool --jobs 2 &"},
      {"sweep-client submit --wait --parameters oscillator.csv --expression "
       "'amplitude*exp(-damping*time)*cos(frequency*time)' --output result.csv --plot result.svg",
       nullptr, "result.svg"},
      {"sweep-client list"},
      {"export PATH=$PWD/build/release/bin:$PATH"},
      {"kill $! && wait $!"},
      {"sweep-server --spool /shared/spool --engine slurm --slurm-options '--partition=long'",
       "needs a cluster; SweepSlurmTest makes one"},
      {"sweep-server keygen --keys keys --client alice", nullptr, "keys/alice.key"},
      {"sweep-server --bind 0.0.0.0 --keys keys &"},
      {"printf 'x\\n1\\n2\\n' > table.csv", nullptr, "table.csv"},
      {"sweep-client --keys keys/alice.key submit --wait --expression 'sqrt(x)' --parameters table.csv"},
      {"./test --all", c_installsAndBuilds}}}};

std::string withoutComment(const std::string& line) {
  return ManualTests::trimmed(Pattern(" +# .*").replaceAll(line, ""));
}

/// The commands of a block, each in one line.
std::vector<std::string> commandsOf(const ManualTests::Block& block) {
  std::vector<std::string> commands;
  bool isContinued = false;
  for (const std::string& line : block.lines) {
    const bool isPrompted = line.rfind("$ ", 0) == 0;
    if (block.language == "console" ? !isPrompted : block.language != "sh") {
      continue;
    }
    std::string text = withoutComment(isPrompted ? line.substr(2) : line);
    const bool continues = !text.empty() && text.back() == '\\';
    if (continues) {
      text = ManualTests::trimmed(text.substr(0, text.size() - 1));
    }
    if (isContinued) {
      commands.back() += " " + text;
    } else if (!text.empty()) {
      commands.push_back(text);
    }
    isContinued = continues;
  }
  return commands;
}

/// The commands within the sentences: code of several words that begins with the name of a program.
std::vector<std::string> commandsInSentences(const std::string& page) {
  std::string text;
  bool isInside = false;
  for (const std::string& line : ManualTests::linesOfPage(page)) {
    const bool isFence = line.rfind("```", 0) == 0;
    isInside = isInside != isFence;
    text += isInside || isFence ? "" : line + " ";
  }
  static const Pattern s_command(
      "`((\\./run|\\./test|cmake|ctest|man|g\\+\\+|git|apt|dvrequest|sweep-[a-z]+|[a-z]+/[A-Za-z/_-]+) [^`]+)`");
  std::vector<std::string> commands;
  for (const auto& match : s_command.findAll(text)) {
    commands.push_back(match[1]);
  }
  return commands;
}

/// Commands that belong together: a block, or one command of a sentence.
using Script = std::vector<std::string>;

std::vector<Script> scriptsOf(const std::string& page) {
  std::vector<Script> scripts;
  for (const ManualTests::Block& block : ManualTests::blocksOfPage(page)) {
    scripts.push_back(commandsOf(block));
  }
  for (const std::string& command : commandsInSentences(page)) {
    scripts.push_back({command});
  }
  return scripts;
}

/// Gives the process a network of its own where that is allowed, so that the usual ports are free.
void leaveTheNetwork() {
  const uid_t user = ::geteuid();
  if (::unshare(CLONE_NEWNET) != 0) {
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
      return;
    }
    std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
  }
  ifreq loopback{};
  std::strncpy(loopback.ifr_name, "lo", IFNAMSIZ - 1);
  loopback.ifr_flags = IFF_UP;
  const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  EXPECT_EQ(::ioctl(socket, SIOCSIFFLAGS, &loopback), 0);
  ::close(socket);
}

class ReadmeCommands : public testing::TestWithParam<std::string> {
 protected:
  const Treatment* find(const std::string& command) const {
    const std::vector<Treatment>& known = c_readmes.at(GetParam());
    const auto found =
        std::find_if(known.begin(), known.end(), [&](const Treatment& entry) { return entry.command == command; });
    return found == known.end() ? nullptr : &*found;
  }

  /// Runs the commands of a script that can run, in an empty folder. Programs are found by name, and those of a
  /// release build where the build leaves them. What runs in the background ends with the script.
  void run(const Script& script) const {
    std::string lines;
    const TemporaryFolder folder;
    for (const std::string& command : script) {
      const Treatment* const known = find(command);
      ASSERT_NE(known, nullptr) << "add to the table of this test: " << command;
      lines += known->notRun == nullptr ? command + "\n" : "";
    }
    if (lines.find("build/release/bin/") != std::string::npos) {
      std::filesystem::create_directories(folder.path() / "build/release");
      std::filesystem::create_directory_symlink(PROGRAMS, folder.path() / "build/release/bin");
    }
    const auto outcome = TestSupport::runProgram(
        {"bash", "-ec", "cd \"$1\"; PATH=\"$2:$PATH\"; trap 'kill $(jobs -p) 2>/dev/null || true; wait' EXIT\n" + lines,
         "bash", folder.path().string(), PROGRAMS});
    EXPECT_EQ(outcome.exitCode, 0) << lines << outcome.output << outcome.errors;
    for (const std::string& command : script) {
      const char* const made = find(command)->notRun == nullptr ? find(command)->makes : nullptr;
      EXPECT_TRUE(made == nullptr || !TemporaryFolder::read(folder.file(made)).empty()) << command;
    }
  }
};

TEST_P(ReadmeCommands, RunUnchangedInAnEmptyFolder) {
  leaveTheNetwork();
  for (const Script& script : scriptsOf("../" + GetParam())) {
    run(script);
  }
}

TEST_P(ReadmeCommands, AreAllInTheReadme) {
  std::vector<std::string> all;
  for (const Script& script : scriptsOf("../" + GetParam())) {
    all.insert(all.end(), script.begin(), script.end());
  }
  for (const Treatment& known : c_readmes.at(GetParam())) {
    EXPECT_NE(std::find(all.begin(), all.end(), known.command), all.end()) << "nowhere any more: " << known.command;
  }
}

TEST_P(ReadmeCommands, AreInBlocksWithAKnownLanguage) {
  for (const ManualTests::Block& block : ManualTests::blocksOfPage("../" + GetParam())) {
    const std::vector<std::string> known{"cpp", "cmake", "text", "sh", "console"};
    EXPECT_EQ(std::count(known.begin(), known.end(), block.language), 1) << block.place() << block.language;
  }
}

std::vector<std::string> readmes() {
  std::vector<std::string> names;
  for (const auto& [name, commands] : c_readmes) {
    names.push_back(name);
  }
  return names;
}

std::string titleOf(const testing::TestParamInfo<std::string>& info) {
  return Pattern("[^A-Za-z]").replaceAll(info.param, "_");
}

INSTANTIATE_TEST_SUITE_P(Of, ReadmeCommands, testing::ValuesIn(readmes()), titleOf);

TEST(ReadmeCommandsOfAllReadmes, AreTested) {
  std::size_t found = 0;
  for (auto entry = std::filesystem::recursive_directory_iterator(REPOSITORY);
       entry != std::filesystem::recursive_directory_iterator(); ++entry) {
    const std::string name = entry->path().filename().string();
    if (name == "build" || name[0] == '.') {
      entry.disable_recursion_pending();
    } else if (name == "README.md") {
      ++found;
      const std::string page = std::filesystem::relative(entry->path(), REPOSITORY).string();
      EXPECT_EQ(c_readmes.count(page), 1U) << "add to the table of this test: " << page;
    }
  }
  EXPECT_EQ(found, c_readmes.size());
}

}  // namespace
