// The reader that explains refused documents finds what the library finds, and its report accounts for all of it.

#include <gtest/gtest.h>
#include <tests/support/ReaderComparison.h>
#include <tests/support/TemporaryFolder.h>
#include <tests/tools/Program.h>
#include <tools/dvrequest/support/Terminal.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

using TestSupport::TemporaryFolder;

std::vector<std::string> filesBelow(const std::string& folder) {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    files.push_back(entry.path().string());
  }
  return files;
}

class Agreement : public testing::TestWithParam<bool> {
 protected:
  Agreement() : m_comparison({TestSupport::fragment()}) { DvRequest::silenceLog(); }

  void expectAgreement(const std::string& file) {
    EXPECT_EQ(m_comparison.differenceOf(TemporaryFolder::read(file), GetParam()), "") << file;
  }

 private:
  TestSupport::ReaderComparison m_comparison;
};

TEST_P(Agreement, OnTheExamplePackages) {
  for (const std::string& name : TestSupport::allPackages()) {
    expectAgreement(TestSupport::package(name));
  }
}

TEST_P(Agreement, OnTheSeedsOfTheFuzzTarget) {
  const auto files = filesBelow(FUZZ_SEEDS);
  ASSERT_GT(files.size(), 50U);
  for (const std::string& file : files) {
    expectAgreement(file);
  }
}

TEST_P(Agreement, OnDocumentsReadAgain) {
  for (int round = 0; round < 2; ++round) {
    expectAgreement(std::string(FUZZ_SEEDS) + "/version-1.1");
    expectAgreement(std::string(FUZZ_SEEDS) + "/found-type-of-element-met-before");
    expectAgreement(TestSupport::package("bad-unknown-element.xml"));
  }
}

INSTANTIATE_TEST_SUITE_P(Validation, Agreement, testing::Bool());

}  // namespace
