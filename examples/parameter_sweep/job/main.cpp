// sweep-job: computes one part of a job.
//
// The server or a cluster starts it, on this machine or elsewhere, with the spool, the part, the number of the try and
// the job's id as arguments. All it needs and all it leaves is in the job's folder.

#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <examples/parameter_sweep/common/JobLogging.h>
#include <examples/parameter_sweep/common/SweepSchema.h>
#include <examples/parameter_sweep/common/Version.h>
#include <examples/parameter_sweep/job/PartComputation.h>
#include <service/Xerces.h>
#include <spdlog/spdlog.h>
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <system_error>
#include <vector>
#include <xercesc/util/OutOfMemoryException.hpp>

namespace ParameterSweep {

namespace {

constexpr const char* c_group = "sweep-job";
constexpr int c_usageExitCode = 2;
constexpr int c_shortageExitCode = 75;  // as sysexits.h has it for a failure that may pass

struct Options {
  std::string spool;
  std::string part;
  std::uint32_t attempt = 1;
  std::uint64_t processorSeconds = 0;
  std::uint64_t memoryMebibytes = 0;
  SweepJobId job;
};

void setLimit(__rlimit_resource resource, std::uint64_t limit, std::uint64_t more) {
  if (limit > 0) {
    const rlimit values{limit, limit + more};
    ::setrlimit(resource, &values);
  }
}

/// Beyond its processor time the process is ended by a signal; beyond its memory an allocation fails.
void setLimits(const Options& options) {
  constexpr std::uint64_t c_secondsToEnd = 5;
  constexpr unsigned c_mebibyteBits = 20;
  setLimit(RLIMIT_CPU, options.processorSeconds, c_secondsToEnd);
  setLimit(RLIMIT_AS, options.memoryMebibytes << c_mebibyteBits, 0);
}

std::uint32_t findPart(const std::string& text) {
  // The cluster tells which task of the array this is.
  const char* const task = std::getenv("SLURM_ARRAY_TASK_ID");  // NOLINT(concurrency-mt-unsafe): there is one thread
  const std::string number = text == "slurm" && task != nullptr ? task : text;
  std::uint32_t part = 0;
  const char* const end = number.data() + number.size();
  const auto [stopped, error] = std::from_chars(number.data(), end, part);
  if (error != std::errc() || stopped != end || part == 0) {
    throw SweepFailure(FailureKind::LocalFailure, "'" + number +
                                                      "' is not a part number; use 1 or more, or 'slurm' in a task of "
                                                      "a job array");
  }
  return part;
}

int reportFailure(const PartFiles& files, FileJobLog& log, const SweepFailure& failure) {
  log.write(LogMessage::Type::Error, c_group, failure.getMessage());
  storeFailure(files, failure);
  return 0;
}

int compute(const Options& options, const PartFiles& files, const SweepJobId& jobId, FileJobLog& log) {
  const auto reportMemory = [&] {
    return reportFailure(files, log,
                         SweepFailure(FailureKind::MemoryExceeded,
                                      "a part needed more memory than the " + std::to_string(options.memoryMebibytes) +
                                          " MiB that this server allows; make the parts smaller"));
  };
  setLimits(options);
  try {
    const Drelvan::ParserSession parser{SweepSchema()};
    PartComputation(files, jobId, log).run();
    return 0;
  } catch (const SweepFailure& failure) {
    if (failure.getKind() == FailureKind::LocalFailure) {
      throw;
    }
    return reportFailure(files, log, failure);
  } catch (const std::bad_alloc&) {
    if (options.memoryMebibytes == 0) {
      throw std::system_error(ENOMEM, std::generic_category());
    }
    return reportMemory();
  } catch (const xercesc_3_1::OutOfMemoryException&) {
    if (options.memoryMebibytes == 0) {
      throw std::system_error(ENOMEM, std::generic_category());
    }
    return reportMemory();
  }
}

int run(const Options& options) {
  const SweepJobId& jobId = options.job;
  const PartFiles files(options.spool, jobId, findPart(options.part), options.attempt);
  FileJobLog log(files.log, jobId);
  const JobOfLog jobOfLog(jobId.toString());
  try {
    return compute(options, files, jobId, log);
  } catch (const std::exception& exception) {
    // Not an error of the sweep: the server tries again.
    std::cerr << "sweep-job: " << exception.what() << "\n";
    return c_shortageExitCode;
  }
}

/// Takes the job out of the arguments; returns the others in the reverse order, as the parser of options wants them.
std::vector<std::string> readJob(int argc, char* argv[], SweepJobId& job) {
  std::vector<std::string> arguments(argv + 1, argv + argc);
  const auto tag = std::find(arguments.begin(), arguments.end(), Drelvan::GenericJobId::c_cmdTag);
  if (tag != arguments.end()) {
    job = SweepJobId::fromCmd(arguments);
    arguments.erase(tag, std::min(tag + 2, arguments.end()));
  }
  std::reverse(arguments.begin(), arguments.end());
  return arguments;
}

void addOptions(CLI::App& app, Options& options) {
  app.set_version_flag("--version", std::string("sweep-job ") + c_version);
  app.add_option("spool", options.spool, "folder of the jobs")->required();
  app.add_option("part", options.part, "number of the part, or 'slurm' to take it from SLURM_ARRAY_TASK_ID")
      ->required();
  app.add_option("try", options.attempt, "number of the try")->required();
  app.add_option("--processor-time", options.processorSeconds, "seconds of processor time that the part may use");
  app.add_option("--memory", options.memoryMebibytes, "MiB of address space that the part may use");
  app.footer("The last arguments are -jobId ID.");
}

int runProgram(int argc, char* argv[]) {
  try {
    installJobLogging(LogDelivery::AtOnce);
    // What is written here becomes part of the message when a job fails, so entries of normal operation are left out.
    if (std::getenv("DV_LOG_LEVEL") == nullptr) {  // NOLINT(concurrency-mt-unsafe): there is one thread
      spdlog::set_level(spdlog::level::warn);
    }
    Options options;
    CLI::App app("Computes one part of a job of the parameter sweep. Started by sweep-server.", "sweep-job");
    addOptions(app, options);
    try {
      app.parse(readJob(argc, argv, options.job));
    } catch (const CLI::ParseError& error) {
      return app.exit(error) == 0 ? 0 : c_usageExitCode;
    }
    return run(options);
  } catch (const std::exception& exception) {
    std::cerr << "sweep-job: " << exception.what() << "\n";
    return 1;
  }
}

}  // namespace

}  // namespace ParameterSweep

int main(int argc, char* argv[]) { return ParameterSweep::runProgram(argc, argv); }
