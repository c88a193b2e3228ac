// What the parser keeps of documents, and when it renews its scanner, counted in blocks of Xerces-C's memory manager.

#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperHostileFixture.h>
#include <tests/support/GuardedMemory.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <xercesc/util/PlatformUtils.hpp>

namespace {

using RequestXmlHelperTests::HostileTest;
using RequestXmlHelperTests::repeated;

TestSupport::GuardedMemory& memory() {
  static TestSupport::GuardedMemory& instance = *new TestSupport::GuardedMemory;
  return instance;
}

/// Starts the platform with the counting memory before the library can start it with its own.
class CountingPlatform final : public ::testing::Environment {
 public:
  void SetUp() override {
    xercesc_3_1::XMLPlatformUtils::Initialize(xercesc_3_1::XMLUni::fgXercescDefaultLocale, nullptr, nullptr, &memory());
  }
  void TearDown() override { xercesc_3_1::XMLPlatformUtils::Terminate(); }
};

::testing::Environment* const c_platform = ::testing::AddGlobalTestEnvironment(new CountingPlatform);

class RequestXmlHelperKeptMemory : public HostileTest {
 protected:
  static void expectFailure(const xercesc_3_1::InputSource& source, bool validate) {
    EXPECT_THROW(helper().parse(source, validate), Drelvan::DvExceptionNested);
    TestSupport::RecordingLog::clear();
  }
  static void expectFailure(const std::string& text, bool validate) {
    expectFailure(TestSupport::ScriptedSource(text), validate);
  }

  /// Repeated, `parse` leaves no block behind.
  template <typename Parse>
  static void expectNothingKept(Parse parse) {
    for (int round = 0; round < 3; ++round) {
      parse();
    }
    const std::size_t before = memory().blocks();
    for (int round = 0; round < 10; ++round) {
      parse();
    }
    EXPECT_EQ(memory().blocks(), before);
  }

  /// How many blocks a small document that fails takes.
  static std::size_t allocationsOfFailure() {
    const std::size_t before = memory().allocations();
    expectFailure(std::string("<r><e/></r>"), true);
    return memory().allocations() - before;
  }
};

TEST_F(RequestXmlHelperKeptMemory, HoldsNoDocumentThatWasReportedInvalid) {
  expectNothingKept([] { expectFailure(std::string("<r><e a='value'>text</e></r>"), true); });
}

TEST_F(RequestXmlHelperKeptMemory, HoldsNoDocumentThatIsNotWellFormed) {
  expectNothingKept([] { expectFailure(std::string("<r><e a='value'>text</r>"), false); });
}

TEST_F(RequestXmlHelperKeptMemory, HoldsNoDocumentThatExceedsALimit) {
  expectNothingKept([] { expectFailure(repeated("<e>", 1001), false); });
}

TEST_F(RequestXmlHelperKeptMemory, HoldsNoDocumentWhoseSourceThrows) {
  expectNothingKept([] {
    const TestSupport::ScriptedSource source("<r><e>text</e>", [] { throw std::runtime_error("gone"); });
    expectFailure(source, true);
  });
}

TEST_F(RequestXmlHelperKeptMemory, HoldsNoDocumentThatTheCallerHasReleased) { expectNothingKept(parseValid); }

TEST_F(RequestXmlHelperKeptMemory, IsFreedByOneRenewalAfterALargeFailure) {
  const std::size_t usual = (allocationsOfFailure(), allocationsOfFailure());
  const std::size_t before = memory().allocations();
  expectFailure("<r>" + std::string(std::size_t{5} << 20U, 'x') + "</r>", true);
  EXPECT_GT(memory().allocations() - before, 10 * usual) << "no new scanner";
  allocationsOfFailure();
  EXPECT_LT(allocationsOfFailure(), 2 * usual) << "one new scanner after the other";
}

}  // namespace
