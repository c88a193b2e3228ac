#include <fcntl.h>
#include <gtest/gtest.h>
#include <service/FileHandling.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <tests/service/Unprivileged.h>
#include <tests/support/TemporaryFolder.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

using Drelvan::DvException;
using Drelvan::FileName;
using Drelvan::FileNameException;
using Drelvan::FileUtilities;
using TestSupport::TemporaryFolder;
using TestSupport::Unprivileged;

constexpr std::size_t c_mebibyte = std::size_t{1} << 20U;

#define SKIP_UNLESS_UNPRIVILEGED(scope)                               \
  if (!(scope).inForce()) {                                           \
    GTEST_SKIP() << "the superuser's rights cannot be given up here"; \
  }                                                                   \
  static_assert(true)

std::string pattern(std::size_t size, char seed) {
  std::string content(size, '\0');
  for (std::size_t index = 0; index < size; ++index) {
    content[index] = static_cast<char>(static_cast<std::size_t>(seed) + index * 31 + index / 4093);
  }
  return content;
}

unsigned permissionsOf(const std::string& file) {
  struct stat status {};
  EXPECT_EQ(::lstat(file.c_str(), &status), 0) << file;
  return status.st_mode & 07777U;
}

/// The error of an operation that must fail with a `FileNameException`.
template <typename Operation>
std::errc errorOf(Operation operation) {
  try {
    operation();
  } catch (const FileNameException& exception) {
    return static_cast<std::errc>(exception.getErrorCode().value());
  }
  ADD_FAILURE() << "nothing was thrown";
  return {};
}

std::errc copyError(const std::string& source, const std::string& target) {
  return errorOf([&] { FileUtilities::copyFile(source, target); });
}
std::errc renameError(const std::string& source, const std::string& target) {
  return errorOf([&] { FileUtilities::rename(source, target); });
}
std::errc removeError(const std::string& file) {
  return errorOf([&] { FileUtilities::remove(file); });
}

// ---- Names ----

static_assert(std::is_convertible_v<std::string, FileName> && std::is_convertible_v<const char*, FileName>);
static_assert(std::is_copy_constructible_v<FileName> && std::is_copy_assignable_v<FileName>);
static_assert(std::is_nothrow_move_constructible_v<FileName> && std::is_nothrow_move_assignable_v<FileName>);
static_assert(std::is_same_v<decltype(std::declval<const FileName&>().toString()), std::string>);

TEST(FileName, GivesItsTextAsItWasGiven) {
  EXPECT_EQ(FileName("").toString(), "");
  EXPECT_EQ(FileName("a//b/../c ").toString(), "a//b/../c ");
  EXPECT_EQ(FileName(std::string("a\0b", 3)).toString(), std::string("a\0b", 3));
  EXPECT_EQ(FileName(static_cast<const char*>(nullptr)).toString(), "");
}

TEST(FileName, IsCopiedAndMoved) {
  FileName name("some/longer/name/than/fits/into/a/short/string");
  FileName copy(name);
  EXPECT_EQ(copy.toString(), name.toString());
  const FileName moved(std::move(copy));
  EXPECT_EQ(moved.toString(), name.toString());
  copy = moved;
  EXPECT_EQ(copy.toString(), name.toString());
  FileName assigned("x");
  assigned = std::move(copy);
  EXPECT_EQ(assigned.toString(), name.toString());
}

// ---- The exception ----

static_assert(std::is_base_of_v<DvException, FileNameException>);
static_assert(std::is_nothrow_copy_constructible_v<FileNameException>);
static_assert(std::is_nothrow_copy_assignable_v<FileNameException>);

TEST(FileNameException, NamesFilesReasonAndCode) {
  const auto busy = std::make_error_code(std::errc::text_file_busy);
  const FileNameException exception("copy", "a", "b", busy, "ns::f", "file.cpp", 12);
  EXPECT_STREQ(exception.what(), "cannot copy 'a' to 'b': Text file busy (error 26)");
  EXPECT_EQ(exception.getSource().toString(), "a");
  EXPECT_EQ(exception.getTarget().toString(), "b");
  EXPECT_EQ(exception.getReason(), busy.message());
  EXPECT_EQ(exception.getErrorCode(), busy);
  EXPECT_EQ(exception.getGroup(), "FileHandling");
  EXPECT_EQ(exception.getFunction(), "ns::f");
  EXPECT_EQ(exception.getFile(), "file.cpp");
  EXPECT_EQ(exception.getLine(), 12);
}

TEST(FileNameException, LeavesAMissingTargetOut) {
  const FileNameException exception("remove", "a", "", std::make_error_code(std::errc::is_a_directory), "f", "x", 1);
  EXPECT_STREQ(exception.what(), "cannot remove 'a': Is a directory (error 21)");
  EXPECT_EQ(exception.getTarget().toString(), "");
}

TEST(FileNameException, IsCopied) {
  const FileNameException exception("copy", "a", "b", std::make_error_code(std::errc::io_error), "f", "x", 1);
  FileNameException other("remove", "c", "", {}, "g", "y", 2);
  other = exception;
  const FileNameException copy(other);
  EXPECT_STREQ(copy.what(), exception.what());
  EXPECT_EQ(copy.getSource().toString(), "a");
  EXPECT_EQ(copy.getTarget().toString(), "b");
  EXPECT_EQ(copy.getErrorCode(), exception.getErrorCode());
}

/// Each test has a folder of its own.
class FileUtilitiesTest : public ::testing::Test {
 protected:
  std::string file(const std::string& name) const { return m_folder.file(name); }
  std::string write(const std::string& name, const std::string& content) const { return m_folder.write(name, content); }
  static std::string read(const std::string& name) { return TemporaryFolder::read(name); }

  TemporaryFolder m_folder;
};

// ---- exists ----

using FileUtilitiesExists = FileUtilitiesTest;

TEST_F(FileUtilitiesExists, CountsEveryEntryOrRegularFilesAlone) {
  write("file", "x");
  fs::create_directory(file("folder"));
  fs::create_symlink("file", file("link to file"));
  fs::create_symlink("folder", file("link to folder"));
  fs::create_symlink("nothing", file("dangling"));
  ASSERT_EQ(::mkfifo(file("fifo").c_str(), 0600), 0);
  const struct {
    std::string name;
    bool any;
    bool regular;
  } rows[] = {{file("file"), true, true},
              {file("folder"), true, false},
              {file("link to file"), true, true},
              {file("link to folder"), true, false},
              {file("dangling"), false, false},
              {file("fifo"), true, false},
              {file("nothing"), false, false},
              {file("file/below"), false, false},
              {file("nothing/below"), false, false},
              {"", false, false},
              {"/dev/null", true, false},
              {file(std::string(300, 'x')), false, false}};
  for (const auto& row : rows) {
    EXPECT_EQ(FileUtilities::exists(row.name, false), row.any) << row.name;
    EXPECT_EQ(FileUtilities::exists(row.name, true), row.regular) << row.name;
  }
}

TEST_F(FileUtilitiesExists, DoesNotSeeWhatCannotBeLookedAt) {
  fs::create_directory(file("closed"));
  write("closed/file", "x");
  ASSERT_TRUE(FileUtilities::exists(file("closed/file"), false));
  const Unprivileged scope(m_folder.path());
  SKIP_UNLESS_UNPRIVILEGED(scope);
  ASSERT_EQ(::chmod(file("closed").c_str(), 0), 0);
  EXPECT_FALSE(FileUtilities::exists(file("closed/file"), false));
  EXPECT_FALSE(FileUtilities::exists(file("closed/file"), true));
  ASSERT_EQ(::chmod(file("closed").c_str(), 0700), 0);
}

// ---- copyFile ----

using FileUtilitiesCopy = FileUtilitiesTest;

TEST_F(FileUtilitiesCopy, CopiesContentOfAnySize) {
  for (const std::size_t size :
       {std::size_t{0}, std::size_t{1}, c_mebibyte - 1, c_mebibyte, c_mebibyte + 1, 3 * c_mebibyte + 7}) {
    const std::string content = pattern(size, 'a');
    const std::string source = write("source", content);
    FileUtilities::copyFile(source, file("target"));
    EXPECT_TRUE(read(file("target")) == content) << size;
    EXPECT_TRUE(read(source) == content) << size;
    m_folder.expectEntries(2);
  }
}

TEST_F(FileUtilitiesCopy, GivesTheSourcesPermissions) {
  const std::string source = write("source", "x");
  for (const mode_t mode : {0600U, 0644U, 0755U, 0777U, 0444U, 0400U, 0640U}) {
    for (const mode_t mask : {0022U, 0077U, 0000U}) {
      ASSERT_EQ(::chmod(source.c_str(), mode), 0);
      const mode_t before = ::umask(mask);
      FileUtilities::copyFile(source, file("target"));
      ::umask(before);
      EXPECT_EQ(permissionsOf(file("target")), mode);
    }
  }
}

TEST_F(FileUtilitiesCopy, DoesNotGiveTheRightsOfTheOwnerAway) {
  const std::string source = write("source", "x");
  ASSERT_EQ(::chmod(source.c_str(), 06755), 0);
  FileUtilities::copyFile(source, file("target"));
  EXPECT_EQ(permissionsOf(file("target")), 0755U);
}

TEST_F(FileUtilitiesCopy, ReplacesAnOlderTargetWhole) {
  const std::string source = write("source", "new");
  write("target", pattern(100000, 'o'));
  FileUtilities::copyFile(source, file("target"));
  EXPECT_EQ(read(file("target")), "new");
  m_folder.expectEntries(2);
}

TEST_F(FileUtilitiesCopy, KeepsOtherNamesOfTheOldTarget) {
  const std::string source = write("source", "new");
  fs::create_hard_link(write("target", "old"), file("other name"));
  FileUtilities::copyFile(source, file("target"));
  EXPECT_EQ(read(file("target")), "new");
  EXPECT_EQ(read(file("other name")), "old");
}

TEST_F(FileUtilitiesCopy, ReplacesAReadOnlyTarget) {
  const std::string source = write("source", "new");
  const std::string target = write("target", "old");
  ASSERT_EQ(::chmod(target.c_str(), 0444), 0);
  const Unprivileged scope(m_folder.path());
  FileUtilities::copyFile(source, target);
  EXPECT_EQ(read(target), "new");
}

TEST_F(FileUtilitiesCopy, ReplacesALinkInsteadOfFollowingIt) {
  const std::string source = write("source", "new");
  write("linked", "old");
  fs::create_symlink("linked", file("target"));
  FileUtilities::copyFile(source, file("target"));
  EXPECT_FALSE(fs::is_symlink(file("target")));
  EXPECT_EQ(read(file("target")), "new");
  EXPECT_EQ(read(file("linked")), "old");
  fs::create_symlink("nowhere", file("dangling"));
  FileUtilities::copyFile(source, file("dangling"));
  EXPECT_FALSE(fs::is_symlink(file("dangling")));
  EXPECT_EQ(read(file("dangling")), "new");
  EXPECT_FALSE(fs::exists(file("nowhere")));
}

TEST_F(FileUtilitiesCopy, FollowsALinkedSource) {
  write("linked", "content");
  fs::create_symlink("linked", file("source"));
  FileUtilities::copyFile(file("source"), file("target"));
  EXPECT_FALSE(fs::is_symlink(file("target")));
  EXPECT_EQ(read(file("target")), "content");
}

TEST_F(FileUtilitiesCopy, RefusesTheFileItself) {
  const std::string source = write("source", "content");
  fs::create_hard_link(source, file("other name"));
  fs::create_symlink("source", file("link"));
  for (const std::string& target : {source, file("./source"), file("other name"), file("link")}) {
    EXPECT_EQ(copyError(source, target), std::errc::invalid_argument) << target;
    EXPECT_EQ(read(source), "content");
  }
  EXPECT_TRUE(fs::is_symlink(file("link")));
  m_folder.expectEntries(3);
}

TEST_F(FileUtilitiesCopy, RefusesFoldersAndOtherThanRegularFiles) {
  const std::string source = write("source", "content");
  fs::create_directory(file("folder"));
  ASSERT_EQ(::mkfifo(file("fifo").c_str(), 0600), 0);
  EXPECT_EQ(copyError(file("folder"), file("target")), std::errc::is_a_directory);
  EXPECT_EQ(copyError(source, file("folder")), std::errc::is_a_directory);
  EXPECT_EQ(copyError(file("fifo"), file("target")), std::errc::invalid_argument);
  EXPECT_EQ(copyError("/dev/null", file("target")), std::errc::invalid_argument);
  m_folder.expectEntries(3);
}

TEST_F(FileUtilitiesCopy, RefusesATargetThatIsNeitherAFileNorALink) {
  const std::string source = write("source", "content");
  ASSERT_EQ(::mkfifo(file("fifo").c_str(), 0600), 0);
  ASSERT_EQ(::mknod(file("socket").c_str(), S_IFSOCK | 0600, 0), 0);
  for (const char* name : {"fifo", "socket"}) {
    const fs::file_type before = fs::status(file(name)).type();
    EXPECT_EQ(copyError(source, file(name)), std::errc::invalid_argument) << name;
    EXPECT_EQ(fs::status(file(name)).type(), before) << name;
  }
  m_folder.expectEntries(3);
}

TEST_F(FileUtilitiesCopy, ReplacesALinkToOtherThanARegularFile) {
  const std::string source = write("source", "content");
  fs::create_directory(file("folder"));
  for (const std::string& linked : {file("folder"), std::string("/dev/null")}) {
    fs::create_symlink(linked, file("target"));
    FileUtilities::copyFile(source, file("target"));
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(file("target")))) << linked;
    EXPECT_EQ(read(file("target")), "content") << linked;
    fs::remove(file("target"));
  }
  EXPECT_TRUE(fs::is_empty(file("folder")));
}

/// The system would take each for the name up to the NUL byte.
TEST_F(FileUtilitiesTest, RefusesNamesWithANulByteAndShowsThem) {
  const std::string file = write("file", "content");
  const std::string longer = file + std::string("\0longer", 7);
  EXPECT_FALSE(FileUtilities::exists(longer, false));
  EXPECT_EQ(copyError(file, longer), std::errc::invalid_argument);
  EXPECT_EQ(copyError(longer, m_folder.file("target")), std::errc::invalid_argument);
  EXPECT_EQ(renameError(longer, m_folder.file("target")), std::errc::invalid_argument);
  EXPECT_EQ(renameError(file, longer), std::errc::invalid_argument);
  EXPECT_EQ(removeError(longer), std::errc::invalid_argument);
  EXPECT_EQ(read(file), "content");
  m_folder.expectEntries(1);
  try {
    FileUtilities::remove(longer);
  } catch (const FileNameException& exception) {
    EXPECT_EQ(exception.getMessage(), "cannot remove '" + file + "\\0longer': Invalid argument (error 22)");
  }
}

/// A file of which `size` bytes are holes but for words at these places.
std::string writeWithHoles(const std::string& file, const std::vector<std::size_t>& places, std::size_t size) {
  std::ofstream(file, std::ios::binary).close();
  fs::resize_file(file, size);
  std::fstream stream(file, std::ios::binary | std::ios::in | std::ios::out);
  for (const std::size_t place : places) {
    stream.seekp(static_cast<std::streamoff>(place)).write("word", 4);
  }
  return file;
}

blkcnt_t blocksOf(const std::string& file) {
  struct stat status {};
  EXPECT_EQ(::stat(file.c_str(), &status), 0) << file;
  return status.st_blocks;
}

TEST_F(FileUtilitiesCopy, LeavesHolesHoles) {
  constexpr std::size_t size = 64 * c_mebibyte;
  const std::vector<std::size_t> rows[] = {
      {}, {0}, {size - 4}, {c_mebibyte, 30 * c_mebibyte}, {0, 7 * c_mebibyte, size - 4}};
  for (const auto& places : rows) {
    const std::string source = writeWithHoles(file("source"), places, size);
    if (blocksOf(source) > static_cast<blkcnt_t>(size / 1024)) {
      GTEST_SKIP() << "the file system has no holes";
    }
    FileUtilities::copyFile(source, file("target"));
    EXPECT_EQ(fs::file_size(file("target")), size) << places.size();
    EXPECT_TRUE(read(file("target")) == read(source)) << places.size();
    EXPECT_LE(blocksOf(file("target")), blocksOf(source)) << places.size();
  }
}

TEST_F(FileUtilitiesCopy, CopiesFilesOfTheSystemThatDoNotTellTheirSize) {
  for (const std::string source : {"/proc/version", "/proc/self/cmdline", "/sys/devices/system/cpu/online"}) {
    if (fs::exists(source)) {
      FileUtilities::copyFile(source, file("target"));
      std::ifstream stream(source, std::ios::binary);
      const std::string content{std::istreambuf_iterator<char>(stream), {}};
      EXPECT_EQ(read(file("target")), content) << source;
    }
  }
}

TEST_F(FileUtilitiesCopy, FailsForNamesThatLeadNowhere) {
  const std::string source = write("source", "content");
  EXPECT_EQ(copyError(file("missing"), file("target")), std::errc::no_such_file_or_directory);
  EXPECT_EQ(copyError("", file("target")), std::errc::no_such_file_or_directory);
  EXPECT_EQ(copyError(source, file("missing/target")), std::errc::no_such_file_or_directory);
  EXPECT_EQ(copyError(source, file("source/target")), std::errc::not_a_directory);
  EXPECT_EQ(copyError(source, file(std::string(256, 'x'))), std::errc::filename_too_long);
  m_folder.expectEntries(1);
}

TEST_F(FileUtilitiesCopy, FailsForAnEmptyTarget) {
  const std::string source = write("source", "content");
  const fs::path before = fs::current_path();
  fs::current_path(m_folder.path());
  EXPECT_EQ(copyError(source, ""), std::errc::no_such_file_or_directory);
  fs::current_path(before);
  m_folder.expectEntries(1);
}

TEST_F(FileUtilitiesCopy, NamesBothFilesAndTheSourceLocation) {
  try {
    FileUtilities::copyFile(file("missing"), file("target"));
    FAIL() << "nothing was thrown";
  } catch (const FileNameException& exception) {
    EXPECT_EQ(std::string(exception.what()),
              "cannot copy '" + file("missing") + "' to '" + file("target") + "': No such file or directory (error 2)");
    EXPECT_EQ(exception.getSource().toString(), file("missing"));
    EXPECT_EQ(exception.getTarget().toString(), file("target"));
    EXPECT_EQ(exception.getGroup(), "FileHandling");
    EXPECT_EQ(exception.getFunction(), "Drelvan::FileUtilities::copyFile");
    EXPECT_GT(exception.getLine(), 0);
  }
}

TEST_F(FileUtilitiesCopy, TakesRelativeNames) {
  write("source", "content");
  const fs::path before = fs::current_path();
  fs::current_path(m_folder.path());
  FileUtilities::copyFile("source", "target");
  fs::current_path(before);
  EXPECT_EQ(read(file("target")), "content");
  m_folder.expectEntries(2);
}

TEST_F(FileUtilitiesCopy, TakesLongAndUnusualNames) {
  const std::string source = write("source", "content");
  std::size_t entries = 1;
  for (const std::string& name :
       {std::string(255, 'x'), std::string(254, 'x'), std::string(200, 'x'), std::string(180, 'x'),
        std::string(181, 'x'), std::string("a b\n\"'\\"), std::string("\xC3\xA9\xE2\x82\xAC"), std::string("\xFF\xFE"),
        std::string("-rf"), std::string(".hidden"), std::string(85, 'x') + std::string("\xE2\x82\xAC")}) {
    FileUtilities::copyFile(source, file(name));
    EXPECT_EQ(read(file(name)), "content") << name;
    m_folder.expectEntries(++entries);
  }
}

TEST_F(FileUtilitiesCopy, FailsForAnUnreadableSource) {
  const std::string source = write("source", "new");
  const std::string target = write("target", "old");
  ASSERT_EQ(::chmod(source.c_str(), 0), 0);
  const Unprivileged scope(m_folder.path());
  SKIP_UNLESS_UNPRIVILEGED(scope);
  EXPECT_EQ(copyError(source, target), std::errc::permission_denied);
  EXPECT_EQ(read(target), "old");
  m_folder.expectEntries(2);
}

TEST_F(FileUtilitiesCopy, FailsForAFolderThatTakesNoFiles) {
  const std::string source = write("source", "new");
  fs::create_directory(file("closed"));
  const std::string target = write("closed/target", "old");
  const Unprivileged scope(m_folder.path());
  SKIP_UNLESS_UNPRIVILEGED(scope);
  ASSERT_EQ(::chmod(file("closed").c_str(), 0500), 0);
  EXPECT_EQ(copyError(source, target), std::errc::permission_denied);
  EXPECT_EQ(copyError(source, file("closed/other")), std::errc::permission_denied);
  ASSERT_EQ(::chmod(file("closed").c_str(), 0), 0);
  EXPECT_EQ(copyError(source, target), std::errc::permission_denied);
  ASSERT_EQ(::chmod(file("closed").c_str(), 0700), 0);
  EXPECT_EQ(read(target), "old");
  m_folder.expectEntries(2);
  EXPECT_EQ(std::distance(fs::directory_iterator(file("closed")), fs::directory_iterator()), 1);
}

TEST_F(FileUtilitiesCopy, LeavesNothingWhenTheTargetCannotBeReplaced) {
  if (::geteuid() != 0) {
    GTEST_SKIP() << "only the superuser can make a target of another owner";
  }
  fs::create_directory(file("shared"));
  const std::string source = write("source", "new");
  const Unprivileged scope(m_folder.path());
  SKIP_UNLESS_UNPRIVILEGED(scope);
  ASSERT_EQ(::seteuid(0), 0);
  const std::string target = write("shared/target", "old");
  ASSERT_EQ(::chown(file("shared").c_str(), 0, 0), 0);
  ASSERT_EQ(::chmod(file("shared").c_str(), 01777), 0);
  ASSERT_EQ(::seteuid(65534), 0);
  EXPECT_EQ(copyError(source, target), std::errc::operation_not_permitted);
  EXPECT_EQ(read(target), "old");
  EXPECT_EQ(std::distance(fs::directory_iterator(file("shared")), fs::directory_iterator()), 1);
}

/// No file may grow beyond the limit while this exists.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t limit) : m_handler(std::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &m_before);
    const struct rlimit limited { limit, m_before.rlim_max };
    ::setrlimit(RLIMIT_FSIZE, &limited);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &m_before);
    std::signal(SIGXFSZ, m_handler);
  }

 private:
  void (*m_handler)(int);
  struct rlimit m_before {};
};

TEST_F(FileUtilitiesCopy, LeavesTheOldTargetWhenWritingFails) {
  const std::string source = write("source", pattern(3 * c_mebibyte, 'n'));
  const std::string target = write("target", "old");
  {
    const FileSizeLimit limit(2 * c_mebibyte + 100);
    EXPECT_EQ(copyError(source, target), std::errc::file_too_large);
  }
  EXPECT_EQ(read(target), "old");
  m_folder.expectEntries(2);
}

/// A file system of one mebibyte.
class SmallFileSystem {
 public:
  explicit SmallFileSystem(std::string folder) : m_folder(std::move(folder)) {
    fs::create_directory(m_folder);
    m_mounted = ::mount("tmpfs", m_folder.c_str(), "tmpfs", 0, "size=1m") == 0;
  }
  SmallFileSystem(const SmallFileSystem&) = delete;
  SmallFileSystem& operator=(const SmallFileSystem&) = delete;
  ~SmallFileSystem() {
    if (m_mounted) {
      ::umount(m_folder.c_str());
    }
  }
  bool mounted() const { return m_mounted; }

 private:
  std::string m_folder;
  bool m_mounted = false;
};

TEST_F(FileUtilitiesCopy, LeavesTheOldTargetWhenTheDiskIsFull) {
  const std::string source = write("source", pattern(2 * c_mebibyte, 'n'));
  const SmallFileSystem small(file("small"));
  if (!small.mounted()) {
    GTEST_SKIP() << "no file system can be mounted here";
  }
  const std::string target = write("small/target", "old");
  EXPECT_EQ(copyError(source, target), std::errc::no_space_on_device);
  EXPECT_EQ(renameError(source, target), std::errc::no_space_on_device);
  EXPECT_EQ(read(target), "old");
  EXPECT_EQ(std::distance(fs::directory_iterator(file("small")), fs::directory_iterator()), 1);
  EXPECT_TRUE(fs::exists(source));
}

// ---- rename ----

using FileUtilitiesRename = FileUtilitiesTest;

TEST_F(FileUtilitiesRename, GivesTheFileItsNewName) {
  const std::string source = write("source", "content");
  FileUtilities::rename(source, file("target"));
  EXPECT_EQ(read(file("target")), "content");
  m_folder.expectEntries(1);
}

TEST_F(FileUtilitiesRename, ReplacesAnExistingTarget) {
  const std::string source = write("source", "new");
  write("target", "old");
  FileUtilities::rename(source, file("target"));
  EXPECT_EQ(read(file("target")), "new");
  m_folder.expectEntries(1);
}

TEST_F(FileUtilitiesRename, RenamesFoldersAndLinks) {
  fs::create_directory(file("folder"));
  fs::create_symlink("nowhere", file("link"));
  FileUtilities::rename(file("folder"), file("new folder"));
  FileUtilities::rename(file("link"), file("new link"));
  EXPECT_TRUE(fs::is_directory(file("new folder")));
  EXPECT_TRUE(fs::is_symlink(file("new link")));
  m_folder.expectEntries(2);
}

TEST_F(FileUtilitiesRename, FailsWhereThereIsNoFileOrNoPlace) {
  const std::string source = write("source", "content");
  fs::create_directory(file("folder"));
  EXPECT_EQ(renameError(file("missing"), file("target")), std::errc::no_such_file_or_directory);
  EXPECT_EQ(renameError(source, file("missing/target")), std::errc::no_such_file_or_directory);
  EXPECT_EQ(renameError(source, file("folder")), std::errc::is_a_directory);
  EXPECT_EQ(read(source), "content");
  m_folder.expectEntries(2);
}

TEST_F(FileUtilitiesRename, NamesBothFilesAndTheSourceLocation) {
  try {
    FileUtilities::rename(file("missing"), file("target"));
    FAIL() << "nothing was thrown";
  } catch (const FileNameException& exception) {
    EXPECT_EQ(std::string(exception.what()), "cannot rename '" + file("missing") + "' to '" + file("target") +
                                                 "': No such file or directory (error 2)");
    EXPECT_EQ(exception.getFunction(), "Drelvan::FileUtilities::rename");
  }
}

/// A second folder, on another file system than the first.
class FileUtilitiesRenameAcross : public FileUtilitiesTest {
 protected:
  void SetUp() override {
    std::string name = "/dev/shm/request_handling_XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) {
      GTEST_SKIP() << "there is no /dev/shm to write to";
    }
    m_other = name;
    struct stat here {};
    struct stat there {};
    ::stat(m_folder.path().c_str(), &here);
    ::stat(m_other.c_str(), &there);
    if (here.st_dev == there.st_dev) {
      GTEST_SKIP() << "there is no second file system";
    }
  }
  ~FileUtilitiesRenameAcross() override {
    std::error_code ignored;
    if (!m_other.empty()) {
      fs::remove_all(m_other, ignored);
    }
  }

  std::string other(const std::string& name) const { return m_other + "/" + name; }
  std::ptrdiff_t otherEntries() const {
    return std::distance(fs::directory_iterator(m_other), fs::directory_iterator());
  }

  std::string m_other;
};

TEST_F(FileUtilitiesRenameAcross, MovesTheFileWithItsPermissions) {
  const std::string content = pattern(2 * c_mebibyte + 5, 'm');
  const std::string source = write("source", content);
  ASSERT_EQ(::chmod(source.c_str(), 0640), 0);
  FileUtilities::rename(source, other("target"));
  EXPECT_TRUE(read(other("target")) == content);
  EXPECT_EQ(permissionsOf(other("target")), 0640U);
  EXPECT_EQ(otherEntries(), 1);
  m_folder.expectEntries(0);
}

TEST_F(FileUtilitiesRenameAcross, ReplacesAnExistingTarget) {
  const std::string source = write("source", "new");
  FileUtilities::copyFile(write("old", pattern(5000, 'o')), other("target"));
  FileUtilities::rename(source, other("target"));
  EXPECT_EQ(read(other("target")), "new");
  EXPECT_EQ(otherEntries(), 1);
  m_folder.expectEntries(1);
}

TEST_F(FileUtilitiesRenameAcross, KeepsAFolderWhereItIs) {
  fs::create_directory(file("folder"));
  EXPECT_EQ(renameError(file("folder"), other("folder")), std::errc::is_a_directory);
  EXPECT_TRUE(fs::is_directory(file("folder")));
  EXPECT_EQ(otherEntries(), 0);
}

TEST_F(FileUtilitiesRenameAcross, LeavesBothWhenTheOldOneCannotBeRemoved) {
  fs::create_directory(file("closed"));
  const std::string source = write("closed/source", "content");
  ASSERT_EQ(::chmod(m_other.c_str(), 0777), 0);
  const Unprivileged scope(m_folder.path());
  SKIP_UNLESS_UNPRIVILEGED(scope);
  ASSERT_EQ(::chmod(file("closed").c_str(), 0500), 0);
  EXPECT_EQ(renameError(source, other("target")), std::errc::permission_denied);
  ASSERT_EQ(::chmod(file("closed").c_str(), 0700), 0);
  EXPECT_EQ(read(source), "content");
  EXPECT_EQ(read(other("target")), "content");
  EXPECT_EQ(otherEntries(), 1);
}

// ---- remove ----

using FileUtilitiesRemove = FileUtilitiesTest;

TEST_F(FileUtilitiesRemove, RemovesFilesAndLinksThemselves) {
  write("file", "content");
  write("linked", "content");
  fs::create_symlink("linked", file("link"));
  fs::create_symlink("nowhere", file("dangling"));
  FileUtilities::remove(file("file"));
  FileUtilities::remove(file("link"));
  FileUtilities::remove(file("dangling"));
  EXPECT_EQ(read(file("linked")), "content");
  m_folder.expectEntries(1);
}

TEST_F(FileUtilitiesRemove, RefusesMissingFilesAndFolders) {
  fs::create_directory(file("folder"));
  EXPECT_EQ(removeError(file("missing")), std::errc::no_such_file_or_directory);
  EXPECT_EQ(removeError(""), std::errc::no_such_file_or_directory);
  EXPECT_EQ(removeError(file("folder")), std::errc::is_a_directory);
  m_folder.expectEntries(1);
}

TEST_F(FileUtilitiesRemove, NamesTheFileAndTheSourceLocation) {
  try {
    FileUtilities::remove(file("missing"));
    FAIL() << "nothing was thrown";
  } catch (const FileNameException& exception) {
    EXPECT_EQ(std::string(exception.what()),
              "cannot remove '" + file("missing") + "': No such file or directory (error 2)");
    EXPECT_EQ(exception.getFunction(), "Drelvan::FileUtilities::remove");
    EXPECT_EQ(exception.getSource().toString(), file("missing"));
    EXPECT_EQ(exception.getTarget().toString(), "");
  }
}

TEST_F(FileUtilitiesRemove, FailsInAFolderThatIsClosed) {
  fs::create_directory(file("closed"));
  const std::string target = write("closed/file", "content");
  const Unprivileged scope(m_folder.path());
  SKIP_UNLESS_UNPRIVILEGED(scope);
  ASSERT_EQ(::chmod(file("closed").c_str(), 0500), 0);
  EXPECT_EQ(removeError(target), std::errc::permission_denied);
  ASSERT_EQ(::chmod(file("closed").c_str(), 0700), 0);
  EXPECT_EQ(read(target), "content");
}

}  // namespace
