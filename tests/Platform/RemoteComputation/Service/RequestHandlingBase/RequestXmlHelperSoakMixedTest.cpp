// Good and bad packages of every kind from eight threads at once: the same answer for the same package, no entry lost,
// and memory as small as at the start.

#include <service/Logging.h>
#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperHostileFixture.h>
#include <tests/support/ResidentMemory.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

namespace {

using RequestXmlHelperTests::c_instanceNamespace;
using RequestXmlHelperTests::c_sanitized;
using RequestXmlHelperTests::repeated;
using TestSupport::replyPackage;
using TestSupport::requestPackage;

std::atomic<std::size_t> s_entries{0};

constexpr std::size_t c_threads = 8;
/// The allocator keeps some memory for each thread.
constexpr long c_allowedKib = 8192;

/// A package and what comes of it.
struct Package {
  std::string text;
  std::string answer;
  std::size_t entries;
};

std::size_t packageCount() {
  const char* wanted = std::getenv("DV_TEST_SOAK_PACKAGES");
  return wanted != nullptr ? std::stoul(wanted) : c_sanitized ? 4000 : 20000;
}

/// The name of the root, or the message of the refusal.
std::string answerTo(const std::string& text) {
  try {
    const TestSupport::Document document(Drelvan::RequestXmlHelper::getInstance().parse(text));
    return TestSupport::rootName(document);
  } catch (const Drelvan::DvExceptionNested& exception) {
    return exception.getMessage();
  }
}

std::vector<std::string> texts(const std::string& number) {
  const std::string script = "<DV_RequestScript xmlns='" + TestSupport::c_targetNamespace + "'>";
  return {
      requestPackage().with("serial", number).text(),
      replyPackage().with("serial", number).text(),
      requestPackage().with("xmlns:p" + number, "urn:" + number).text(),
      script + repeated(TestSupport::request().text(), 50) + "</DV_RequestScript>",
      "<?xml version='1.1'?>" + requestPackage().text(),
      requestPackage().with("serial", "x" + number).text(),
      requestPackage().with("a" + number, "").text(),
      requestPackage("<e" + number + "/>").text(),
      requestPackage().without("clientId").text(),
      "<!DOCTYPE r" + number + "><r/>",
      "<evil" + number + " xmlns:t='" + TestSupport::c_targetNamespace + "' xmlns:xsi='" + c_instanceNamespace +
          "' xsi:type='t:Request' id='" + TestSupport::c_uid + "'/>",
      requestPackage().with("xmlns:xsi", c_instanceNamespace).with("xsi:schemaLocation", "urn:" + number + " f").text(),
      "<?xml version='1.2'?>" + requestPackage().text(),
      script + repeated("<n>", 60) + "&e" + number + ";",
      repeated("<a>", 40) + TestSupport::request().with("xmlns", TestSupport::c_targetNamespace).text(),
      "",
      "no package at all " + number,
  };
}

/// Packages of every kind in some numbers, each with its answer when nothing else happens.
std::vector<Package> knownPackages() {
  answerTo(requestPackage().text());  // sets the parser up, which has entries of its own
  std::vector<Package> result;
  for (int number = 0; number < 40; ++number) {
    for (const std::string& text : texts(std::to_string(number))) {
      const std::size_t before = s_entries;
      const std::string answer = answerTo(text);
      result.push_back({text, answer, s_entries - before});
    }
  }
  return result;
}

class RequestXmlHelperSoakMixed : public ::testing::Test {
 protected:
  void TearDown() override { Drelvan::RequestXmlHelper::reset(true); }

  /// Parses as many of the packages from all threads.
  void parseAll(const std::vector<Package>& packages, std::size_t count) {
    std::atomic<std::size_t> next{0};
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < c_threads; ++thread) {
      threads.emplace_back([&] {
        for (std::size_t index = next++; index < count; index = next++) {
          // Neighbours are of different kinds, and rounds meet in different order.
          const Package& package = packages[index * 7919 % packages.size()];
          m_wrongAnswers += answerTo(package.text) == package.answer ? 0U : 1U;
          m_expectedEntries += package.entries;
        }
      });
    }
    std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
  }

  std::atomic<std::size_t> m_wrongAnswers{0};
  std::atomic<std::size_t> m_expectedEntries{0};
};

TEST_F(RequestXmlHelperSoakMixed, SameAnswersNoLostEntryAndFlatMemory) {
  const std::vector<Package> packages = knownPackages();
  ASSERT_EQ(std::gcd(packages.size(), std::size_t{7919}), 1U) << "every package has its turn";
  const std::size_t entriesBefore = s_entries;
  parseAll(packages, packageCount() / 5);
  const long before = TestSupport::residentKib();
  parseAll(packages, packageCount());
  const long growth = TestSupport::residentKib() - before;
  std::cout << packageCount() << " packages, " << s_entries << " entries, growth " << growth << " KiB\n";
  RecordProperty("growth_kib", static_cast<int>(growth));
  EXPECT_EQ(m_wrongAnswers, 0U);
  EXPECT_EQ(s_entries - entriesBefore, m_expectedEntries);
  if (!c_sanitized) {
    EXPECT_LT(growth, c_allowedKib);
  }
}

}  // namespace

// The logging service of this program counts.
namespace Drelvan {

Logging::Logging(const std::string& name) : m_name(name) {}
Logging::~Logging() = default;
const std::string& Logging::getName() const { return m_name; }
void Logging::logTRACE(const std::string&, const char*, const char*, int) { ++s_entries; }
void Logging::logDEBUG(const std::string&, const char*, const char*, int) { ++s_entries; }
void Logging::logINFO(const std::string&, const char*, const char*, int) { ++s_entries; }
void Logging::logWARN(const std::string&, const char*, const char*, int) { ++s_entries; }
void Logging::logERROR(const std::string&, const char*, const char*, int) { ++s_entries; }

}  // namespace Drelvan
