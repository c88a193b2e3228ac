// sweep-client: submits sweeps to a server, follows them and fetches their results.

#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <examples/parameter_sweep/client/Client.h>
#include <examples/parameter_sweep/client/Options.h>
#include <examples/parameter_sweep/client/Output.h>
#include <examples/parameter_sweep/common/JobLogging.h>
#include <examples/parameter_sweep/common/Keys.h>
#include <examples/parameter_sweep/common/SweepSchema.h>
#include <spdlog/spdlog.h>

#include <cstdlib>
#include <exception>
#include <iostream>

namespace ParameterSweep {

namespace {

int run(Options& options) {
  try {
    if (!options.keys.empty()) {
      options.connection.keys = readClientKeys(options.keys);
    }
    const Drelvan::ParserSession parser{SweepSchema()};
    return Client(options).run();
  } catch (const std::exception& exception) {
    const SweepFailure failure = toFailure(exception);
    std::cerr << show(failure, options.json ? Form::Json : Form::Text);
    return exitCode(failure.getKind());
  }
}

int runProgram(int argc, char* argv[]) {
  installJobLogging(LogDelivery::AtOnce);
  // Standard error is for failures and progress; log entries appear on request.
  if (std::getenv("DV_LOG_LEVEL") == nullptr) {  // NOLINT(concurrency-mt-unsafe): there is one thread yet
    spdlog::set_level(spdlog::level::off);
  }
  Options options;
  const auto code = readOptions(argc, argv, options);
  return code ? *code : run(options);
}

}  // namespace

}  // namespace ParameterSweep

int main(int argc, char* argv[]) {
  try {
    return ParameterSweep::runProgram(argc, argv);
  } catch (const std::exception& exception) {
    std::cerr << "sweep-client: " << exception.what() << "\n";
    return ParameterSweep::exitCode(ParameterSweep::FailureKind::Internal);
  }
}
