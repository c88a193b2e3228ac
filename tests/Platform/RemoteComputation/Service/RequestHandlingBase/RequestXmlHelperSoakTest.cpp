// A hundred thousand failing and as many good parses leave the process as small as it was.

#include <gtest/gtest.h>
#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperFixture.h>
#include <tests/support/InputSources.h>
#include <tests/support/ResidentMemory.h>
#include <tests/support/Sanitized.h>

#include <functional>
#include <iostream>
#include <string>

namespace {

using Drelvan::DvExceptionNested;
using RequestXmlHelperTests::HelperTest;
using TestSupport::brokenDocument;
using TestSupport::Document;
using TestSupport::requestPackage;
using TestSupport::ScriptedSource;

// A sanitizer's own memory grows; it finds what is lost by itself.
constexpr bool c_measured = !TestSupport::c_sanitized;
constexpr int c_parses = TestSupport::c_sanitized ? 2000 : 100000;
constexpr long c_allowedKib = 1024;

class RequestXmlHelperSoak : public HelperTest {
 protected:
  /// Runs `parse` with as many numbers, after a tenth of them to warm up, and holds the growth against the limit.
  static void expectFlat(const std::function<void(int)>& parse, int parses = c_parses) {
    setUpParser();
    for (int index = 0; index < parses / 10; ++index) {
      parse(index);
      TestSupport::RecordingLog::clear();
    }
    const long before = TestSupport::residentKib();
    ASSERT_GT(before, 0);
    for (int index = 0; index < parses; ++index) {
      parse(index);
      TestSupport::RecordingLog::clear();
    }
    const long growth = TestSupport::residentKib() - before;
    std::cout << "growth over " << parses << " parses: " << growth << " KiB\n";
    RecordProperty("growth_kib", std::to_string(growth));
    if (c_measured) {
      EXPECT_LT(growth, c_allowedKib);
    }
    parseValid();
  }
};

TEST_F(RequestXmlHelperSoak, MemoryStaysFlatOverGoodPackages) {
  expectFlat([](int index) {
    const Document document(helper().parse(requestPackage().with("serial", std::to_string(index)).text()));
  });
}

TEST_F(RequestXmlHelperSoak, MemoryStaysFlatOverInvalidPackages) {
  expectFlat([](int index) {
    const std::string text = requestPackage().with("serial", "x" + std::to_string(index)).text();
    EXPECT_THROW(helper().parse(text), DvExceptionNested);
  });
}

TEST_F(RequestXmlHelperSoak, MemoryStaysFlatOverUndeclaredNames) {
  expectFlat([](int index) {
    const std::string name = "n" + std::to_string(index);
    const std::string text =
        requestPackage("<" + name + ":" + name + "/>").with("xmlns:" + name, "urn:" + name).with(name, name).text();
    EXPECT_THROW(helper().parse(text), DvExceptionNested);
  });
}

TEST_F(RequestXmlHelperSoak, MemoryStaysFlatOverTextThatIsNotWellFormed) {
  expectFlat([](int index) {
    const std::string text = requestPackage().with("serial", std::to_string(index)).text();
    EXPECT_THROW(helper().parse(text.substr(0, text.size() - 5)), DvExceptionNested);
    EXPECT_THROW(helper().parse(brokenDocument()), DvExceptionNested);
  });
}

TEST_F(RequestXmlHelperSoak, MemoryStaysFlatOverUnvalidatedDocuments) {
  expectFlat([](int index) {
    const ScriptedSource source(requestPackage().with("serial", "x" + std::to_string(index)).text());
    const Document document(helper().parse(source, false));
  });
}

TEST_F(RequestXmlHelperSoak, MemoryStaysFlatOverSourcesThatThrow) {
  // The parser starts over after an exception, which takes its time.
  expectFlat(
      [](int index) {
        const std::string text = requestPackage().with("serial", std::to_string(index)).text();
        const ScriptedSource source(text.substr(0, text.size() - 5), [] { throw 42; });
        EXPECT_THROW(helper().parse(source, index % 2 == 0), DvExceptionNested);
      },
      c_parses / 20);
}

}  // namespace
