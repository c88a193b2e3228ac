// Sends the library's entries to a file that never grows beyond four times 10 MB, and warnings to standard error too.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <memory>

int main(int, char* argv[]) {
  auto file = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(argv[1], 10'000'000, 3);
  auto terminal = std::make_shared<spdlog::sinks::stderr_sink_mt>();
  terminal->set_level(spdlog::level::warn);
  auto logger = std::make_shared<spdlog::logger>("requests", spdlog::sinks_init_list{file, terminal});
  logger->set_level(spdlog::level::debug);
  logger->flush_on(spdlog::level::warn);
  spdlog::set_default_logger(logger);

  Drelvan::RequestXmlHelper::getInstance();
  Drelvan::RequestXmlHelper::reset(true);
}
