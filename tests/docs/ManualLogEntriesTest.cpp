#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/WaitingFileUtilities.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <gtest/gtest.h>
#include <service/ExceptionHandling.h>
#include <tests/docs/Pages.h>
#include <tests/support/Documents.h>
#include <tests/support/InputSources.h>
#include <tests/support/Packages.h>
#include <tests/support/RecordingLogging.h>
#include <tests/support/ScriptedFiles.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace {

using Drelvan::RequestXmlHelper;
using Drelvan::WaitingFileUtilities;
using TestSupport::LogEntry;
using TestSupport::NoStreamSource;
using TestSupport::RecordingLog;
using TestSupport::ScriptedFiles;

/// A row of the table of entries: "…" in the text stands for anything.
struct Row {
  std::string level;
  std::string start;
  std::string end;

  bool matches(const LogEntry& entry) const {
    const std::string& text = entry.message;
    return entry.level == level && text.size() >= start.size() + end.size() &&
           text.compare(0, start.size(), start) == 0 && text.compare(text.size() - end.size(), end.size(), end) == 0;
  }
};

std::vector<Row> rows() {
  const std::string ellipsis = "…";
  std::vector<Row> result;
  for (const auto& cells : ManualTests::table(ManualTests::linesOfPage("operating.md"), "level | entry")) {
    const std::string& text = cells.at(1);
    const std::size_t gap = text.find(ellipsis);
    result.push_back(
        {cells.at(0), text.substr(0, gap), gap == std::string::npos ? "" : text.substr(gap + ellipsis.size())});
  }
  return result;
}

void expectFailure(const std::function<void()>& parse) { EXPECT_THROW(parse(), Drelvan::DvException); }

void parseEverything() {
  RequestXmlHelper& helper = RequestXmlHelper::getInstance();
  TestSupport::Document(helper.parse(TestSupport::requestPackage().text()));
  expectFailure([&] { helper.parse(TestSupport::undeclaredDocument()); });
  expectFailure([&] { helper.parse(TestSupport::brokenDocument()); });
  expectFailure([&] { helper.parse(std::string("<?xml version='1.2'?><DV_Request/>")); });
  expectFailure([&] { helper.parse(NoStreamSource([] { throw std::runtime_error("no stream"); }), true); });
  expectFailure([&] { helper.parse(NoStreamSource([] { throw 1; }), true); });
  ScriptedFiles::setExists(false);
  expectFailure([&] { helper.parseFile("missing.xml", true); });
  helper.addSchema(Drelvan::BaseRequestHandlingSchema());
  RequestXmlHelper::reset(true);
}

void endSessionBeforeDocument() {
  std::optional<Drelvan::ParserSession> session(std::in_place);
  const auto document = Drelvan::PackageDocument::fromText(TestSupport::requestPackage().text());
  session.reset();
}

void failWithFiles() {
  const auto tryThreeOperations = [] {
    expectFailure([] { WaitingFileUtilities::waitingCopy("a", "b", 0, 2); });
    expectFailure([] { WaitingFileUtilities::waitingRename("a", "b", 0, 2); });
    expectFailure([] { WaitingFileUtilities::waitingRemove("a", 0, 2); });
  };
  ScriptedFiles::onCall([](int) {
    throw Drelvan::FileNameException("copy", "a", "b", std::make_error_code(std::errc::text_file_busy), "", "", 0);
  });
  tryThreeOperations();
  ScriptedFiles::onCall([](int) { throw Drelvan::DvException("busy", "", "", "", 0); });
  tryThreeOperations();
  ScriptedFiles::reset();
}

/// Everything that the libraries log here.
const std::vector<LogEntry>& entries() {
  static const std::vector<LogEntry> all = [] {
    parseEverything();
    endSessionBeforeDocument();
    failWithFiles();
    return RecordingLog::take();
  }();
  return all;
}

TEST(ManualLogEntries, AreAllExplained) {
  const auto table = rows();
  ASSERT_GT(entries().size(), 20U);
  for (const LogEntry& entry : entries()) {
    EXPECT_TRUE(std::any_of(table.begin(), table.end(), [&](const Row& row) { return row.matches(entry); }))
        << entry.level << " " << entry.message;
  }
}

TEST(ManualLogEntries, ThatAreExplainedDoOccur) {
  // Only a failure or warning of Xerces-C causes these; the tests of the library provoke them.
  const std::set<std::string> rare{"XML warning at file ", "Error during Xerces-c initialization: ",
                                   "Error during Xerces-c termination: ", "XMLException parsing input: "};
  ASSERT_GT(rows().size(), 20U);
  for (const Row& row : rows()) {
    const bool occurs =
        std::any_of(entries().begin(), entries().end(), [&](const LogEntry& entry) { return row.matches(entry); });
    EXPECT_NE(occurs, rare.count(row.start) != 0) << row.level << " " << row.start;
  }
}

}  // namespace
