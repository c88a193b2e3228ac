// What the parser keeps of documents, and when it renews its scanner, counted in blocks of Xerces-C's memory manager.

#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperHostileFixture.h>
#include <tests/support/GuardedMemory.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/RuntimeException.hpp>

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

  /// How many blocks a call takes, those that it frees included.
  template <typename Call>
  static std::size_t allocationsOf(Call call) {
    const std::size_t before = memory().allocations();
    call();
    return memory().allocations() - before;
  }

  /// How many blocks a small document that fails takes.
  static std::size_t allocationsOfFailure() {
    return allocationsOf([] { expectFailure(std::string("<r><e/></r>"), true); });
  }

  /// A document that exceeds a limit after so many bytes.
  static std::size_t allocationsOfExcess(std::size_t bytes) {
    return allocationsOf([&] { expectFailure("<r>" + std::string(bytes, 'x') + repeated("<e>", 1001), false); });
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

TEST_F(RequestXmlHelperKeptMemory, HoldsNoDocumentOfAnUnknownVersion) {
  expectNothingKept([] { expectFailure(std::string("<?xml version='1.2'?><r><e a='value'>text</e></r>"), true); });
}

TEST_F(RequestXmlHelperKeptMemory, HoldsNoDocumentAfterAnExceptionOfXerces) {
  expectNothingKept([] {
    const TestSupport::ScriptedSource source("<r><e>text</e>", [] {
      throw xercesc_3_1::DOMException(xercesc_3_1::DOMException::HIERARCHY_REQUEST_ERR, 0, &memory());
    });
    expectFailure(source, true);
  });
  // The parser itself takes a source's XMLException for an error of the document.
  throwAtEntry("XML fatal error", xercesc_3_1::RuntimeException(
                                      __FILE__, __LINE__, xercesc_3_1::XMLExcepts::Gen_ParseInProgress, &memory()));
  expectNothingKept([] { expectFailure(std::string("<r><e a='value'>text</r>"), false); });
}

TEST_F(RequestXmlHelperKeptMemory, HoldsNoNamesOfUndeclaredElements) {
  int number = 100;
  expectNothingKept([&] {
    const std::string name = "n" + std::to_string(++number);
    expectAccepted("<Open xmlns='" + TestSupport::c_targetNamespace + "'><" + name + " xmlns=''/></Open>", true);
    expectAccepted("<r><" + name + "/></r>", false);
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

TEST_F(RequestXmlHelperKeptMemory, IsFreedByARenewalAfterAnExcessOf64Kilobytes) {
  const std::size_t usual = (allocationsOfFailure(), allocationsOfFailure());
  const std::size_t small = (allocationsOfExcess(1000), allocationsOfExcess(1000));
  EXPECT_LT(allocationsOfExcess(10000), small + 5 * usual);
  EXPECT_GT(allocationsOfExcess(std::size_t{65} << 10U), small + 5 * usual) << "no new scanner";
  EXPECT_LT(allocationsOfExcess(1000), small + 5 * usual) << "one new scanner after the other";
}

TEST_F(RequestXmlHelperKeptMemory, IsFreedByARenewalAfter64MegabytesOfGoodDocuments) {
  const std::string document = "<r>" + std::string(std::size_t{8} << 20U, 'x') + "</r>";
  const auto parseLarge = [&] { expectAccepted(document, false); };
  const std::size_t usual = allocationsOfFailure();
  const std::size_t before = (allocationsOf(parseLarge), allocationsOf(parseLarge));
  int renewals = 0;
  for (int round = 0; round < 9; ++round) {
    renewals += allocationsOf(parseLarge) > before + 5 * usual ? 1 : 0;
  }
  EXPECT_EQ(renewals, 1);
}

}  // namespace
