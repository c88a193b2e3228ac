#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>
#include <tools/dvrequest/LibraryLog.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <regex>
#include <utility>

namespace DvRequest {

namespace {

constexpr const char* c_messageMark = "\n  Message: ";

/// Takes "XML error at file NAME, line N, char M" and the message apart; nothing for an entry of another form.
std::optional<Problem> toProblem(const std::string& entry) {
  static const std::regex place("XML (warning|error|fatal error) at file [^]*, line ([0-9]+), char ([0-9]+)");
  const std::size_t mark = entry.find(c_messageMark);
  std::smatch match;
  if (mark == std::string::npos) {
    return std::nullopt;
  }
  const std::string head = entry.substr(0, mark);
  if (!std::regex_match(head, match, place)) {
    return std::nullopt;
  }
  return Problem{
      match[1], {std::stol(match[2]), std::stol(match[3])}, entry.substr(mark + std::string(c_messageMark).size())};
}

}  // namespace

class LibraryLog::Sink final : public spdlog::sinks::base_sink<std::mutex> {
 public:
  std::vector<Problem> take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(m_problems, {});
  }

 protected:
  void sink_it_(const spdlog::details::log_msg& entry) override {
    if (auto problem = toProblem(std::string(entry.payload.data(), entry.payload.size()))) {
      m_problems.push_back(std::move(*problem));
    }
  }
  void flush_() override {}

 private:
  std::vector<Problem> m_problems;
};

LibraryLog::LibraryLog() : m_sink(std::make_shared<Sink>()) {
  m_sink->set_level(spdlog::level::err);
  std::vector<spdlog::sink_ptr> sinks{m_sink};
  auto level = spdlog::level::err;
  if (std::getenv("DV_LOG_LEVEL") != nullptr) {  // NOLINT(concurrency-mt-unsafe): nothing here sets variables
    const auto shown = spdlog::default_logger();
    for (const spdlog::sink_ptr& sink : shown->sinks()) {
      sink->set_level(shown->level());
      sinks.push_back(sink);
    }
    level = std::min(level, shown->level());
  }
  auto logger = std::make_shared<spdlog::logger>("dvrequest", sinks.begin(), sinks.end());
  logger->set_level(level);
  spdlog::set_default_logger(std::move(logger));
}

LibraryLog::~LibraryLog() = default;

std::vector<Problem> LibraryLog::take() { return m_sink->take(); }

}  // namespace DvRequest
