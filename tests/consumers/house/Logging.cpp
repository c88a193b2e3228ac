#include <service/Logging.h>

#include "Calls.h"

namespace Drelvan {

Logging::Logging(const std::string& name) : m_name(name) { House::note("Logging::Logging"); }
Logging::~Logging() = default;

void Logging::logTRACE(const std::string&, const char*, const char*, int) { House::note("Logging::logTRACE"); }
void Logging::logDEBUG(const std::string&, const char*, const char*, int) { House::note("Logging::logDEBUG"); }
void Logging::logINFO(const std::string&, const char*, const char*, int) { House::note("Logging::logINFO"); }
void Logging::logWARN(const std::string&, const char*, const char*, int) { House::note("Logging::logWARN"); }
void Logging::logERROR(const std::string&, const char*, const char*, int) { House::note("Logging::logERROR"); }

const std::string& Logging::getName() const { return m_name; }

}  // namespace Drelvan
