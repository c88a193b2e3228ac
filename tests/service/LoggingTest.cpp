#include <gtest/gtest.h>
#include <service/Logging.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>
#include <tests/support/Pattern.h>
#include <tests/support/Program.h>

#include <chrono>
#include <cstddef>
#include <ctime>
#include <iomanip>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using Drelvan::Logging;
using nlohmann::json;
using TestSupport::Pattern;
using TestSupport::ProgramRun;

using Environment = std::map<std::string, std::string>;

/// Runs the probe; what it writes at its very end is cut off.
ProgramRun probe(const std::string& scenario, const Environment& environment = {}, const std::string& input = {}) {
  Environment clean{{"DV_LOG_LEVEL", ""}, {"DV_LOG_FORMAT", ""}};
  for (const auto& [name, value] : environment) {
    clean[name] = value;
  }
  ProgramRun result = TestSupport::runProgram({LOGGING_PROBE, scenario}, {input, clean});
  EXPECT_EQ(result.exitCode, 0) << scenario << ": " << result.errors;
  return result;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    if (line.find("last words") == std::string::npos) {
      lines.push_back(line);
    }
  }
  return lines;
}

/// The text of an entry in the usual form, "L unit.cpp:3 text"; the line itself when it is not of that form.
std::string withoutTime(const std::string& line) {
  constexpr std::size_t timeLength = 24;
  static const Pattern form(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} [TDIWE] )");
  return form.matches(line.substr(0, timeLength + 2)) ? line.substr(timeLength) : "not an entry: " + line;
}

std::vector<std::string> entriesOf(const std::string& text) {
  std::vector<std::string> entries = linesOf(text);
  for (std::string& entry : entries) {
    entry = withoutTime(entry);
  }
  return entries;
}

using Lines = std::vector<std::string>;

const Lines c_allEntries{"T unit.cpp:1 a trace", "D unit.cpp:2 a debug", "I unit.cpp:3 an info", "W unit.cpp:4 a warn",
                         "E unit.cpp:5 an error"};

Lines lastEntries(std::ptrdiff_t count) { return {c_allEntries.end() - count, c_allEntries.end()}; }

static_assert(!std::is_copy_constructible_v<Logging> && !std::is_copy_assignable_v<Logging>);
static_assert(std::is_constructible_v<Logging, const std::string&>);

// ---- Levels ----

TEST(LoggingDefault, WritesInfoAndAboveToStandardError) {
  const ProgramRun result = probe("levels");
  EXPECT_EQ(entriesOf(result.errors), lastEntries(3));
  EXPECT_EQ(result.output, "");
}

TEST(LoggingLevel, IsSetByTheEnvironment) {
  const std::pair<const char*, std::ptrdiff_t> rows[] = {{"trace", 5}, {"debug", 4}, {"info", 3},
                                                         {"warn", 2},  {"error", 1}, {"off", 0}};
  for (const auto& [level, count] : rows) {
    const ProgramRun result = probe("levels", {{"DV_LOG_LEVEL", level}});
    EXPECT_EQ(entriesOf(result.errors), lastEntries(count)) << level;
    EXPECT_EQ(result.output, "") << level;
  }
}

TEST(LoggingLevel, IsReportedOnceAndIgnoredWhenUnknown) {
  for (const std::string level : {"verbose", "INFO", "warning", " info", "3"}) {
    const Lines lines = linesOf(probe("more loggers", {{"DV_LOG_LEVEL", level}}).errors);
    ASSERT_EQ(lines.size(), 3U) << level;
    EXPECT_EQ(lines[0],
              "DV_LOG_LEVEL: unknown value '" + level + "' ignored; use one of: trace, debug, info, warn, error, off");
    EXPECT_EQ(withoutTime(lines[1]), "I unit.cpp:3 second third");
    EXPECT_EQ(withoutTime(lines[2]), "I unit.cpp:4 from the third");
  }
}

TEST(LoggingFormat, IsReportedOnceAndIgnoredWhenUnknown) {
  const Lines lines = linesOf(probe("more loggers", {{"DV_LOG_FORMAT", "xml"}}).errors);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0], "DV_LOG_FORMAT: unknown value 'xml' ignored; use one of: text, json");
  EXPECT_EQ(withoutTime(lines[1]), "I unit.cpp:3 second third");
}

TEST(LoggingFormat, IsTextWhenAskedFor) {
  EXPECT_EQ(entriesOf(probe("levels", {{"DV_LOG_FORMAT", "text"}}).errors), lastEntries(3));
}

TEST(LoggingFormat, ReportsBothUnknownValues) {
  const Lines lines = linesOf(probe("nothing", {{"DV_LOG_FORMAT", "xml"}, {"DV_LOG_LEVEL", "loud"}}).errors);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].substr(0, 12), "DV_LOG_LEVEL");
  EXPECT_EQ(lines[1].substr(0, 13), "DV_LOG_FORMAT");
}

// ---- Text form ----

TEST(LoggingText, IndentsContinuationLines) {
  const std::string forged = "2026-01-01 00:00:00.000 E unit.cpp:1 forged";
  const struct {
    std::string message;
    Lines lines;
  } rows[] = {{"one", {"I unit.cpp:3 one"}},
              {"", {"I unit.cpp:3 "}},
              {"one\n" + forged, {"I unit.cpp:3 one", "    " + forged}},
              {"one\r" + forged, {"I unit.cpp:3 one", "    " + forged}},
              {"one\r\ntwo\r\n", {"I unit.cpp:3 one", "    two", "    "}},
              {"one\r\rtwo\n\rthree\r", {"I unit.cpp:3 one", "    ", "    two", "    ", "    three", "    "}},
              {"one\n\ntwo\n", {"I unit.cpp:3 one", "    ", "    two", "    "}},
              {"\n" + forged, {"I unit.cpp:3 ", "    " + forged}},
              {"one\n  two", {"I unit.cpp:3 one", "      two"}}};
  for (const auto& row : rows) {
    Lines lines = linesOf(probe("input", {}, row.message).errors);
    ASSERT_FALSE(lines.empty());
    lines[0] = withoutTime(lines[0]);
    EXPECT_EQ(lines, row.lines) << row.message;
  }
}

TEST(LoggingText, TakesEveryMessageLiterally) {
  for (const std::string message : {"{} {0} {:d} %v %n %s", "100 %", "back\\slash \"quotes\"", "\xC3\xA9\xFF"}) {
    EXPECT_EQ(entriesOf(probe("input", {}, message).errors), (Lines{"I unit.cpp:3 " + message}));
  }
}

TEST(LoggingText, WritesALongMessageCompletely) {
  const std::string message(3000000, 'x');
  EXPECT_EQ(entriesOf(probe("input", {}, message).errors), (Lines{"I unit.cpp:3 " + message}));
}

TEST(LoggingText, WritesAnEntryWithoutASourceLocation) {
  const Lines lines = linesOf(probe("nowhere").errors);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find("nowhere"), std::string::npos);
}

// ---- JSON form ----

json onlyObject(const std::string& text) {
  const Lines lines = linesOf(text);
  EXPECT_EQ(lines.size(), 1U);
  return json::parse(lines.empty() ? "" : lines[0]);
}

TEST(LoggingJson, WritesOneObjectALine) {
  const Lines lines = linesOf(probe("levels", {{"DV_LOG_FORMAT", "json"}, {"DV_LOG_LEVEL", "trace"}}).errors);
  ASSERT_EQ(lines.size(), 5U);
  const char* const levels[] = {"trace", "debug", "info", "warning", "error"};
  const char* const messages[] = {"a trace", "a debug", "an info", "a warn", "an error"};
  for (std::size_t index = 0; index < lines.size(); ++index) {
    const json object = json::parse(lines[index]);
    EXPECT_EQ(object.at("level"), levels[index]);
    EXPECT_EQ(object.at("message"), messages[index]);
    EXPECT_EQ(object.at("file"), "folder/unit.cpp");
    EXPECT_EQ(object.at("function"), "void __cdecl f(void)");
    EXPECT_EQ(object.at("line"), index + 1);
    EXPECT_TRUE(object.at("thread").is_number());
    EXPECT_TRUE(Pattern(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z)").matches(object.at("time").get<std::string>()))
        << object.at("time");
  }
}

std::string utcSeconds(std::chrono::system_clock::time_point time) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::ostringstream text;
  text << std::put_time(&parts, "%Y-%m-%dT%H:%M:%S");
  return text.str();
}

TEST(LoggingJson, TellsTheTimeInUtc) {
  const std::string before = utcSeconds(std::chrono::system_clock::now());
  const json object = onlyObject(probe("nowhere", {{"DV_LOG_FORMAT", "json"}, {"TZ", "XYZ-5:30"}}).errors);
  const std::string after = utcSeconds(std::chrono::system_clock::now());
  const std::string time = object.at("time").get<std::string>().substr(0, before.size());
  EXPECT_LE(before, time);
  EXPECT_LE(time, after);
}

TEST(LoggingJson, KeepsAnyTextInOneLine) {
  for (const std::string& message :
       {std::string("one\ntwo\r\nthree"), std::string("\"},{\"level\":\"error\""), std::string("\0\x01\x1F\x7F", 4),
        std::string("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), std::string("\xE2\x80\xA8"), std::string()}) {
    const json object = onlyObject(probe("input", {{"DV_LOG_FORMAT", "json"}}, message).errors);
    EXPECT_EQ(object.at("message"), message);
  }
}

TEST(LoggingJson, ReplacesBytesThatAreNotUtf8) {
  std::string everyByte;
  for (int byte = 0; byte < 256; ++byte) {
    everyByte += static_cast<char>(byte);
  }
  const json object = onlyObject(probe("input", {{"DV_LOG_FORMAT", "json"}}, everyByte).errors);
  const std::string message = object.at("message");
  EXPECT_EQ(message.substr(0, 128), everyByte.substr(0, 128));
  EXPECT_EQ(message.substr(128, 3), "\xEF\xBF\xBD");
  const json cut = onlyObject(probe("input", {{"DV_LOG_FORMAT", "json"}}, "a\xE2\x82").errors);
  EXPECT_EQ(cut.at("message"), "a\xEF\xBF\xBD");
}

TEST(LoggingJson, WritesAnEntryWithoutASourceLocation) {
  const json object = onlyObject(probe("nowhere", {{"DV_LOG_FORMAT", "json"}}).errors);
  EXPECT_EQ(object.at("file"), "");
  EXPECT_EQ(object.at("function"), "");
  EXPECT_EQ(object.at("line"), 0);
}

// ---- What the program sets ----

/// What the probe's own logger writes of its entries of all levels.
const Lines c_entriesOfTheProgram{"program|trace|a trace|folder/unit.cpp|1|void __cdecl f(void)",
                                  "program|debug|a debug|folder/unit.cpp|2|void __cdecl f(void)",
                                  "program|info|an info|folder/unit.cpp|3|void __cdecl f(void)",
                                  "program|warning|a warn|folder/unit.cpp|4|void __cdecl f(void)",
                                  "program|error|an error|folder/unit.cpp|5|void __cdecl f(void)"};

TEST(LoggingProgram, ReplacesTheLogger) {
  const ProgramRun result = probe("replaced logger", {{"DV_LOG_LEVEL", "error"}, {"DV_LOG_FORMAT", "json"}});
  EXPECT_EQ(linesOf(result.output), c_entriesOfTheProgram);
  EXPECT_EQ(result.errors, "");
}

TEST(LoggingProgram, ReplacesTheLoggerBeforeTheFirstLogging) {
  const ProgramRun result = probe("levels", {{"DV_LOG_LEVEL", "error"}, {"LOGGING_PROBE_REPLACES_FIRST", "yes"}});
  EXPECT_EQ(linesOf(result.output), c_entriesOfTheProgram);
  EXPECT_EQ(result.errors, "");
}

TEST(LoggingProgram, SetsTheLevel) {
  EXPECT_EQ(entriesOf(probe("level", {{"DV_LOG_LEVEL", "error"}}).errors), lastEntries(4));
}

TEST(LoggingProgram, SetsThePatternAndKeepsTheIndentation) {
  EXPECT_EQ(linesOf(probe("pattern").errors), (Lines{"<one", "    two>"}));
}

TEST(LoggingProgram, AddsASink) {
  const ProgramRun result = probe("sink");
  EXPECT_EQ(entriesOf(result.errors), (Lines{"I unit.cpp:3 both"}));
  EXPECT_EQ(linesOf(result.output), (Lines{"|info|both|folder/unit.cpp|3|void __cdecl f(void)"}));
}

TEST(LoggingProgram, MayTakeTheLoggerAway) {
  for (const char* scenario : {"no logger", "shut down"}) {
    const ProgramRun result = probe(scenario);
    EXPECT_EQ(result.errors, "") << scenario;
    EXPECT_EQ(result.output, "still here\n") << scenario;
  }
}

TEST(LoggingProgram, MayLogAtItsVeryEnd) {
  EXPECT_NE(probe("nothing").errors.find("unit.cpp:9 last words\n"), std::string::npos);
}

// ---- In this process ----

/// A sink that records the entries as they come.
class RecordingSink : public spdlog::sinks::base_sink<std::mutex> {
 public:
  std::vector<std::string> entries;

 protected:
  void sink_it_(const spdlog::details::log_msg& entry) override {
    entries.push_back(std::string(entry.payload.data(), entry.payload.size()) + "|" + entry.source.filename + "|" +
                      entry.source.funcname + "|" + std::to_string(entry.source.line));
  }
  void flush_() override {}
};

class FailingSink : public spdlog::sinks::base_sink<std::mutex> {
 protected:
  void sink_it_(const spdlog::details::log_msg&) override { throw spdlog::spdlog_ex("no space"); }
  void flush_() override {}
};

/// Puts the default logger back at the end of each test.
class LoggingInProcess : public ::testing::Test {
 protected:
  ~LoggingInProcess() override { spdlog::set_default_logger(m_before); }

  static void install(const std::shared_ptr<spdlog::sinks::sink>& sink) {
    auto logger = std::make_shared<spdlog::logger>("test", sink);
    logger->set_level(spdlog::level::trace);
    spdlog::set_default_logger(std::move(logger));
  }

  Logging m_logger{"the unit"};

 private:
  std::shared_ptr<spdlog::logger> m_before = spdlog::default_logger();
};

TEST_F(LoggingInProcess, PassesEntriesOnAtTheTimeOfTheCall) {
  const auto sink = std::make_shared<RecordingSink>();
  install(sink);
  m_logger.logTRACE("one", "file", "function", 7);
  EXPECT_EQ(sink->entries, (Lines{"one|file|function|7"}));
  m_logger.logERROR("two\n{}", nullptr, nullptr, -1);
  EXPECT_EQ(sink->entries, (Lines{"one|file|function|7", "two\n{}|||-1"}));
}

TEST_F(LoggingInProcess, KeepsItsName) {
  EXPECT_EQ(m_logger.getName(), "the unit");
  EXPECT_EQ(Logging("").getName(), "");
}

TEST_F(LoggingInProcess, LeavesFailingOutputToTheErrorHandler) {
  install(std::make_shared<FailingSink>());
  std::string reported;
  spdlog::default_logger()->set_error_handler([&](const std::string& text) { reported = text; });
  EXPECT_NO_THROW(m_logger.logINFO("lost", "file", "function", 1));
  EXPECT_NE(reported.find("no space"), std::string::npos);
}

TEST_F(LoggingInProcess, DoesNotReplaceAProgramsLoggerWhenALoggerIsMade) {
  const auto sink = std::make_shared<RecordingSink>();
  install(sink);
  Logging another("another");
  another.logINFO("one", "file", "function", 1);
  EXPECT_EQ(sink->entries.size(), 1U);
}

}  // namespace
