#include <service/Logging.h>
#include <spdlog/fmt/fmt.h>
#include <spdlog/formatter.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/ansicolor_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>

namespace Drelvan {

namespace {

constexpr const char* c_textPattern = "%Y-%m-%d %H:%M:%S.%e %^%L%$ %s:%# %v";
constexpr std::string_view c_indentation = "    ";

bool contains(spdlog::string_view_t text, char character) {
  return std::memchr(text.data(), character, text.size()) != nullptr;
}

bool hasContinuationLines(spdlog::string_view_t text) { return contains(text, '\n') || contains(text, '\r'); }

const char* endOfLine(const char* begin, const char* end, bool hasReturns) {
  if (hasReturns) {
    return std::find_if(begin, end, [](char character) { return character == '\n' || character == '\r'; });
  }
  const void* feed = std::memchr(begin, '\n', static_cast<std::size_t>(end - begin));
  return feed == nullptr ? end : static_cast<const char*>(feed);
}

/// The number of characters that end a line there; a carriage return and the line feed after it are one line end.
std::size_t lengthOfLineEnd(const char* begin, const char* end) {
  return *begin == '\r' && begin + 1 != end && begin[1] == '\n' ? 2 : 1;
}

/// Appends whole lines and rarely allocates twice: entries with rejected inputs can have many megabytes.
std::string indentContinuationLines(spdlog::string_view_t text) {
  const bool hasReturns = contains(text, '\r');
  std::string result;
  result.reserve(text.size() + text.size() / 8 + c_indentation.size());
  const char* place = text.begin();
  while (place != text.end()) {
    const char* end = endOfLine(place, text.end(), hasReturns);
    result.append(place, end);
    if (end != text.end()) {
      result.append(1, '\n').append(c_indentation);
      end += lengthOfLineEnd(end, text.end());
    }
    place = end;
  }
  return result;
}

/// Formats as `inner` does, with the continuation lines of the message indented.
class IndentingFormatter final : public spdlog::formatter {
 public:
  explicit IndentingFormatter(std::unique_ptr<spdlog::formatter> inner) : m_inner(std::move(inner)) {}

  void format(const spdlog::details::log_msg& entry, spdlog::memory_buf_t& destination) override {
    if (!hasContinuationLines(entry.payload)) {
      m_inner->format(entry, destination);
      return;
    }
    const std::string indented = indentContinuationLines(entry.payload);
    spdlog::details::log_msg copy(entry);
    copy.payload = indented;
    m_inner->format(copy, destination);
    entry.color_range_start = copy.color_range_start;
    entry.color_range_end = copy.color_range_end;
  }

  std::unique_ptr<spdlog::formatter> clone() const override {
    return std::make_unique<IndentingFormatter>(m_inner->clone());
  }

 private:
  std::unique_ptr<spdlog::formatter> m_inner;
};

std::string utcTime(spdlog::log_clock::time_point time) {
  const auto sinceEpoch = time.time_since_epoch();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
  const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch - seconds);
  const std::time_t whole = seconds.count();
  std::tm parts{};
  gmtime_r(&whole, &parts);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:06}Z", parts.tm_year + 1900, parts.tm_mon + 1,
                     parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec, micros.count());
}

/// One JSON object per line.
class JsonFormatter final : public spdlog::formatter {
 public:
  void format(const spdlog::details::log_msg& entry, spdlog::memory_buf_t& destination) override {
    const auto level = spdlog::level::to_string_view(entry.level);
    nlohmann::ordered_json object;
    object["time"] = utcTime(entry.time);
    object["level"] = std::string(level.data(), level.size());
    object["thread"] = entry.thread_id;
    object["file"] = entry.source.filename == nullptr ? "" : entry.source.filename;
    object["line"] = entry.source.line;
    object["function"] = entry.source.funcname == nullptr ? "" : entry.source.funcname;
    object["message"] = std::string(entry.payload.data(), entry.payload.size());
    const std::string line = object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    destination.append(line.data(), line.data() + line.size());
    destination.push_back('\n');
  }

  std::unique_ptr<spdlog::formatter> clone() const override { return std::make_unique<JsonFormatter>(); }
};

/// Standard error; whatever formatter a program sets, continuation lines of a message are indented.
class StandardErrorSink final : public spdlog::sinks::sink {
 public:
  StandardErrorSink() { StandardErrorSink::set_pattern(c_textPattern); }

  void log(const spdlog::details::log_msg& entry) override { m_output.log(entry); }
  void flush() override { m_output.flush(); }

  void set_pattern(const std::string& pattern) override {
    set_formatter(std::make_unique<spdlog::pattern_formatter>(pattern));
  }

  void set_formatter(std::unique_ptr<spdlog::formatter> formatter) override {
    m_output.set_formatter(std::make_unique<IndentingFormatter>(std::move(formatter)));
  }

 private:
  spdlog::sinks::stderr_color_sink_mt m_output;
};

void reportUnknown(const char* variable, const std::string& value, const char* known) {
  // NOLINTNEXTLINE(cert-err33-c): where this fails there is nowhere left to say so.
  std::fprintf(stderr, "%s: unknown value '%s' ignored; use one of: %s\n", variable, value.c_str(), known);
}

std::string environment(const char* variable) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the environment is read once, when the library is loaded.
  const char* value = std::getenv(variable);
  return value == nullptr ? std::string() : std::string(value);
}

spdlog::level::level_enum levelFromEnvironment() {
  const std::string value = environment("DV_LOG_LEVEL");
  if (value == "trace") return spdlog::level::trace;
  if (value == "debug") return spdlog::level::debug;
  if (value == "warn") return spdlog::level::warn;
  if (value == "error") return spdlog::level::err;
  if (value == "off") return spdlog::level::off;
  if (!value.empty() && value != "info") {
    reportUnknown("DV_LOG_LEVEL", value, "trace, debug, info, warn, error, off");
  }
  return spdlog::level::info;
}

bool jsonFromEnvironment() {
  const std::string value = environment("DV_LOG_FORMAT");
  if (!value.empty() && value != "text" && value != "json") {
    reportUnknown("DV_LOG_FORMAT", value, "text, json");
  }
  return value == "json";
}

spdlog::sink_ptr standardErrorAsJson() {
  auto sink = std::make_shared<spdlog::sinks::stderr_color_sink_mt>();
  sink->set_formatter(std::make_unique<JsonFormatter>());
  return sink;
}

/// Whether the program has not replaced the logger that spdlog starts with.
bool isInitialLogger(const spdlog::logger& logger) {
  return logger.name().empty() && logger.sinks().size() == 1 &&
         dynamic_cast<spdlog::sinks::stdout_color_sink_mt*>(logger.sinks().front().get()) != nullptr;
}

void installDefaultLogger() {
  const auto current = spdlog::default_logger();
  if (current == nullptr || !isInitialLogger(*current)) {
    return;
  }
  const auto level = levelFromEnvironment();
  const spdlog::sink_ptr sink = jsonFromEnvironment() ? standardErrorAsJson() : std::make_shared<StandardErrorSink>();
  auto logger = std::make_shared<spdlog::logger>("", sink);
  logger->set_level(level);
  spdlog::set_default_logger(std::move(logger));
}

void write(spdlog::level::level_enum level, const std::string& message, const char* file, const char* function,
           int line) {
  const std::shared_ptr<spdlog::logger> logger = spdlog::default_logger();
  if (logger == nullptr) {
    return;
  }
  const spdlog::source_loc place(file == nullptr ? "" : file, line, function == nullptr ? "" : function);
  logger->log(place, level, spdlog::string_view_t(message.data(), message.size()));
}

}  // namespace

Logging::Logging(const std::string& name) : m_name(name) {
  static std::once_flag installed;
  std::call_once(installed, installDefaultLogger);
}

Logging::~Logging() = default;

void Logging::logTRACE(const std::string& message, const char* file, const char* function, int line) {
  write(spdlog::level::trace, message, file, function, line);
}

void Logging::logDEBUG(const std::string& message, const char* file, const char* function, int line) {
  write(spdlog::level::debug, message, file, function, line);
}

void Logging::logINFO(const std::string& message, const char* file, const char* function, int line) {
  write(spdlog::level::info, message, file, function, line);
}

void Logging::logWARN(const std::string& message, const char* file, const char* function, int line) {
  write(spdlog::level::warn, message, file, function, line);
}

void Logging::logERROR(const std::string& message, const char* file, const char* function, int line) {
  write(spdlog::level::err, message, file, function, line);
}

const std::string& Logging::getName() const { return m_name; }

}  // namespace Drelvan
