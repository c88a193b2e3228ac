// Eight threads on the one instance: no document and no log entry is lost or mixed up.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperFixture.h>
#include <tests/support/InputSources.h>
#include <tests/support/TemporaryFolder.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>
#include <xercesc/util/PlatformUtils.hpp>

namespace {

using Drelvan::DvExceptionNested;
using Drelvan::RequestXmlHelper;
using RequestXmlHelperTests::Entry;
using RequestXmlHelperTests::HelperTest;
using RequestXmlHelperTests::messageOf;
using RequestXmlHelperTests::takeEntries;
using TestSupport::Document;
using TestSupport::replyPackage;
using TestSupport::requestPackage;
using TestSupport::ScriptedSource;
namespace Signature = RequestXmlHelperTests::Signature;

constexpr int c_threads = 8;
constexpr int c_rounds = 60;
const std::string c_errors = "Errors occurred while parsing input: ";

/// Runs `work` with the number of the thread on eight threads that start together.
void onEightThreads(const std::function<void(int)>& work) {
  std::atomic<int> waiting{c_threads};
  std::vector<std::thread> threads;
  threads.reserve(c_threads);
  for (int number = 0; number < c_threads; ++number) {
    threads.emplace_back([&, number] {
      --waiting;
      while (waiting != 0) {
        std::this_thread::yield();
      }
      work(number);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

/// A name that no other parse uses.
std::string nameOf(int thread, int round) { return "t" + std::to_string(thread) + "r" + std::to_string(round) + "e"; }

std::string goodText(const std::string& name) { return requestPackage().with("origin", name).text(); }
/// Refused once, with a message that holds the name.
std::string wrongText(const std::string& name) { return requestPackage().with(name, "undeclared").text(); }
/// Refused twice: the root element is not declared, and not closed as it was opened. Both messages hold the name.
std::string brokenText(const std::string& name) { return "<" + name + "></other>"; }

void expectGood(const Document& document, const std::string& name) {
  EXPECT_EQ(TestSupport::attribute(document->getDocumentElement(), "origin"), name);
}

/// The message of the exception that `parse` must throw.
std::string failureOf(const std::function<xercesc_3_1::DOMDocument*()>& parse) {
  try {
    const Document unexpected(parse());
    ADD_FAILURE() << "a document where a failure was expected";
  } catch (const DvExceptionNested& exception) {
    EXPECT_EQ(exception.getGroup(), "RequestHandling");
    return exception.what();
  }
  return "";
}

/// Every parse operation once, on good and bad documents, with names of its own.
void parseEverything(RequestXmlHelper& helper, const TestSupport::TemporaryFolder& folder, int thread, int round) {
  const std::string name = nameOf(thread, round);
  expectGood(Document(helper.parse(goodText(name))), name);
  EXPECT_THAT(failureOf([&] { return helper.parse(wrongText(name)); }), ::testing::HasSubstr(name));

  std::string good = goodText(name);
  std::string broken = brokenText(name);
  expectGood(Document(helper.parse(good.data())), name);
  EXPECT_THAT(failureOf([&] { return helper.parse(broken.data()); }), ::testing::HasSubstr(name));

  const ScriptedSource wrong(wrongText(name), nullptr, name);
  EXPECT_THAT(failureOf([&] { return helper.parse(wrong, true); }), ::testing::HasSubstr(name));
  const Document unvalidated(helper.parse(wrong, false));
  EXPECT_TRUE(TestSupport::hasAttribute(unvalidated->getDocumentElement(), name));
  const ScriptedSource throwing(
      "", [] { throw 42; }, name);
  EXPECT_EQ(failureOf([&] { return helper.parse(throwing, thread % 2 == 0); }), "Unknown exception parsing input.");

  const std::string file = folder.write(name, goodText(name));
  expectGood(Document(helper.parseFile(file, true)), name);
  EXPECT_EQ(failureOf([&] { return helper.parseFile(file + "missing", true); }), "File doesn't exist.");
}

/// How often each entry was logged, by level and signature.
using Counts = std::map<std::pair<std::string, std::string>, int>;

Counts countsOf(const std::vector<Entry>& entries) {
  Counts counts;
  for (const Entry& entry : entries) {
    ++counts[{entry.level, entry.signature}];
  }
  return counts;
}

using RequestXmlHelperThreads = HelperTest;

TEST_F(RequestXmlHelperThreads, AllOperationsOnAllThreadsLeaveEveryEntry) {
  RequestXmlHelper& instance = helper();
  TestSupport::RecordingLog::clear();
  const TestSupport::TemporaryFolder folder;
  onEightThreads([&](int thread) {
    for (int round = 0; round < c_rounds; ++round) {
      parseEverything(instance, folder, thread, round);
    }
  });
  constexpr int all = c_threads * c_rounds;
  const Counts expected = {
      {{"TRACE", Signature::c_initParser}, 2},        {{"TRACE", Signature::c_parseString}, 2 * all},
      {{"TRACE", Signature::c_parseBuffer}, 2 * all}, {{"ERROR", Signature::c_parseString}, all},
      {{"ERROR", Signature::c_error}, 3 * all},       {{"ERROR", Signature::c_fatalError}, all},
      {{"DEBUG", Signature::c_parseSource}, 4 * all}, {{"WARN", Signature::c_parseFile}, all},
  };
  EXPECT_EQ(countsOf(takeEntries()), expected);
}

TEST_F(RequestXmlHelperThreads, ErrorAndFailureOfOneParseAreLoggedTogether) {
  RequestXmlHelper& instance = helper();
  setUpParser();
  onEightThreads([&](int thread) {
    for (int round = 0; round < c_rounds; ++round) {
      const std::string name = nameOf(thread, round);
      EXPECT_THROW(instance.parse(wrongText(name)), DvExceptionNested);
    }
  });
  const std::vector<Entry> entries = takeEntries();
  ASSERT_EQ(entries.size(), 5U * c_threads * c_rounds);
  // Other threads may log their inputs in between, but not their parses.
  std::vector<Entry> parses;
  for (const Entry& entry : entries) {
    if (entry.signature == Signature::c_error || entry.signature == Signature::c_parseSource) {
      parses.push_back(entry);
    }
  }
  ASSERT_EQ(parses.size(), 2U * c_threads * c_rounds);
  for (std::size_t index = 0; index < parses.size(); index += 2) {
    EXPECT_EQ(parses[index].signature, Signature::c_error);
    EXPECT_EQ(parses[index + 1].message, c_errors + messageOf(parses[index].message));
  }
}

TEST_F(RequestXmlHelperThreads, EntriesOfOneThreadStayInOrder) {
  RequestXmlHelper& instance = helper();
  setUpParser();
  onEightThreads([&](int thread) {
    for (int round = 0; round < c_rounds; ++round) {
      EXPECT_THROW(instance.parse(wrongText(nameOf(thread, round))), DvExceptionNested);
    }
  });
  const std::vector<Entry> entries = takeEntries();
  for (int thread = 0; thread < c_threads; ++thread) {
    std::vector<Entry> ofThread;
    for (const Entry& entry : entries) {
      if (entry.message.find("t" + std::to_string(thread) + "r") != std::string::npos) {
        ofThread.push_back(entry);
      }
    }
    ASSERT_EQ(ofThread.size(), 5U * c_rounds);
    for (int round = 0; round < c_rounds; ++round) {
      const Entry* five = &ofThread[5U * static_cast<std::size_t>(round)];
      const std::string text = wrongText(nameOf(thread, round));
      const std::string message = c_errors + messageOf(five[1].message);
      EXPECT_THAT(message, ::testing::HasSubstr(nameOf(thread, round)));
      EXPECT_EQ(five[0], (Entry{"TRACE", Signature::c_parseString, "Parser input:\n" + text}));
      EXPECT_EQ(five[2], (Entry{"DEBUG", Signature::c_parseSource, message}));
      EXPECT_EQ(five[3], (Entry{"TRACE", Signature::c_parseBuffer, "Input string:\n" + text}));
      EXPECT_EQ(five[4],
                (Entry{"ERROR", Signature::c_parseString, "Input parsing error: " + message + "\nInput:\n" + text}));
    }
  }
}

TEST_F(RequestXmlHelperThreads, FirstParsesSetTheParserUpOnce) {
  for (int life = 0; life < 10; ++life) {
    RequestXmlHelper& instance = helper();
    TestSupport::RecordingLog::clear();
    onEightThreads([&](int thread) {
      const std::string name = nameOf(thread, 0);
      if (thread % 2 == 0) {
        expectGood(Document(instance.parse(goodText(name))), name);
      } else {
        EXPECT_THROW(instance.parse(brokenText(name)), DvExceptionNested);
      }
    });
    EXPECT_TRUE(instance.isParserInitialized());
    EXPECT_EQ((countsOf(takeEntries())[{"TRACE", Signature::c_initParser}]), 2);
    RequestXmlHelper::reset(true);
  }
}

TEST_F(RequestXmlHelperThreads, FirstCallsCreateOneInstance) {
  for (int life = 0; life < 20; ++life) {
    std::vector<const RequestXmlHelper*> instances(c_threads);
    onEightThreads([&](int thread) { instances[static_cast<std::size_t>(thread)] = &RequestXmlHelper::getInstance(); });
    EXPECT_THAT(instances, ::testing::Each(instances.front()));
    const Counts expected = {{{"TRACE", Signature::c_constructor}, 1},
                             {{"TRACE", Signature::c_addSchema}, 1},
                             {{"TRACE", Signature::c_getInstance}, 1}};
    EXPECT_EQ(countsOf(takeEntries()), expected);
    RequestXmlHelper::reset(true);
    takeEntries();
  }
}

TEST_F(RequestXmlHelperThreads, ResetsEndOneInstance) {
  for (int life = 0; life < 20; ++life) {
    helper();
    takeEntries();
    onEightThreads([](int thread) { RequestXmlHelper::reset(thread % 2 == 0); });
    const Counts counts = countsOf(takeEntries());
    ASSERT_EQ(counts.size(), 1U);
    const auto& [what, count] = *counts.begin();
    EXPECT_EQ(what, (Counts::key_type{"INFO", Signature::c_reset}));
    EXPECT_LE(count, 2) << "one instance, and one platform when the reset that found it asked for that";
    if (count == 1) {
      xercesc_3_1::XMLPlatformUtils::Terminate();
    }
  }
}

TEST_F(RequestXmlHelperThreads, DocumentsMoveBetweenThreads) {
  RequestXmlHelper& instance = helper();
  std::vector<Document> documents(c_threads);
  onEightThreads([&](int thread) {
    documents[static_cast<std::size_t>(thread)].reset(instance.parse(goodText(nameOf(thread, 0))));
  });
  onEightThreads([&](int thread) {
    const int other = (thread + 1) % c_threads;
    const Document document(std::move(documents[static_cast<std::size_t>(other)]));
    expectGood(document, nameOf(other, 0));
    EXPECT_NO_THROW(Document(instance.parse(goodText(nameOf(thread, 1)))));
  });
}

/// While the entries of the overloads for strings and buffers are logged, other threads may parse.
TEST_F(RequestXmlHelperThreads, OverloadsLogOutsideTheLockOfTheParse) {
  setUpParser();
  std::atomic<bool> isNested{false};
  std::map<std::string, std::future_status> duringEntry;
  std::vector<std::future<void>> others;
  TestSupport::RecordingLog::onEntry([&](const TestSupport::LogEntry& entry) {
    const bool isOverload = entry.function == Signature::c_parseString || entry.function == Signature::c_parseBuffer;
    if (isOverload && !isNested.exchange(true)) {
      others.push_back(std::async(std::launch::async, [] { parseValid(); }));
      duringEntry[entry.message.substr(0, entry.message.find(':'))] = others.back().wait_for(std::chrono::seconds(20));
      isNested = false;
    }
  });
  failureOf([] { return helper().parse(wrongText("outside")); });
  TestSupport::RecordingLog::onEntry(nullptr);
  const auto parsed = std::future_status::ready;
  EXPECT_EQ(duringEntry, (std::map<std::string, std::future_status>{
                             {"Parser input", parsed}, {"Input string", parsed}, {"Input parsing error", parsed}}));
}

}  // namespace
