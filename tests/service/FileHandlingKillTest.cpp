#include <gtest/gtest.h>
#include <service/FileHandling.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <tests/service/Unprivileged.h>
#include <tests/support/TemporaryFolder.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <system_error>
#include <thread>

namespace {

namespace fs = std::filesystem;

using Drelvan::FileNameException;
using Drelvan::FileUtilities;
using TestSupport::TemporaryFolder;
using TestSupport::Unprivileged;
using Microseconds = std::chrono::microseconds;

constexpr std::size_t c_size = std::size_t{20} << 20U;

/// A process of its own that copies one file.
class CopyingProcess {
 public:
  CopyingProcess(const std::string& source, const std::string& target) : m_process(::fork()) {
    if (m_process == 0) {
      copyAndExit(source, target);
    }
  }
  CopyingProcess(const CopyingProcess&) = delete;
  CopyingProcess& operator=(const CopyingProcess&) = delete;
  ~CopyingProcess() { kill(); }

  /// Ends the process, wherever it is; true unless it had come to its end before.
  bool kill() {
    if (m_process > 0) {
      ::kill(m_process, SIGKILL);
      ::waitpid(m_process, &m_status, 0);
      m_process = -1;
    }
    return WIFSIGNALED(m_status);
  }

 private:
  [[noreturn]] static void copyAndExit(const std::string& source, const std::string& target) {
    try {
      FileUtilities::copyFile(source, target);
    } catch (...) {
      ::_exit(1);
    }
    ::_exit(0);
  }

  pid_t m_process;
  int m_status = 0;
};

/// The files of one test, and what is known of them.
class Files {
 public:
  explicit Files(const std::string& parent) : m_folder(parent) {}

  std::string file(const std::string& name) const { return m_folder.file(name); }
  std::string write(const std::string& name, const std::string& content) const { return m_folder.write(name, content); }
  void expectEntries(std::size_t count) const { m_folder.expectEntries(count); }
  const fs::path& path() const { return m_folder.path(); }

  /// A file of some tens of megabytes.
  std::string writeLarge(const std::string& name, char seed) const {
    std::string content(c_size, seed);
    for (std::size_t index = 0; index < c_size; index += 4096) {
      content[index] = static_cast<char>(index / 4096);
    }
    return write(name, content);
  }

  /// The same with a hole in its middle.
  std::string writeLargeWithHole(const std::string& name, char seed) const {
    std::string file = writeLarge(name, seed);
    const std::string content = TemporaryFolder::read(file);
    fs::resize_file(file, c_size / 3);
    fs::resize_file(file, c_size / 3 * 2);
    std::ofstream(file, std::ios::binary | std::ios::app) << content.substr(c_size / 3 * 2);
    return file;
  }

  /// The name of the file beside source and target; empty when there is none.
  std::string temporaryFile() const {
    for (const auto& entry : fs::directory_iterator(path())) {
      const std::string name = entry.path().filename().string();
      if (name != "source" && name != "target") {
        return entry.path().string();
      }
    }
    return {};
  }

  /// Kills copies of `source` to `target` until one leaves its temporary file, and returns the name of that file.
  std::string leaveTemporaryFile(const std::string& source, const std::string& target) const {
    for (;;) {
      CopyingProcess copy(source, target);
      while (temporaryFile().empty() && !fs::exists(target)) {
      }
      copy.kill();
      if (!temporaryFile().empty()) {
        return temporaryFile();
      }
      fs::remove(target);
    }
  }

 private:
  TemporaryFolder m_folder;
};

bool sameContent(const std::string& file, const std::string& other) {
  return TemporaryFolder::read(file) == TemporaryFolder::read(other);
}

Microseconds durationOfCopy(const std::string& source, const std::string& target) {
  const auto start = std::chrono::steady_clock::now();
  FileUtilities::copyFile(source, target);
  return std::chrono::duration_cast<Microseconds>(std::chrono::steady_clock::now() - start);
}

/// Where the files are and how often a copy of them is killed: a disk takes its time for each.
struct Place {
  const char* name;
  const char* folder;
  int kills;
};

class KilledCopyAnywhere : public ::testing::TestWithParam<Place> {
 protected:
  void SetUp() override {
    if (!fs::is_directory(GetParam().folder)) {
      GTEST_SKIP() << "there is no " << GetParam().folder;
    }
  }
};

INSTANTIATE_TEST_SUITE_P(Each, KilledCopyAnywhere,
                         ::testing::Values(Place{"InMemory", "/dev/shm", 100}, Place{"OnDisk", "/var/tmp", 10}),
                         [](const auto& place) { return std::string(place.param.name); });

TEST_P(KilledCopyAnywhere, LeavesTheOldOrTheWholeNewTarget) {
  const Files files(GetParam().folder);
  const std::string source = files.writeLarge("source", 'a');
  const std::string otherSource = files.writeLargeWithHole("other source", 'b');
  const std::string target = files.file("target");
  const Microseconds duration = std::max(durationOfCopy(otherSource, target), durationOfCopy(source, target));
  std::mt19937 random(std::random_device{}());
  std::uniform_int_distribution<Microseconds::rep> delays(0, duration.count());

  struct {
    std::string file;
    std::string content;
  } before{source, TemporaryFolder::read(source)}, after{otherSource, TemporaryFolder::read(otherSource)};
  int killed = 0;
  int interrupted = 0;
  while (killed < GetParam().kills) {
    CopyingProcess copy(after.file, target);
    std::this_thread::sleep_for(Microseconds(delays(random)));
    killed += copy.kill() ? 1 : 0;
    const std::string content = TemporaryFolder::read(target);
    const bool isNew = content == after.content;
    ASSERT_TRUE(isNew || content == before.content) << content.size() << " bytes after " << killed << " kills";
    interrupted += isNew ? 0 : 1;
    if (isNew) {
      std::swap(before, after);
    }
  }
  RecordProperty("KillsBeforeTheNewTarget", interrupted);
  EXPECT_GT(interrupted, 0) << "no kill came before the end of a copy";
  FileUtilities::copyFile(after.file, target);
  EXPECT_TRUE(sameContent(target, after.file));
  files.expectEntries(3);
}

TEST(KilledCopy, IsClearedAwayByTheNextCopy) {
  const Files files(fs::temp_directory_path().string());
  const std::string large = files.writeLarge("source", 'a');
  const std::string target = files.file("target");
  files.leaveTemporaryFile(large, target);
  files.expectEntries(2);
  const std::string source = files.write("source", "small");
  FileUtilities::copyFile(source, target);
  EXPECT_EQ(TemporaryFolder::read(target), "small");
  files.expectEntries(2);
}

TEST(KilledCopy, IsClearedAwayAlsoForReadOnlySourcesAndLongNames) {
  const Files files(fs::temp_directory_path().string());
  for (const std::string& name : {std::string("target"), std::string(255, 'x')}) {
    const std::string source = files.writeLarge("source", 'a');
    ASSERT_EQ(::chmod(source.c_str(), 0444), 0);
    const Unprivileged scope(files.path());
    if (!scope.inForce()) {
      GTEST_SKIP() << "the superuser's rights cannot be given up here";
    }
    const std::string target = files.file(name);
    for (int round = 0; round < 10; ++round) {
      CopyingProcess copy(source, target);
      std::this_thread::sleep_for(Microseconds(1000 * round));
      copy.kill();
    }
    FileUtilities::copyFile(source, target);
    struct stat status {};
    ASSERT_EQ(::stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0444U);
    EXPECT_TRUE(sameContent(source, target));
    files.expectEntries(2);
    fs::remove(target);
    fs::remove(source);
  }
}

/// The copy fails for this reason, and makes no target.
void expectCopyToFail(const std::string& source, const std::string& target, std::errc reason) {
  try {
    FileUtilities::copyFile(source, target);
    ADD_FAILURE() << "nothing was thrown";
  } catch (const FileNameException& exception) {
    EXPECT_EQ(exception.getErrorCode(), reason);
  }
  EXPECT_FALSE(fs::exists(target));
}

TEST(KilledCopy, IsNotFollowedThroughALinkInPlaceOfWhatItLeft) {
  const Files files(fs::temp_directory_path().string());
  const std::string source = files.writeLarge("source", 'a');
  const std::string target = files.file("target");
  const std::string left = files.leaveTemporaryFile(source, target);
  fs::remove(left);
  const std::string precious = files.write("precious", "precious");
  fs::create_symlink("precious", left);
  expectCopyToFail(source, target, std::errc::too_many_symbolic_link_levels);
  EXPECT_EQ(TemporaryFolder::read(precious), "precious");
}

TEST(KilledCopy, DoesNotWaitForAPipeInPlaceOfWhatItLeft) {
  const Files files(fs::temp_directory_path().string());
  const std::string source = files.writeLarge("source", 'a');
  const std::string target = files.file("target");
  const std::string left = files.leaveTemporaryFile(source, target);
  fs::remove(left);
  ASSERT_EQ(::mkfifo(left.c_str(), 0600), 0);
  expectCopyToFail(source, target, std::errc::no_such_device_or_address);
}

TEST(KilledCopy, LeavesNothingThatOtherUsersMayRead) {
  const Files files(fs::temp_directory_path().string());
  const std::string source = files.writeLarge("source", 'a');
  ASSERT_EQ(::chmod(source.c_str(), 0600), 0);
  const mode_t usual = ::umask(0);
  const std::string left = files.leaveTemporaryFile(source, files.file("target"));
  ::umask(usual);
  struct stat status {};
  ASSERT_EQ(::stat(left.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST(KilledCopy, DoesNotHinderTheCopyOfAnotherUser) {
  const Files files(fs::temp_directory_path().string());
  const std::string source = files.writeLarge("source", 'a');
  const std::string target = files.file("target");
  const std::string left = files.leaveTemporaryFile(source, target);
  const Unprivileged scope(files.path());
  if (!scope.inForce() || ::getuid() != 0) {
    GTEST_SKIP() << "there is no other user";
  }
  const uid_t other = ::geteuid();
  ASSERT_TRUE(::seteuid(0) == 0 && ::lchown(left.c_str(), 0, 0) == 0 && ::seteuid(other) == 0);
  FileUtilities::copyFile(source, target);
  EXPECT_TRUE(sameContent(source, target));
  EXPECT_TRUE(fs::exists(left));
}

}  // namespace
