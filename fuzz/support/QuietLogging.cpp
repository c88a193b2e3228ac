#include <fuzz/support/QuietLogging.h>
#include <service/Logging.h>

#include <utility>

namespace Fuzz {

namespace {

/// Never destroyed: the loggers of the libraries end after everything else.
std::string& errors() {
  static std::string& text = *new std::string;
  return text;
}

}  // namespace

std::string takeErrors() { return std::exchange(errors(), {}); }

}  // namespace Fuzz

namespace Drelvan {

Logging::Logging(const std::string& name) : m_name(name) {}
Logging::~Logging() = default;
const std::string& Logging::getName() const { return m_name; }

void Logging::logTRACE(const std::string&, const char*, const char*, int) {}
void Logging::logDEBUG(const std::string&, const char*, const char*, int) {}
void Logging::logINFO(const std::string&, const char*, const char*, int) {}
void Logging::logWARN(const std::string&, const char*, const char*, int) {}
void Logging::logERROR(const std::string& message, const char*, const char*, int) {
  Fuzz::errors().append(message).push_back('\n');
}

}  // namespace Drelvan
