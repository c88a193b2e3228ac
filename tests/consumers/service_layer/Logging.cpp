#include <service/Logging.h>

#include "Calls.h"

namespace Drelvan {

Logging::Logging(const std::string& name) : m_name(name) { Site::note("Logging::Logging"); }
Logging::~Logging() = default;

void Logging::logTRACE(const std::string&, const char*, const char*, int) { Site::note("Logging::logTRACE"); }
void Logging::logDEBUG(const std::string&, const char*, const char*, int) { Site::note("Logging::logDEBUG"); }
void Logging::logINFO(const std::string&, const char*, const char*, int) { Site::note("Logging::logINFO"); }
void Logging::logWARN(const std::string&, const char*, const char*, int) { Site::note("Logging::logWARN"); }
void Logging::logERROR(const std::string&, const char*, const char*, int) { Site::note("Logging::logERROR"); }

const std::string& Logging::getName() const { return m_name; }

}  // namespace Drelvan
