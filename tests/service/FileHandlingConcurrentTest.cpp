#include <gtest/gtest.h>
#include <service/FileHandling.h>
#include <sys/stat.h>
#include <tests/service/Unprivileged.h>
#include <tests/support/TemporaryFolder.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace {

using Drelvan::FileNameException;
using Drelvan::FileUtilities;
using TestSupport::TemporaryFolder;
using TestSupport::Unprivileged;

constexpr std::size_t c_size = std::size_t{2} << 20U;

template <typename Work>
std::vector<std::thread> startThreads(int count, Work work) {
  std::vector<std::thread> threads;
  for (int index = 0; index < count; ++index) {
    threads.emplace_back(work, index);
  }
  return threads;
}

void joinAll(std::vector<std::thread>& threads) {
  for (std::thread& thread : threads) {
    thread.join();
  }
}

/// Whether `content` is wholly that of one source: all one letter, in the length that belongs to it.
bool isWhole(const std::string& content) {
  return !content.empty() && content.size() == c_size + static_cast<std::size_t>(content.front()) &&
         content.find_first_not_of(content.front()) == std::string::npos;
}

class FileUtilitiesConcurrent : public ::testing::Test {
 protected:
  std::string writeSource(char letter) const {
    return m_folder.write(std::string("source ") + letter,
                          std::string(c_size + static_cast<std::size_t>(letter), letter));
  }

  /// Several threads copy to one target while others read it; returns how many reads there were.
  int copyAndRead(const std::vector<std::string>& sources) const {
    const std::string target = m_folder.file("target");
    FileUtilities::copyFile(sources.front(), target);
    std::atomic<bool> done{false};
    std::atomic<int> reads{0};
    auto readers = startThreads(2, [&](int) {
      while (!done) {
        const std::string content = TemporaryFolder::read(target);
        ASSERT_TRUE(isWhole(content)) << content.size() << " bytes";
        ++reads;
      }
    });
    auto writers = startThreads(static_cast<int>(sources.size()), [&](int index) {
      for (int round = 0; round < 15; ++round) {
        EXPECT_NO_THROW(FileUtilities::copyFile(sources[static_cast<std::size_t>(index)], target));
      }
    });
    joinAll(writers);
    done = true;
    joinAll(readers);
    EXPECT_TRUE(isWhole(TemporaryFolder::read(target)));
    return reads;
  }

  TemporaryFolder m_folder;
};

TEST_F(FileUtilitiesConcurrent, CopiesToOneTargetNeverMix) {
  const std::vector<std::string> sources{writeSource('a'), writeSource('b'), writeSource('c'), writeSource('d')};
  EXPECT_GT(copyAndRead(sources), 0);
  m_folder.expectEntries(5);
}

TEST_F(FileUtilitiesConcurrent, CopiesOfReadOnlySourcesNeverMix) {
  const std::vector<std::string> sources{writeSource('a'), writeSource('b'), writeSource('c'), writeSource('d')};
  for (const std::string& source : sources) {
    ASSERT_EQ(::chmod(source.c_str(), 0444), 0);
  }
  const Unprivileged scope(m_folder.path());
  if (!scope.inForce()) {
    GTEST_SKIP() << "the superuser's rights cannot be given up here";
  }
  EXPECT_GT(copyAndRead(sources), 0);
  m_folder.expectEntries(5);
}

TEST_F(FileUtilitiesConcurrent, CopiesToDifferentTargetsStayApart) {
  const std::vector<std::string> sources{writeSource('a'), writeSource('b'), writeSource('c'), writeSource('d')};
  auto threads = startThreads(static_cast<int>(sources.size()), [&](int index) {
    const std::string target = m_folder.file("target " + std::to_string(index));
    for (int round = 0; round < 5; ++round) {
      FileUtilities::copyFile(sources[static_cast<std::size_t>(index)], target);
    }
    EXPECT_EQ(TemporaryFolder::read(target), TemporaryFolder::read(sources[static_cast<std::size_t>(index)]));
  });
  joinAll(threads);
  m_folder.expectEntries(8);
}

TEST_F(FileUtilitiesConcurrent, VanishingSourceIsCopiedWholeOrNotAtAll) {
  const std::string target = m_folder.file("target");
  for (int round = 0; round < 40; ++round) {
    const std::string source = writeSource(round % 2 == 0 ? 'a' : 'b');
    std::thread remover([&] { FileUtilities::remove(source); });
    bool copied = true;
    try {
      FileUtilities::copyFile(source, target);
    } catch (const FileNameException& exception) {
      copied = false;
      EXPECT_EQ(exception.getErrorCode(), std::errc::no_such_file_or_directory);
    }
    remover.join();
    EXPECT_EQ(FileUtilities::exists(target, true), copied);
    if (copied) {
      ASSERT_TRUE(isWhole(TemporaryFolder::read(target)));
      FileUtilities::remove(target);
    }
    m_folder.expectEntries(0);
  }
}

TEST_F(FileUtilitiesConcurrent, OneOfManyRemovalsAndRenamesSucceeds) {
  for (int round = 0; round < 50; ++round) {
    const std::string file = m_folder.write("file", "content");
    std::atomic<int> succeeded{0};
    auto threads = startThreads(4, [&](int index) {
      try {
        if (index % 2 == 0) {
          FileUtilities::remove(file);
        } else {
          FileUtilities::rename(file, m_folder.file("renamed"));
        }
        ++succeeded;
      } catch (const FileNameException& exception) {
        EXPECT_EQ(exception.getErrorCode(), std::errc::no_such_file_or_directory);
      }
    });
    joinAll(threads);
    EXPECT_EQ(succeeded, 1);
    EXPECT_FALSE(FileUtilities::exists(file, false));
  }
}

}  // namespace
