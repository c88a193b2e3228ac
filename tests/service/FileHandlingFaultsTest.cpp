#include <fcntl.h>
#include <gtest/gtest.h>
#include <service/FileHandling.h>
#include <sys/stat.h>
#include <tests/support/FailingSystemCalls.h>
#include <tests/support/TemporaryFolder.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <limits>
#include <string>
#include <system_error>
#include <vector>

namespace {

namespace fs = std::filesystem;

using Drelvan::FileNameException;
using Drelvan::FileUtilities;
using TestSupport::FailingSystemCalls;
using TestSupport::TemporaryFolder;
using Calls = std::vector<FailingSystemCalls::Call>;

constexpr int c_always = std::numeric_limits<int>::max();
constexpr int c_errors[] = {ENOSPC, EIO, EMFILE, ENOMEM, EINTR, EACCES};
const std::vector<std::string> c_calls{"open",  "stat",  "lstat",           "fstat",  "flock",  "ftruncate", "ioctl",
                                       "lseek", "pread", "copy_file_range", "pwrite", "fchmod", "fsync",     "rename"};

std::string pattern(std::size_t size) {
  std::string content(size, '\0');
  for (std::size_t index = 0; index < size; ++index) {
    content[index] = static_cast<char>(index * 31 + index / 4093 + 1);
  }
  return content;
}

/// Holes before, between and behind two words.
std::string sparseContent() {
  std::string content(1000000, '\0');
  content.replace(200000, 5, "first");
  content.replace(700000, 6, "second");
  return content;
}

struct stat statusOf(const std::string& file) {
  struct stat status {};
  EXPECT_EQ(::lstat(file.c_str(), &status), 0) << file;
  return status;
}

/// A source and an older target, in a folder of their own.
class FileHandlingFaults : public ::testing::Test {
 protected:
  void SetUp() override { m_folder.write("target", "old"); }

  std::string source() const { return m_folder.file("source"); }
  std::string target() const { return m_folder.file("target"); }
  void writeSource(const std::string& content) const { m_folder.write("source", content); }

  /// Makes the holes of the content holes of the source.
  void writeSparseSource(const std::string& content) const {
    writeSource("");
    const int file = ::open(source().c_str(), O_WRONLY | O_CLOEXEC);
    constexpr std::size_t page = 4096;
    for (std::size_t place = 0; place < content.size(); place += page) {
      const std::string block = content.substr(place, page);
      if (block.find_first_not_of('\0') != std::string::npos) {
        ASSERT_EQ(::pwrite(file, block.data(), block.size(), static_cast<off_t>(place)),
                  static_cast<ssize_t>(block.size()));
      }
    }
    ASSERT_EQ(::ftruncate(file, static_cast<off_t>(content.size())), 0);
    ::close(file);
  }

  /// Copies, or renames; whether that succeeded. It must have done all or nothing.
  template <typename Operation>
  bool doesAllOrNothing(Operation operation, const std::string& content, const std::string& what) {
    bool succeeded = true;
    try {
      operation();
    } catch (const FileNameException&) {
      succeeded = false;
    }
    EXPECT_TRUE(TemporaryFolder::read(target()) == (succeeded ? content : "old")) << what;
    return succeeded;
  }

  /// In memory where that can be: each of the many copies is flushed.
  TemporaryFolder m_folder{fs::is_directory("/dev/shm") ? "/dev/shm" : fs::temp_directory_path()};
};

std::string describe(const std::string& name, int error, int first) {
  return name + " " + std::to_string(first) + " fails with: " + std::generic_category().message(error);
}

TEST_F(FileHandlingFaults, OfOneCallLeaveTheOldTargetOrTheWholeNewOne) {
  const std::string content = sparseContent();
  writeSparseSource(content);
  int failures = 0;
  for (const std::string& name : c_calls) {
    for (const int error : c_errors) {
      bool failed = true;
      for (int number = 1; failed; ++number) {
        m_folder.write("target", "old");
        FailingSystemCalls calls;
        calls.fail(name, error, number, number);
        const bool succeeded = doesAllOrNothing([&] { FileUtilities::copyFile(source(), target()); }, content,
                                                describe(name, error, number));
        failed = calls.hasFailed();
        failures += succeeded ? 0 : 1;
        m_folder.expectEntries(2);
      }
    }
  }
  EXPECT_GT(failures, 50);
}

TEST_F(FileHandlingFaults, ThatStayLeaveTheOldTargetOrTheWholeNewOne) {
  const std::string content = sparseContent();
  writeSparseSource(content);
  for (const std::string& name : c_calls) {
    for (const int error : c_errors) {
      if (error == EINTR) {
        continue;  // what is interrupted for ever is tried for ever
      }
      bool failed = true;
      for (int first = 1; failed; ++first) {
        m_folder.write("target", "old");
        FailingSystemCalls calls;
        calls.fail(name, error, first, c_always);
        doesAllOrNothing([&] { FileUtilities::copyFile(source(), target()); }, content, describe(name, error, first));
        failed = calls.hasFailed();
        m_folder.expectEntries(2);
      }
    }
  }
}

TEST_F(FileHandlingFaults, OfOneCallNeverLoseAFileThatIsRenamedAcrossFileSystems) {
  const std::string content = sparseContent();
  for (const std::string& name : c_calls) {
    for (const int error : c_errors) {
      bool failed = true;
      for (int number = name == "rename" ? 2 : 1; failed; ++number) {
        writeSparseSource(content);
        m_folder.write("target", "old");
        bool succeeded = false;
        {
          FailingSystemCalls calls;
          calls.fail("rename", EXDEV, 1, 1);
          calls.fail(name, error, number, number);
          succeeded = doesAllOrNothing([&] { FileUtilities::rename(source(), target()); }, content,
                                       describe(name, error, number));
          failed = calls.count(name) >= number;
        }
        EXPECT_NE(succeeded, fs::exists(source())) << describe(name, error, number);
        m_folder.expectEntries(succeeded ? 1 : 2);
        fs::remove(source());
      }
    }
  }
}

TEST_F(FileHandlingFaults, OfTheRemovalBehindARenameAcrossFileSystemsLeaveBothFiles) {
  writeSource("content");
  FailingSystemCalls calls;
  calls.fail("rename", EXDEV, 1, 1);
  calls.fail("unlink", EIO, 1, 1);
  EXPECT_THROW(FileUtilities::rename(source(), target()), FileNameException);
  EXPECT_EQ(TemporaryFolder::read(source()), "content");
  EXPECT_EQ(TemporaryFolder::read(target()), "content");
  m_folder.expectEntries(2);
}

TEST_F(FileHandlingFaults, OfInterruptedCallsAreOvercome) {
  const std::string content = pattern(100000);
  writeSource(content);
  for (const std::string name : {"flock", "copy_file_range", "pread", "pwrite"}) {
    FailingSystemCalls calls;
    if (name != "copy_file_range") {
      calls.answer("copy_file_range", 0);
    }
    calls.fail("ioctl", EOPNOTSUPP, 1, c_always);
    calls.fail(name, EINTR, 1, 3);
    FileUtilities::copyFile(source(), target());
    EXPECT_GE(calls.count(name), 4) << name;
    EXPECT_TRUE(TemporaryFolder::read(target()) == content) << name;
  }
}

TEST_F(FileHandlingFaults, OfLocksThatTheFileSystemDoesNotHaveAreNoFailure) {
  writeSource("content");
  for (const int error : {ENOLCK, EOPNOTSUPP, ENOSYS}) {
    m_folder.write("target", "old");
    FailingSystemCalls calls;
    calls.fail("flock", error, 1, c_always);
    FileUtilities::copyFile(source(), target());
    EXPECT_GT(calls.count("flock"), 0);
    EXPECT_EQ(TemporaryFolder::read(target()), "content") << error;
  }
}

// ---- Ways of copying ----

TEST_F(FileHandlingFaults, OfCopiesWithinTheKernelLeadToCopiesThroughMemory) {
  const std::string content = sparseContent();
  writeSparseSource(content);
  for (const int error : {EXDEV, ENOSYS, EOPNOTSUPP, EINVAL, EPERM}) {
    FailingSystemCalls calls;
    calls.fail("ioctl", error, 1, c_always);
    calls.fail("copy_file_range", error, 1, c_always);
    FileUtilities::copyFile(source(), target());
    EXPECT_EQ(calls.count("copy_file_range"), 1);
    EXPECT_GT(calls.count("pwrite"), 0);
    EXPECT_TRUE(TemporaryFolder::read(target()) == content) << error;
    EXPECT_LT(statusOf(target()).st_blocks, 100);
  }
}

TEST_F(FileHandlingFaults, OfCopiesWithinTheKernelThatCopyNothingLeadToCopiesThroughMemory) {
  const std::string content = pattern(3000000);
  writeSource(content);
  FailingSystemCalls calls;
  calls.fail("ioctl", EOPNOTSUPP, 1, c_always);
  calls.answer("copy_file_range", 0);
  FileUtilities::copyFile(source(), target());
  EXPECT_EQ(calls.count("copy_file_range"), 1);
  EXPECT_TRUE(TemporaryFolder::read(target()) == content);
}

TEST_F(FileHandlingFaults, OfTheSearchForHolesLeadToACopyOfAllBytes) {
  const std::string content = sparseContent();
  writeSparseSource(content);
  for (const int error : {EINVAL, EOPNOTSUPP, ENOSYS}) {
    for (const int number : {1, 2, 3}) {
      FailingSystemCalls calls;
      calls.fail("ioctl", EOPNOTSUPP, 1, c_always);
      calls.fail("lseek", error, number, c_always);
      FileUtilities::copyFile(source(), target());
      EXPECT_TRUE(TemporaryFolder::read(target()) == content) << error;
    }
  }
}

TEST_F(FileHandlingFaults, OfAFileSystemWithoutClonesCopyItsDataAndNotItsHoles) {
  const std::string content = sparseContent();
  writeSparseSource(content);
  FailingSystemCalls calls;
  calls.fail("ioctl", EOPNOTSUPP, 1, c_always);
  FileUtilities::copyFile(source(), target());
  EXPECT_TRUE(TemporaryFolder::read(target()) == content);
  EXPECT_LE(statusOf(target()).st_blocks, statusOf(source()).st_blocks);
}

TEST_F(FileHandlingFaults, AreNoneWhereTheFileSystemMakesAClone) {
  writeSource("content");
  FailingSystemCalls calls;
  calls.answer("ioctl", 0);  // a clone of nothing
  FileUtilities::copyFile(source(), target());
  EXPECT_EQ(calls.count("copy_file_range") + calls.count("pread") + calls.count("pwrite"), 0);
  EXPECT_EQ(TemporaryFolder::read(target()), "");
}

// ---- What is flushed ----

/// Where in the calls this one is, for this file; the last when there are several.
std::ptrdiff_t lastOf(const Calls& calls, const std::string& name, const struct stat& file) {
  const auto found = std::find_if(calls.rbegin(), calls.rend(), [&](const FailingSystemCalls::Call& call) {
    return call.name == name && call.device == file.st_dev && call.file == file.st_ino;
  });
  return std::distance(found, calls.rend()) - 1;
}

std::ptrdiff_t placeOf(const Calls& calls, const std::string& name) {
  const auto found =
      std::find_if(calls.begin(), calls.end(), [&](const FailingSystemCalls::Call& call) { return call.name == name; });
  return std::distance(calls.begin(), found);
}

TEST_F(FileHandlingFaults, OfTheDiskFindTheCopyFlushedBeforeItHasItsNameAndTheFolderAfterwards) {
  for (const bool throughMemory : {false, true}) {
    writeSource(pattern(100000));
    FailingSystemCalls calls;
    if (throughMemory) {
      calls.answer("copy_file_range", 0);
    }
    FileUtilities::copyFile(source(), target());
    const Calls made = calls.calls();
    const struct stat file = statusOf(target());
    const std::ptrdiff_t flushed = lastOf(made, "fsync", file);
    const std::ptrdiff_t renamed = placeOf(made, "rename");
    for (const char* name : {"ftruncate", "ioctl", "copy_file_range", "pwrite", "fchmod"}) {
      EXPECT_LT(lastOf(made, name, file), flushed) << name;
    }
    EXPECT_GE(flushed, 0);
    EXPECT_LT(flushed, renamed);
    EXPECT_LT(renamed, lastOf(made, "fsync", statusOf(m_folder.path().string())));
    EXPECT_EQ(std::count_if(made.begin(), made.end(), [](const auto& call) { return call.name == "fsync"; }), 2);
  }
}

TEST_F(FileHandlingFaults, OfTheDiskFindTheRightsOfAReadOnlyCopyFlushed) {
  writeSource("content");
  ASSERT_EQ(::chmod(source().c_str(), 0444), 0);
  FailingSystemCalls calls;
  FileUtilities::copyFile(source(), target());
  const Calls made = calls.calls();
  const struct stat file = statusOf(target());
  EXPECT_LT(lastOf(made, "fchmod", file), lastOf(made, "fsync", file));
  EXPECT_EQ(file.st_mode & 0777U, 0444U);
}

TEST_F(FileHandlingFaults, OfAFlushAreReported) {
  writeSource("content");
  FailingSystemCalls calls;
  calls.fail("fsync", EIO, 1, 1);
  try {
    FileUtilities::copyFile(source(), target());
    FAIL() << "nothing was thrown";
  } catch (const FileNameException& exception) {
    EXPECT_EQ(exception.getErrorCode(), std::errc::io_error);
  }
  EXPECT_EQ(TemporaryFolder::read(target()), "old");
}

}  // namespace
