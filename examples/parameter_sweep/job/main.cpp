// sweep-job: computes one job of the spool.
//
// The server starts it, on this machine or through a launcher elsewhere, with the spool and the job's id as arguments.
// All it needs and all it leaves is in the job's folder.

#include <examples/parameter_sweep/common/FileJobLog.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/common/SweepEvaluator.h>
#include <examples/parameter_sweep/common/SweepSchema.h>
#include <spdlog/spdlog.h>

#include <boost/asio/ip/host_name.hpp>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

namespace ParameterSweep {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* c_group = "sweep-job";
constexpr std::chrono::milliseconds c_progressInterval{200};

void store(const std::filesystem::path& file, const Reply& reply) {
  writeStoredFile(file, writeReplyPackage(reply, c_group));
}

SweepResult compute(const JobFolder& folder, const SweepJobId& jobId, const Sweep& sweep) {
  JobStatus status{jobId, JobState::Running};
  status.host.setName(boost::asio::ip::host_name());
  store(folder.progress, {status});
  auto stored = Clock::now();
  const auto onRealization = [&](std::size_t done) {
    if (Clock::now() - stored >= c_progressInterval) {
      status.progress = static_cast<double>(done) / static_cast<double>(sweep.vectors.size());
      store(folder.progress, {status});
      stored = Clock::now();
    }
  };
  return {jobId, evaluate(sweep, onRealization)};
}

int run(const std::filesystem::path& spool, const SweepJobId& jobId) {
  const JobFolder folder(spool, jobId);
  FileJobLog log(folder.jobLog, jobId);
  try {
    const Request request = readRequestPackage(readStoredFile(folder.request));
    log.write(LogMessage::Type::Info, c_group,
              "evaluating '" + request.sweep.expression + "' for " + std::to_string(request.sweep.vectors.size()) +
                  " realizations");
    store(folder.result, {compute(folder, jobId, request.sweep), request.id});
    log.write(LogMessage::Type::Info, c_group, "finished");
    return 0;
  } catch (const SweepFailure& failure) {
    log.write(LogMessage::Type::Error, c_group, failure.what());
    store(folder.result, {failure});
  }
  return 1;
}

int runProgram(int argc, char* argv[]) {
  if (argc < 2 || argv[1][0] == '-') {
    std::cerr << "usage: sweep-job SPOOL -jobId ID\n";
    return 2;
  }
  // What is written here ends in the failure of a job; the normal course of the library does not belong there.
  if (std::getenv("DV_LOG_LEVEL") == nullptr) {  // NOLINT(concurrency-mt-unsafe): there is one thread
    spdlog::set_level(spdlog::level::warn);
  }
  try {
    const ParserSession parser;
    std::string ignored;
    return run(argv[1], SweepJobId(Drelvan::GenericJobId::fromCmd(argc, argv, ignored)));
  } catch (const std::exception& exception) {
    std::cerr << "sweep-job: " << exception.what() << "\n";
    return 1;
  }
}

}  // namespace

}  // namespace ParameterSweep

int main(int argc, char* argv[]) { return ParameterSweep::runProgram(argc, argv); }
