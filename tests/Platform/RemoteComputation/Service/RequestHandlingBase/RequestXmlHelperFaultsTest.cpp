#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <gtest/gtest.h>
#include <service/ExceptionHandling.h>
#include <service/FileHandling.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>
#include <sys/wait.h>
#include <tests/support/Documents.h>
#include <tests/support/FailingAllocations.h>
#include <tests/support/Packages.h>
#include <tests/support/TemporaryFolder.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <future>
#include <iostream>
#include <iterator>
#include <memory>
#include <new>
#include <ostream>
#include <string>
#include <vector>
#include <xercesc/util/OutOfMemoryException.hpp>

// Every allocation of an operation fails once, each in a process of its own. Afterwards no lock is held, the next
// parses behave, and nothing is left but what Xerces-C itself loses.

namespace {

using Drelvan::RequestXmlHelper;
using TestSupport::Document;
using TestSupport::FailingAllocations;
using Places = std::vector<std::string>;

// What the process of one failing allocation ends with.
constexpr int c_survived = 0;
constexpr int c_noFailureLeft = 10;
constexpr int c_endedByParserLibrary = 11;
constexpr int c_wrong = 12;

/// More than any of the operations makes.
constexpr std::size_t c_manyAllocations = 20000;

const std::string c_good = TestSupport::requestPackage().text();
const std::string c_invalid = TestSupport::requestPackage("<unknown/>").text();
const std::string c_broken = TestSupport::brokenDocument();

/// Operations of Xerces-C that lose memory when an allocation in them fails: they build without a guard.
const Places c_losingPlaces = {"AbstractDOMParser::initialize",
                               "AbstractDOMParser::useScanner",  // makes the scanner
                               "XMLGrammarPoolImpl::XMLGrammarPoolImpl",
                               "IGXMLScanner::loadXMLSchemaGrammar",  // compiles the schema
                               "IGXMLScanner::scanReset",             // begins a document; loses its stream too
                               "IGXMLScanner::scanStartTagNS",  // meets an element or attribute for the first time
                               "ValidationContextImpl::addId",  // keeps a value of the type ID or IDREF
                               "DOMImplementationImpl::createDocument",  // begins a document tree
                               "XMLStringPool::XMLStringPool",
                               "XMLStringPool::addNewEntry"};  // keeps a new name

/// Operations of Xerces-C in which a failing allocation ends the process: the first allocates in a
/// destructor, the second frees what it has not made yet.
const Places c_endingPlaces = {"ContentSpecNode::~ContentSpecNode", "ComplexTypeInfo::makeContentModel"};

bool holds(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

bool isOfParserLibrary(const std::string& place) { return holds(place, " in libxerces-c"); }

/// The function of a library that asked for the block, behind those that only hand memory out.
std::string origin(const Places& places) {
  const auto found = std::find_if(places.begin(), places.end(), [](const std::string& place) {
    return holds(place, " in lib") && !holds(place, " in libstdc++") && !holds(place, "operator new") &&
           !holds(place, "allocate");
  });
  return found == places.end() ? "?" : *found;
}

/// Whether one of the functions that led to a place is one of `operations`.
bool leadsThrough(const Places& places, const Places& operations) {
  return std::any_of(operations.begin(), operations.end(), [&](const std::string& operation) {
    return std::any_of(places.begin(), places.end(), [&](const std::string& place) { return holds(place, operation); });
  });
}

void report(const std::string& problem, const Places& places) {
  std::cerr << problem << '\n';
  for (const std::string& place : places) {
    std::cerr << "    " << place << '\n';
  }
}

/// Ends a process that Xerces-C has brought to its end.
[[noreturn]] void onCrash() {
  const Places places = FailingAllocations::failurePlaces();
  const bool known = leadsThrough(places, c_endingPlaces);
  if (!known) {
    report("the process ends after a failure at", places);
  }
  _exit(known ? c_endedByParserLibrary : c_wrong);
}

void onSignal(int) { onCrash(); }

/// Elements with values of the types ID and IDREF.
class IdsSchema final : public Drelvan::AbstractRequestSchema {
 public:
  IdsSchema() {
    m_schema = R"xsd(
<xs:element name="Ids">
  <xs:complexType>
    <xs:sequence maxOccurs="unbounded">
      <xs:element name="Id" type="xs:ID"/><xs:element name="IdRef" type="xs:IDREF"/>
    </xs:sequence>
  </xs:complexType>
</xs:element>)xsd";
  }
};
const std::string c_ids = "<Ids xmlns=\"" + TestSupport::c_targetNamespace +
                          "\"><Id>first</Id><IdRef>second</IdRef><Id>second</Id><IdRef>first</IdRef></Ids>";

void parseGood() { const Document document(RequestXmlHelper::getInstance().parse(c_good)); }

void parseIds() { const Document document(RequestXmlHelper::getInstance().parse(c_ids)); }

std::string failureOf(const std::string& text) {
  try {
    const Document unexpected(RequestXmlHelper::getInstance().parse(text));
    return "accepted";
  } catch (const Drelvan::DvExceptionNested& exception) {
    return exception.getMessage();
  }
}

/// What another thread sees: a good package passes, before and after a bad one is refused for its own reason.
std::string useFromAnotherThread() {
  try {
    parseGood();
    const std::string failure = failureOf(c_invalid);
    parseGood();
    return failure;
  } catch (const std::exception& exception) {
    return std::string("threw ") + exception.what();
  } catch (...) {
    return "threw";
  }
}

bool worksFromAnotherThread() {
  std::future<std::string> result = std::async(std::launch::async, useFromAnotherThread);
  if (result.wait_for(std::chrono::minutes(2)) != std::future_status::ready) {
    std::cerr << "a lock is still held\n";
    _exit(c_wrong);
  }
  const std::string failure = result.get();
  if (!holds(failure, "element 'unknown' is not allowed for content model")) {
    std::cerr << "the invalid package " << failure << '\n';
    return false;
  }
  return true;
}

bool lostNothingOfOurs(const std::vector<Places>& lost) {
  const bool failedInParserLibrary = isOfParserLibrary(origin(FailingAllocations::failurePlaces()));
  bool result = true;
  for (const Places& places : lost) {
    if (!failedInParserLibrary || !leadsThrough(places, c_losingPlaces)) {
      report("lost after a failure at " + origin(FailingAllocations::failurePlaces()), places);
      result = false;
    }
  }
  return result;
}

/// An operation under test, and what comes before it.
struct Operation {
  std::string name;
  std::function<void()> prepare;
  std::function<void()> run;

  friend std::ostream& operator<<(std::ostream& stream, const Operation& operation) { return stream << operation.name; }
};

void runWithFailure(const std::function<void()>& run, std::size_t successes) {
  FailingAllocations::failAfter(successes);
  try {
    run();
  } catch (const Drelvan::DvExceptionNested&) {
  } catch (const std::bad_alloc&) {
  } catch (const xercesc_3_1::OutOfMemoryException&) {
  }
}

/// Ends the process with what came of it.
[[noreturn]] void tryWithFailure(const Operation& operation, std::size_t successes) {
  std::set_terminate(onCrash);
  std::signal(SIGSEGV, onSignal);
  operation.prepare();
  FailingAllocations::beginTrace();
  runWithFailure(operation.run, successes);
  const bool failed = FailingAllocations::stop();
  FailingAllocations::pauseTrace();
  const bool works = worksFromAnotherThread();
  RequestXmlHelper::reset(true);
  const bool clean = lostNothingOfOurs(FailingAllocations::endTrace());
  _exit(!works || !clean ? c_wrong : failed ? c_survived : c_noFailureLeft);
}

int inAProcessOfItsOwn(const std::function<void()>& run) {
  std::cout.flush();
  const pid_t child = fork();
  if (child == 0) {
    run();
    _exit(c_wrong);
  }
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// 1, or what the environment says, for operations with thousands of allocations.
std::size_t strideFor(const Operation& operation) {
  const char* all = std::getenv("DV_TEST_ALL_ALLOCATIONS");
  return operation.name == "SetUp" && all == nullptr ? 31 : 1;
}

class RequestXmlHelperFaults : public ::testing::TestWithParam<Operation> {
 protected:
  void SetUp() override {
    auto logger = std::make_shared<spdlog::logger>("", std::make_shared<spdlog::sinks::null_sink_mt>());
    logger->set_level(spdlog::level::trace);
    spdlog::set_default_logger(std::move(logger));
  }
};

TEST_P(RequestXmlHelperFaults, EveryAllocationMayFail) {
  std::size_t failures = 0;
  std::size_t ends = 0;
  int result = c_survived;
  for (std::size_t successes = 0; result != c_noFailureLeft; successes += strideFor(GetParam())) {
    result = inAProcessOfItsOwn([&] { tryWithFailure(GetParam(), successes); });
    EXPECT_TRUE(result == c_survived || result == c_noFailureLeft || result == c_endedByParserLibrary)
        << "failed after " << successes << " allocations: " << result;
    ASSERT_LT(successes, c_manyAllocations) << "the operation never ends well";
    failures += result != c_noFailureLeft ? 1 : 0;
    ends += result == c_endedByParserLibrary ? 1 : 0;
  }
  EXPECT_GT(failures, 5U);
  RecordProperty("failures", static_cast<int>(failures));
  RecordProperty("ends", static_cast<int>(ends));
  const bool handlesContentModels = GetParam().name == "Reset" || GetParam().name == "SetUp";
  EXPECT_TRUE(ends == 0 || handlesContentModels) << ends;
}

/// A start of the platform that runs out of memory cannot be repeated, as Xerces-C counts it as done: here it
/// has been started before.
const auto c_startPlatform = [] {
  RequestXmlHelper::getInstance();
  RequestXmlHelper::reset(false);
};
const auto c_makeInstance = [] { RequestXmlHelper::getInstance(); };
const auto c_useIds = [] {
  RequestXmlHelper::getInstance().addSchema(IdsSchema());
  parseIds();
};

INSTANTIATE_TEST_SUITE_P(, RequestXmlHelperFaults,
                         ::testing::Values(Operation{"Instance", c_startPlatform, c_makeInstance},
                                           Operation{"Registration", c_makeInstance,
                                                     [] {
                                                       RequestXmlHelper::getInstance().addSchema(
                                                           Drelvan::BaseRequestHandlingSchema());
                                                     }},
                                           Operation{"SetUp", c_makeInstance, parseGood},
                                           Operation{"ValidPackage", parseGood, parseGood},
                                           Operation{"PackageWithIds", c_useIds, parseIds},
                                           Operation{"InvalidPackage", parseGood, [] { failureOf(c_invalid); }},
                                           Operation{"BrokenText", parseGood, [] { failureOf(c_broken); }},
                                           Operation{"Reset", parseGood, [] { RequestXmlHelper::reset(true); }}),
                         [](const auto& information) { return information.param.name; });

std::size_t openFiles() {
  const std::filesystem::directory_iterator files("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

/// Copies with one failing allocation; false when none was left to fail.
bool copyWithFailure(const Drelvan::FileName& source, const Drelvan::FileName& target, std::size_t successes) {
  FailingAllocations::beginTrace();
  FailingAllocations::failAfter(successes);
  bool threw = false;
  try {
    Drelvan::FileUtilities::copyFile(source, target);
  } catch (const std::bad_alloc&) {
    threw = true;
  }
  const bool failed = FailingAllocations::stop();
  EXPECT_TRUE(FailingAllocations::endTrace().empty()) << "after " << successes << " allocations";
  EXPECT_EQ(threw, failed) << "after " << successes << " allocations";
  return failed;
}

TEST(FileCopyFaults, EveryAllocationMayFail) {
  const TestSupport::TemporaryFolder folder;
  const std::string content(3U << 20U, 'n');
  const Drelvan::FileName source(folder.write("source", content));
  const Drelvan::FileName target(folder.write("target", "old"));
  const std::size_t open = openFiles();
  std::size_t failures = 0;
  while (copyWithFailure(source, target, failures)) {
    EXPECT_EQ(TestSupport::TemporaryFolder::read(target.toString()), "old") << "after " << failures << " allocations";
    folder.expectEntries(2);
    EXPECT_EQ(openFiles(), open) << "after " << failures << " allocations";
    ++failures;
  }
  EXPECT_GT(failures, 3U);
  EXPECT_EQ(TestSupport::TemporaryFolder::read(target.toString()), content);
  folder.expectEntries(2);
}

}  // namespace
