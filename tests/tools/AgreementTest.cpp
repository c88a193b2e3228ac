// The reader that explains refused documents finds what the library finds.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/PackageErrors.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <gtest/gtest.h>
#include <service/ExceptionHandling.h>
#include <tests/support/TemporaryFolder.h>
#include <tests/tools/Program.h>
#include <tools/dvrequest/check/Checker.h>
#include <tools/dvrequest/check/Fragments.h>
#include <tools/dvrequest/support/Terminal.h>

#include <exception>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>
#include <xercesc/framework/MemBufInputSource.hpp>

namespace {

using namespace DvRequest;
using TestSupport::TemporaryFolder;

/// Takes down what is read.
class Recorder final : public ReadHandler {
 public:
  void start(const ReadElement&, const std::vector<ReadError>& errors) override { record(errors); }
  void end(std::size_t, const std::string&, const std::vector<ReadError>& errors) override { record(errors); }
  void error(const ReadError& error) override { record({error}); }

  std::vector<std::string> m_messages;

 private:
  void record(const std::vector<ReadError>& errors) {
    for (const ReadError& error : errors) {
      m_messages.push_back(error.problem.message);
    }
  }
};

std::vector<std::string> filesBelow(const std::string& folder) {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    files.push_back(entry.path().string());
  }
  return files;
}

/// Whether the reports differ in order or number, with the same verdict, on this seed when it is validated: the library
/// ends at the start tag with too many namespace declarations, where the tool reports what else is wrong with the tag;
/// and Xerces-C's two scanners report in another order what is wrong with one tag.
bool differsInReports(const std::string& file) {
  const std::set<std::string> seeds = {"namespaces-of-an-element", "grown-24", "grown-26"};
  return seeds.count(std::filesystem::path(file).filename().string()) != 0;
}

class Agreement : public testing::TestWithParam<bool> {
 protected:
  Agreement()
      : m_fragments({TestSupport::fragment()}),
        m_session(m_fragments.get()),
        m_schema(m_fragments.combined()),
        m_reader(m_schema) {
    silenceLog();
  }

  /// The errors of the library; nothing when it refuses the document with an exception of its parser.
  std::optional<Drelvan::PackageErrors> parse(const std::string& content) {
    const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(content.data()), content.size(), "s");
    try {
      Drelvan::PackageDocument::fromSource(source, GetParam());
      return Drelvan::PackageErrors({}, 0);
    } catch (const Drelvan::DvExceptionNested& failure) {
      try {
        std::rethrow_exception(failure.getNested());
      } catch (const Drelvan::PackageErrors& errors) {
        return errors;
      } catch (const std::exception&) {
        return std::nullopt;
      }
    }
  }

  void expectAgreement(const std::string& file) {
    const std::string content = TemporaryFolder::read(file);
    const auto errors = parse(content);
    if (!errors) {
      return;
    }
    std::vector<std::string> messages;
    Place last;
    for (const auto& report : errors->getReports()) {
      messages.push_back(report.message);
      last = {static_cast<long>(report.line), static_cast<long>(report.column)};
    }
    const bool isComplete = messages.size() == errors->getCount();
    Recorder recorder;
    m_reader.read(SourceText(content), GetParam(), {errors->getCount(), isComplete ? last : Place()}, recorder);
    if (!messages.empty() && isComplete && isRefusal(messages.back())) {
      messages.pop_back();
    }
    if (!isComplete) {
      EXPECT_LE(recorder.m_messages.size(), errors->getCount()) << file;
      recorder.m_messages.resize(messages.size());
    }
    if (GetParam() && differsInReports(file)) {
      EXPECT_NE(errors->getCount(), 0U) << file;
      EXPECT_FALSE(recorder.m_messages.empty()) << file;
      return;
    }
    EXPECT_EQ(recorder.m_messages, messages) << file;
  }

  /// Whether the message is the library's own, not one of Xerces-C.
  static bool isRefusal(const std::string& message) { return message.back() == '.'; }

 private:
  const Fragments m_fragments;
  const Drelvan::ParserSession m_session;
  SchemaModel m_schema;
  PackageReader m_reader;
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
