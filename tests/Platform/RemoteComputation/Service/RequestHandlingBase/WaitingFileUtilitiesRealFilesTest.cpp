#include <Platform/RemoteComputation/Service/RequestHandlingBase/WaitingFileUtilities.h>
#include <gtest/gtest.h>
#include <tests/support/RecordingLogging.h>
#include <tests/support/TemporaryFolder.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using Drelvan::FileNameException;
using Drelvan::FileUtilities;
using Drelvan::WaitingFileUtilities;
using TestSupport::LogEntry;
using TestSupport::RecordingLog;
using TestSupport::TemporaryFolder;

using Lines = std::vector<std::string>;

/// The operations on files that another party makes or removes while they wait.
class WaitingFileUtilitiesRealFiles : public ::testing::Test {
 protected:
  WaitingFileUtilitiesRealFiles() { RecordingLog::clear(); }
  ~WaitingFileUtilitiesRealFiles() override {
    RecordingLog::onEntry(nullptr);
    RecordingLog::clear();
  }

  /// Has `change` done after the first failed try.
  template <typename Change>
  static void whileWaiting(Change change) {
    RecordingLog::onEntry([change = std::move(change), count = 0](const LogEntry&) mutable {
      if (count++ == 0) {
        change();
      }
    });
  }

  TemporaryFolder m_folder;
};

TEST_F(WaitingFileUtilitiesRealFiles, CopyASourceThatIsThere) {
  const std::string source = m_folder.write("source", "content");
  WaitingFileUtilities::waitingCopy(source, m_folder.file("target"), 0, 3);
  EXPECT_EQ(TemporaryFolder::read(m_folder.file("target")), "content");
  EXPECT_EQ(TemporaryFolder::read(source), "content");
  m_folder.expectEntries(2);
  EXPECT_TRUE(RecordingLog::entries().empty());
}

TEST_F(WaitingFileUtilitiesRealFiles, CopyASourceThatComesWhileWaiting) {
  const std::string source = m_folder.file("source");
  const std::string target = m_folder.file("target");
  whileWaiting([&] { m_folder.write("source", "content"); });
  WaitingFileUtilities::waitingCopy(source, target, 0, -1);
  EXPECT_EQ(TemporaryFolder::read(target), "content");
  m_folder.expectEntries(2);
  EXPECT_EQ(RecordingLog::lines(),
            (Lines{"DEBUG FileNameException copying '" + source + "' to '" + target + "': cannot copy '" + source +
                   "' to '" + target + "': No such file or directory (error 2)\nWaiting 0ms to retry (0/-1)..."}));
}

TEST_F(WaitingFileUtilitiesRealFiles, RenameASourceThatComesWhileWaiting) {
  const std::string source = m_folder.file("source");
  const std::string target = m_folder.write("target", "old");
  whileWaiting([&] { m_folder.write("source", "content"); });
  WaitingFileUtilities::waitingRename(source, target, 0, 2);
  EXPECT_EQ(TemporaryFolder::read(target), "content");
  m_folder.expectEntries(1);
  EXPECT_EQ(RecordingLog::lines(),
            (Lines{"DEBUG FileNameException renaming '" + source + "' to '" + target + "': cannot rename '" + source +
                       "' to '" + target + "': No such file or directory (error 2)\nWaiting 0ms to retry (0/2)...",
                   "INFO Could not rename '" + source + "' to '" + target + "'! Doing one last try..."}));
}

TEST_F(WaitingFileUtilitiesRealFiles, RemoveAFileThatComesWhileWaiting) {
  const std::string file = m_folder.file("file");
  whileWaiting([&] { m_folder.write("file", "content"); });
  WaitingFileUtilities::waitingRemove(file, 0, 3);
  m_folder.expectEntries(0);
  EXPECT_EQ(RecordingLog::lines(), (Lines{"DEBUG FileNameException removing '" + file + "': cannot remove '" + file +
                                          "': No such file or directory (error 2)\nWaiting 0ms to retry (0/3)..."}));
}

TEST_F(WaitingFileUtilitiesRealFiles, PassOnWhyTheLastTryFailed) {
  const std::string source = m_folder.file("missing");
  const std::string target = m_folder.write("target", "old");
  try {
    WaitingFileUtilities::waitingCopy(source, target, 0, 2);
    FAIL() << "nothing was thrown";
  } catch (const FileNameException& exception) {
    EXPECT_EQ(exception.getSource().toString(), source);
    EXPECT_EQ(exception.getTarget().toString(), target);
    EXPECT_EQ(exception.getErrorCode(), std::errc::no_such_file_or_directory);
  }
  EXPECT_EQ(TemporaryFolder::read(target), "old");
  m_folder.expectEntries(1);
  EXPECT_THROW(WaitingFileUtilities::waitingRename(source, target, 0, 1), FileNameException);
  EXPECT_THROW(WaitingFileUtilities::waitingRemove(source, 0, 1), FileNameException);
  EXPECT_EQ(TemporaryFolder::read(target), "old");
}

}  // namespace
