#include <examples/parameter_sweep/common/JobLogging.h>
#include <spdlog/async.h>
#include <spdlog/formatter.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace ParameterSweep {

namespace {

constexpr std::size_t c_longestEntry = 2048;
constexpr std::size_t c_queuedEntries = 4096;
constexpr const char* c_jobPrefix = "Sweep_";
constexpr std::size_t c_jobLength = 67;  // "Sweep_", ten digits, "#" and a unique id

// Changed only while no other thread logs.
std::string s_job;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

/// The job that the entry begins with, if any.
std::string_view findJob(std::string_view entry) {
  const bool isAboutJob =
      entry.substr(0, 6) == c_jobPrefix && entry.size() > c_jobLength + 1 && entry.substr(c_jobLength, 2) == ": ";
  return isAboutJob ? entry.substr(0, c_jobLength) : std::string_view{s_job};
}

/// The entry as JSON, one object per line.
class JobJsonFormatter final : public spdlog::formatter {
 public:
  void format(const spdlog::details::log_msg& entry, spdlog::memory_buf_t& destination) override {
    const std::string_view text(entry.payload.data(), entry.payload.size());
    const std::string_view job = findJob(text);
    const auto level = spdlog::level::to_string_view(entry.level);
    nlohmann::ordered_json object;
    object["time"] = formatTime(entry);
    object["level"] = std::string(level.data(), level.size());
    object["thread"] = entry.thread_id;
    object["file"] = entry.source.filename == nullptr ? "" : entry.source.filename;
    object["line"] = entry.source.line;
    object["function"] = entry.source.funcname == nullptr ? "" : entry.source.funcname;
    if (!job.empty()) {
      object["job"] = std::string(job);
    }
    const bool isPrefix = !job.empty() && text.data() == job.data();
    object["message"] = std::string(isPrefix ? text.substr(job.size() + 2) : text);
    const std::string line = object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
    destination.append(line.data(), line.data() + line.size());
  }

  std::unique_ptr<spdlog::formatter> clone() const override { return std::make_unique<JobJsonFormatter>(); }

 private:
  std::string formatTime(const spdlog::details::log_msg& entry) {
    spdlog::memory_buf_t text;
    m_time.format(entry, text);
    return {text.data(), text.size()};
  }

  spdlog::pattern_formatter m_time{"%Y-%m-%dT%H:%M:%S.%fZ", spdlog::pattern_time_type::utc, ""};
};

/// Passes shortened entries to another logger.
class ShorteningSink final : public spdlog::sinks::sink {
 public:
  explicit ShorteningSink(std::shared_ptr<spdlog::logger> target) : m_target(std::move(target)) {}

  void log(const spdlog::details::log_msg& entry) override {
    if (entry.payload.size() <= c_longestEntry) {
      m_target->log(entry.time, entry.source, entry.level, entry.payload);
      return;
    }
    const std::string shortened = std::string(entry.payload.data(), c_longestEntry) + " ... (" +
                                  std::to_string(entry.payload.size() - c_longestEntry) + " further bytes)";
    m_target->log(entry.time, entry.source, entry.level, shortened);
  }
  void flush() override { m_target->flush(); }
  void set_pattern(const std::string& pattern) override { m_target->set_pattern(pattern); }
  void set_formatter(std::unique_ptr<spdlog::formatter> formatter) override {
    m_target->set_formatter(std::move(formatter));
  }

 private:
  std::shared_ptr<spdlog::logger> m_target;
};

/// Knows whether an entry is being written.
class WatchedSink final : public spdlog::sinks::sink {
 public:
  explicit WatchedSink(spdlog::sink_ptr target) : m_target(std::move(target)) {}

  void log(const spdlog::details::log_msg& entry) override {
    m_isWriting = true;
    m_target->log(entry);
    m_isWriting = false;
  }
  void flush() override { m_target->flush(); }
  void set_pattern(const std::string& pattern) override { m_target->set_pattern(pattern); }
  void set_formatter(std::unique_ptr<spdlog::formatter> formatter) override {
    m_target->set_formatter(std::move(formatter));
  }
  bool isWriting() const { return m_isWriting; }

 private:
  spdlog::sink_ptr m_target;
  std::atomic<bool> m_isWriting{false};
};

/// What delivers in the background.
struct Background {
  std::shared_ptr<spdlog::details::thread_pool> threads;
  std::vector<std::shared_ptr<WatchedSink>> sinks;

  bool isIdle() const {
    return threads->queue_size() == 0 &&
           std::none_of(sinks.begin(), sinks.end(), [](const auto& sink) { return sink->isWriting(); });
  }
};

std::unique_ptr<Background> s_background;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

std::shared_ptr<spdlog::details::thread_pool> startDelivery() {
  try {
    return std::make_shared<spdlog::details::thread_pool>(c_queuedEntries, 1U);
  } catch (const std::system_error& error) {
    throw std::system_error(error.code(), "cannot start the thread of the log");
  }
}

std::shared_ptr<spdlog::logger> makeTarget(const std::vector<spdlog::sink_ptr>& sinks, LogDelivery delivery) {
  if (delivery == LogDelivery::AtOnce) {
    return std::make_shared<spdlog::logger>("", sinks.begin(), sinks.end());
  }
  auto background = std::make_unique<Background>();
  background->threads = startDelivery();
  for (const spdlog::sink_ptr& sink : sinks) {
    background->sinks.push_back(std::make_shared<WatchedSink>(sink));
  }
  s_background = std::move(background);
  return std::make_shared<spdlog::async_logger>("", s_background->sinks.begin(), s_background->sinks.end(),
                                                s_background->threads, spdlog::async_overflow_policy::overrun_oldest);
}

}  // namespace

void installJobLogging(LogDelivery delivery) {
  const std::shared_ptr<spdlog::logger> current = spdlog::default_logger();
  const std::shared_ptr<spdlog::logger> target = makeTarget(current->sinks(), delivery);
  const char* const format = std::getenv("DV_LOG_FORMAT");  // NOLINT(concurrency-mt-unsafe): nobody sets it
  if (format != nullptr && std::string_view(format) == "json") {
    for (const spdlog::sink_ptr& sink : current->sinks()) {
      sink->set_formatter(std::make_unique<JobJsonFormatter>());
    }
  }
  target->set_level(spdlog::level::trace);
  auto front = std::make_shared<spdlog::logger>("", std::make_shared<ShorteningSink>(target));
  front->set_level(current->level());
  spdlog::set_default_logger(std::move(front));
}

bool finishJobLogging() {
  constexpr std::chrono::milliseconds c_longest{500};
  if (s_background == nullptr) {
    return true;
  }
  const auto deadline = std::chrono::steady_clock::now() + c_longest;
  while (!s_background->isIdle()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  spdlog::set_default_logger(std::make_shared<spdlog::logger>(""));
  s_background.reset();
  return true;
}

std::string aboutJob(const SweepJobId& jobId, const std::string& text) { return jobId.toString() + ": " + text; }

JobOfLog::JobOfLog(const std::string& job) { s_job = job; }

JobOfLog::~JobOfLog() { s_job.clear(); }

}  // namespace ParameterSweep
