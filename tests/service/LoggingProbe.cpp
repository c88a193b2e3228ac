// Logs what its argument asks for; the tests of the logging service look at what comes out of this process.

#include <service/Logging.h>
#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>

#include <cstdlib>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <string>

namespace {

using Drelvan::Logging;

constexpr const char* c_file = "folder/unit.cpp";
constexpr const char* c_function = "void __cdecl f(void)";

void logEachLevel(Logging& logger) {
  logger.logTRACE("a trace", c_file, c_function, 1);
  logger.logDEBUG("a debug", c_file, c_function, 2);
  logger.logINFO("an info", c_file, c_function, 3);
  logger.logWARN("a warn", c_file, c_function, 4);
  logger.logERROR("an error", c_file, c_function, 5);
}

std::string standardInput() { return {std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()}; }

void logStandardInput(Logging& logger) { logger.logINFO(standardInput(), c_file, c_function, 3); }

void logWithoutPlace(Logging& logger) { logger.logINFO("nowhere", nullptr, nullptr, 0); }

/// Everything to standard output, in a pattern of its own.
std::shared_ptr<spdlog::logger> programsLogger() {
  auto logger =
      std::make_shared<spdlog::logger>("program", std::make_shared<spdlog::sinks::ostream_sink_mt>(std::cout, true));
  logger->set_pattern("%n|%l|%v|%g|%#|%!");
  logger->set_level(spdlog::level::trace);
  return logger;
}

void replaceLogger(Logging& logger) {
  spdlog::set_default_logger(programsLogger());
  logEachLevel(logger);
}

void setLevel(Logging& logger) {
  spdlog::set_level(spdlog::level::debug);
  logEachLevel(logger);
}

void setPattern(Logging& logger) {
  spdlog::set_pattern("<%v>");
  logger.logINFO("one\ntwo", c_file, c_function, 3);
}

void addSink(Logging& logger) {
  const auto other = programsLogger();
  spdlog::default_logger()->sinks().push_back(other->sinks().front());
  logger.logINFO("both", c_file, c_function, 3);
}

void removeLogger(Logging& logger) {
  spdlog::set_default_logger(nullptr);
  logEachLevel(logger);
  std::cout << "still here\n";
}

void shutDown(Logging& logger) {
  spdlog::shutdown();
  logEachLevel(logger);
  std::cout << "still here\n";
}

void makeMoreLoggers(Logging& logger) {
  const Logging second("second");
  Logging third("third");
  logger.logINFO(second.getName() + " " + third.getName(), c_file, c_function, 3);
  third.logINFO("from the third", c_file, c_function, 4);
  spdlog::flush_on(spdlog::level::info);
  spdlog::default_logger()->flush();
}

/// Replaces spdlog's logger before the first `Logging` is made, if the environment asks for that.
[[maybe_unused]] const bool replacedFirst = [] {
  const bool wanted = std::getenv("LOGGING_PROBE_REPLACES_FIRST") != nullptr;
  if (wanted) {
    spdlog::set_default_logger(programsLogger());
  }
  return wanted;
}();

/// Destroyed after `main`, when the output may be gone already.
class LastWords {
 public:
  ~LastWords() { m_logger.logINFO("last words", c_file, c_function, 9); }
  const std::string& name() const { return m_logger.getName(); }

 private:
  Logging m_logger{"last"};
};

LastWords lastWords;

void nothing(Logging&) {}

const std::map<std::string, std::function<void(Logging&)>> scenarios{{"levels", logEachLevel},
                                                                     {"input", logStandardInput},
                                                                     {"nowhere", logWithoutPlace},
                                                                     {"replaced logger", replaceLogger},
                                                                     {"level", setLevel},
                                                                     {"pattern", setPattern},
                                                                     {"sink", addSink},
                                                                     {"no logger", removeLogger},
                                                                     {"shut down", shutDown},
                                                                     {"more loggers", makeMoreLoggers},
                                                                     {"nothing", nothing}};

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 2 || scenarios.count(argv[1]) == 0) {
    return 2;
  }
  Logging logger("folder/unit.cpp");
  scenarios.at(argv[1])(logger);
  return logger.getName() == c_file ? 0 : 3;
}
