// Which operations of the service layer a job id calls, in which order, and what becomes of their answers.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>
#include <gtest/gtest.h>
#include <tests/support/ParsedDocument.h>
#include <tests/support/ScriptedValues.h>

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using Drelvan::GenericJobId;
using TestSupport::ParsedDocument;
using TestSupport::ScriptedValues;
using Calls = std::vector<std::string>;

class JobId : public GenericJobId {
 public:
  explicit JobId(const std::string& prefix) { setPrefixAndGenerateUniqueId(prefix); }
  JobId(const std::string& prefix, const std::string& uniqueId) { setPrefixAndUniqueId(prefix, uniqueId); }
};

class GenericJobIdServiceCallsContractTest : public testing::Test {
 protected:
  void SetUp() override { ScriptedValues::reset(); }
  void TearDown() override { ScriptedValues::reset(); }

  static GenericJobId read(std::string text) {
    std::string ignored;
    return GenericJobId::fromString(text, ignored);
  }

  /// The calls of `action` alone.
  static Calls callsOf(const std::function<void()>& action) {
    const std::size_t before = ScriptedValues::calls().size();
    action();
    const Calls all = ScriptedValues::calls();
    return {all.begin() + static_cast<std::ptrdiff_t>(before), all.end()};
  }
};

TEST_F(GenericJobIdServiceCallsContractTest, DefaultIdDrawsOneId) {
  const GenericJobId jobId;
  EXPECT_EQ(ScriptedValues::calls(), Calls{"generateId"});
  EXPECT_EQ(jobId.getUniqueId(), "drawn1");
  EXPECT_EQ(jobId.getName(), "Invalid_drawn1");
}

TEST_F(GenericJobIdServiceCallsContractTest, CopiesAndMovesDrawNone) {
  JobId jobId("Job", "given");
  EXPECT_EQ(callsOf([&] {
              GenericJobId copy(jobId);
              copy = jobId;
              const GenericJobId moved(std::move(copy));
            }),
            Calls());
}

TEST_F(GenericJobIdServiceCallsContractTest, ValidityChecksTheIdOnceAndOnlyBehindAGoodName) {
  const JobId good("Job", "short");
  EXPECT_EQ(callsOf([&] { EXPECT_TRUE(good.isValid()); }), (Calls{"UniqueID", "idCheckOK short", "~UniqueID"}));
  const JobId invalid("Invalid", "short");
  EXPECT_EQ(callsOf([&] { EXPECT_FALSE(invalid.isValid()); }), Calls());
}

TEST_F(GenericJobIdServiceCallsContractTest, ValidityIsTheChecksAnswer) {
  const JobId jobId("Job", "short");
  ScriptedValues::setIdsGood(false);
  EXPECT_FALSE(jobId.isValid());
}

TEST_F(GenericJobIdServiceCallsContractTest, NameWithoutSeparatorIsRefusedUnchecked) {
  const ParsedDocument document("<jobId/>");
  const GenericJobId jobId(document.root());
  ASSERT_EQ(jobId.getName(), "content of name");
  EXPECT_EQ(callsOf([&] { EXPECT_FALSE(jobId.isValid()); }), Calls());
}

TEST_F(GenericJobIdServiceCallsContractTest, ElementGivesTheIdBeforeTheName) {
  const ParsedDocument document("<jobId/>");
  EXPECT_EQ(callsOf([&] {
              const GenericJobId jobId(document.root());
              EXPECT_EQ(jobId.getUniqueId(), "content of id");
              EXPECT_EQ(jobId.getName(), "content of name");
            }),
            (Calls{"getElementContent id", "getElementContent name"}));
  EXPECT_EQ(callsOf([&] { GenericJobId(document.root(), document.root()); }), (Calls{"getContent", "getContent"}));
}

TEST_F(GenericJobIdServiceCallsContractTest, ReadTextDrawsOneIdThatIsDiscarded) {
  const Calls checked{"UniqueID", "idCheckOK 0123456789a", "~UniqueID", "generateId"};
  EXPECT_EQ(callsOf([&] { EXPECT_EQ(read("Job_0123456789#0123456789a").getUniqueId(), "0123456789a"); }), checked);
  EXPECT_EQ(callsOf([&] { EXPECT_EQ(read("Job_other67890#0123456789a").getUniqueId(), "drawn2"); }), checked);
}

TEST_F(GenericJobIdServiceCallsContractTest, RefusedTextGivesTheDrawnId) {
  EXPECT_EQ(callsOf([&] { EXPECT_EQ(read("Job").getUniqueId(), "drawn1"); }), Calls{"generateId"});
  ScriptedValues::setIdsGood(false);
  EXPECT_EQ(callsOf([&] { EXPECT_EQ(read("J#bad").getUniqueId(), "drawn2"); }),
            (Calls{"UniqueID", "idCheckOK bad", "~UniqueID", "generateId"}));
}

TEST_F(GenericJobIdServiceCallsContractTest, TooShortANameIsMetAfterTheCheckAndBeforeADraw) {
  EXPECT_EQ(callsOf([&] { EXPECT_THROW(read("J#0123456789a"), std::out_of_range); }),
            (Calls{"UniqueID", "idCheckOK 0123456789a", "~UniqueID"}));
}

TEST_F(GenericJobIdServiceCallsContractTest, WritersCallNothing) {
  const JobId jobId("a & b", "<id>");
  EXPECT_EQ(callsOf([&] {
              std::vector<std::string> arguments;
              jobId.toCmd(arguments);
              EXPECT_EQ(jobId.toXml("", ""), "<jobId>\n<id><id></id>\n<name>a & b_<id></name>\n</jobId>");
            }),
            Calls());
}

TEST_F(GenericJobIdServiceCallsContractTest, FailuresPassUnchanged) {
  const ParsedDocument document("<jobId/>");
  const JobId jobId("Job", "short");
  const struct {
    const char* failing;
    std::function<void()> action;
  } rows[] = {{"generateId", [] { const GenericJobId made; }},
              {"generateId", [] { read("Job"); }},
              {"generateId", [] { read("Job_0123456789#0123456789a"); }},
              {"UniqueID", [&] { static_cast<void>(jobId.isValid()); }},
              {"idCheckOK short", [&] { static_cast<void>(jobId.isValid()); }},
              {"idCheckOK x", [] { read("Job#x"); }},
              {"getElementContent id", [&] { GenericJobId(document.root()); }},
              {"getElementContent name", [&] { GenericJobId(document.root()); }},
              {"getContent", [&] { GenericJobId(document.root(), document.root()); }}};
  struct Failure {
    std::string call;
  };
  for (const auto& row : rows) {
    ScriptedValues::onCall([&](const std::string& call) {
      if (call == row.failing) {
        throw Failure{call};
      }
    });
    try {
      row.action();
      ADD_FAILURE() << row.failing << " did not pass";
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.call, row.failing);
    }
  }
}

}  // namespace
