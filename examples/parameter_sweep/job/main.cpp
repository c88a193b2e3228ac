// sweep-job: computes one job of the spool.
//
// The server starts it, on this machine or through a launcher elsewhere, with the spool and the job's id as arguments.
// All it needs and all it leaves is in the job's folder.

#include <examples/parameter_sweep/common/FileJobLog.h>
#include <examples/parameter_sweep/common/JobFolder.h>
#include <examples/parameter_sweep/common/PackageReader.h>
#include <examples/parameter_sweep/common/PackageWriter.h>
#include <examples/parameter_sweep/common/StoredFile.h>
#include <examples/parameter_sweep/common/SweepEvaluator.h>
#include <examples/parameter_sweep/common/SweepSchema.h>

#include <boost/asio/ip/host_name.hpp>
#include <chrono>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

namespace ParameterSweep {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* c_group = "sweep-job";
constexpr std::chrono::milliseconds c_progressInterval{200};

/// Tells the server, through the spool, how far the job is and where it runs.
class ProgressFile {
 public:
  ProgressFile(const JobFolder& folder, const SweepJobId& jobId) : m_folder(folder) {
    m_status.jobId = jobId;
    m_status.state = JobState::Running;
    m_status.host.setName(boost::asio::ip::host_name());
    write();
  }

  void update(double progress) {
    m_status.progress = progress;
    if (Clock::now() - m_written >= c_progressInterval) {
      write();
    }
  }

 private:
  void write() {
    writeStoredFile(m_folder.progress(), writeReply({c_noRequest, m_status}));
    m_written = Clock::now();
  }

  const JobFolder& m_folder;
  JobStatus m_status;
  Clock::time_point m_written;
};

void compute(const JobFolder& folder, const SweepJobId& jobId, FileJobLog& log) {
  ProgressFile progress(folder, jobId);
  const Request request = readRequestFile(folder.request());
  const auto count = static_cast<double>(request.sweep.vectors.size());
  log.write(LogMessage::Type::Info, c_group,
            "evaluating '" + request.sweep.expression + "' for " + std::to_string(request.sweep.vectors.size()) +
                " realizations");
  SweepResult result{
      jobId, evaluate(request.sweep, [&](std::size_t done) { progress.update(static_cast<double>(done) / count); })};
  writeStoredFile(folder.result(), writeReply({request.id, result}));
  log.write(LogMessage::Type::Info, c_group, "finished");
}

int run(const std::filesystem::path& spool, const SweepJobId& jobId) {
  const JobFolder folder(spool, jobId);
  FileJobLog log(folder.jobLog(), jobId);
  try {
    compute(folder, jobId, log);
    return 0;
  } catch (const SweepFailure& failure) {
    log.write(LogMessage::Type::Error, c_group, failure.what());
    writeStoredFile(folder.failure(), writeReply({c_noRequest, failure}));
  }
  return 1;
}

int runProgram(int argc, char* argv[]) {
  constexpr int c_spoolArgument = 1;
  if (argc <= c_spoolArgument) {
    std::cerr << "usage: sweep-job SPOOL -jobId ID\n";
    return 2;
  }
  try {
    const ParserSession parser;
    return run(argv[c_spoolArgument], SweepJobId::fromCommandLine(argc, argv));
  } catch (const std::exception& exception) {
    std::cerr << "sweep-job: " << exception.what() << "\n";
    return 1;
  }
}

}  // namespace

}  // namespace ParameterSweep

int main(int argc, char* argv[]) { return ParameterSweep::runProgram(argc, argv); }
