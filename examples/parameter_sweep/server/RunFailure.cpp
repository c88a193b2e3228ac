#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/server/RunFailure.h>

#include <algorithm>
#include <boost/algorithm/string/replace.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <csignal>

namespace ParameterSweep {

namespace {

constexpr int c_notExecutable = 126;  // as shells tell it
constexpr int c_notFound = 127;
constexpr int c_signalled = 128;

bool isProcessorTime(const RunEnd& end) { return end.signal == SIGXCPU || end.exitCode == c_signalled + SIGXCPU; }

}  // namespace

std::string outputTail(const std::filesystem::path& output) {
  constexpr std::uint64_t c_length = 500;
  try {
    std::error_code ignored;
    const std::uint64_t size = std::filesystem::file_size(output, ignored);
    const std::uint64_t begin = ignored || size < c_length ? 0 : size - c_length;
    const std::string text = readStoredFile(output, begin, c_length);
    return boost::algorithm::replace_all_copy(boost::algorithm::trim_copy(text), "\n", "; ");
  } catch (const std::exception&) {
    return {};
  }
}

SweepFailure failureFromEnd(const RunEnd& end, const std::string& output) {
  const std::string said = (end.reason.empty() ? "" : " (" + end.reason + ")") + (output.empty() ? "" : ": " + output);
  if (end.reason == "OUT_OF_MEMORY") {
    return {FailureKind::MemoryExceeded, "a part needed more memory than the cluster allows" + said};
  }
  if (end.reason == "TIMEOUT" || end.reason == "DEADLINE") {
    return {FailureKind::JobTimedOut, "a part ran longer than the cluster allows; make the parts smaller" + said};
  }
  if (isProcessorTime(end)) {
    return {FailureKind::ProcessorTimeExceeded,
            "a part used more processor time than this server allows; make the parts smaller" + said};
  }
  if (end.signal) {
    return {FailureKind::JobCrashed, "the job program was ended by signal " + std::to_string(*end.signal) + said};
  }
  if (!end.exitCode) {
    return {FailureKind::JobFailed, "the job program ended without a result" + said};
  }
  const std::string code = "exit code " + std::to_string(*end.exitCode);
  if (*end.exitCode == c_notExecutable || *end.exitCode == c_notFound) {
    return {FailureKind::LaunchFailed,
            "the job program could not be started (" + code + "); check --launch-with and --part-memory" + said};
  }
  return {FailureKind::JobFailed, "the job program ended with " + code + " and no result" + said};
}

bool isOutcome(const SweepFailure& failure) {
  return failure.getKind() == FailureKind::ProcessorTimeExceeded || failure.getKind() == FailureKind::MemoryExceeded ||
         failure.getKind() == FailureKind::JobTimedOut;
}

}  // namespace ParameterSweep
