#include <service/Logging.h>
#include <tests/support/RecordingLogging.h>

#include <algorithm>
#include <mutex>
#include <utility>

namespace TestSupport {

namespace {

struct Record {
  std::mutex mutex;
  std::vector<LogEntry> entries;
  std::vector<std::string> loggers;
  std::function<void(const LogEntry&)> action;
};

/// Never destroyed: the loggers of the libraries end after everything else.
Record& record() {
  static Record& instance = *new Record;
  return instance;
}

void append(LogEntry entry) {
  std::function<void(const LogEntry&)> action;
  {
    const std::lock_guard<std::mutex> lock(record().mutex);
    action = record().action;
  }
  if (action) {
    action(entry);
  }
  const std::lock_guard<std::mutex> lock(record().mutex);
  record().entries.push_back(std::move(entry));
}

}  // namespace

std::vector<LogEntry> RecordingLog::entries() {
  const std::lock_guard<std::mutex> lock(record().mutex);
  return record().entries;
}

std::vector<LogEntry> RecordingLog::take() {
  const std::lock_guard<std::mutex> lock(record().mutex);
  return std::exchange(record().entries, {});
}

void RecordingLog::clear() { take(); }

std::vector<std::string> RecordingLog::lines() {
  std::vector<std::string> result;
  for (const LogEntry& entry : entries()) {
    result.push_back(entry.level + " " + entry.message);
  }
  return result;
}

void RecordingLog::onEntry(std::function<void(const LogEntry&)> action) {
  const std::lock_guard<std::mutex> lock(record().mutex);
  record().action = std::move(action);
}

std::vector<std::string> RecordingLog::loggers() {
  const std::lock_guard<std::mutex> lock(record().mutex);
  return record().loggers;
}

}  // namespace TestSupport

namespace Drelvan {

using TestSupport::append;
using TestSupport::record;

Logging::Logging(const std::string& name) : m_name(name) {
  const std::lock_guard<std::mutex> lock(record().mutex);
  record().loggers.push_back(name);
}

Logging::~Logging() {
  const std::lock_guard<std::mutex> lock(record().mutex);
  auto& loggers = record().loggers;
  loggers.erase(std::find(loggers.begin(), loggers.end(), m_name));
}

const std::string& Logging::getName() const { return m_name; }

void Logging::logTRACE(const std::string& message, const char* file, const char* function, int line) {
  append({"TRACE", message, file, function, line, m_name});
}

void Logging::logDEBUG(const std::string& message, const char* file, const char* function, int line) {
  append({"DEBUG", message, file, function, line, m_name});
}

void Logging::logINFO(const std::string& message, const char* file, const char* function, int line) {
  append({"INFO", message, file, function, line, m_name});
}

void Logging::logWARN(const std::string& message, const char* file, const char* function, int line) {
  append({"WARN", message, file, function, line, m_name});
}

void Logging::logERROR(const std::string& message, const char* file, const char* function, int line) {
  append({"ERROR", message, file, function, line, m_name});
}

}  // namespace Drelvan
