#include <Platform/RemoteComputation/Service/RequestHandlingBase/WaitingFileUtilities.h>
#include <examples/parameter_sweep/client/Output.h>
#include <examples/parameter_sweep/common/StoredFile.h>
#include <service/Identifier.h>

#include <boost/process.hpp>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace ParameterSweep {

namespace {

namespace bp = boost::process;
using Json = nlohmann::ordered_json;

constexpr unsigned long c_waitMilliseconds = 100;
constexpr int c_tries = 5;

/// A file that is gone with this object.
class TemporaryFile {
 public:
  TemporaryFile() : m_path(std::filesystem::temp_directory_path() / ("sweep-" + Drelvan::UniqueID::generateId())) {}
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove(m_path, ignored);
  }

  std::string name() const { return m_path.string(); }

  /// Puts a copy where the user wants it, waiting while that file is busy.
  void copyTo(const std::string& file) const {
    Drelvan::WaitingFileUtilities::waitingCopy(name(), file, c_waitMilliseconds, c_tries);
  }

 private:
  std::filesystem::path m_path;
};

std::string toTime(std::int64_t milliseconds) {
  const std::time_t seconds = milliseconds / 1000;
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  std::ostringstream text;
  text << std::put_time(&utc, "%Y-%m-%dT%H:%M:%SZ");
  return text.str();
}

/// The drawing instructions with their data. What is not a finite number leaves a gap.
std::string plotScript(const SweepResult& result) {
  std::ostringstream script;
  script << "set terminal svg size 900,500\nset xlabel 'realization'\nset ylabel 'result'\nset grid\nunset key\n"
            "$data << END\n";
  for (const Realization& realization : result.realizations) {
    script << realization.realizationId << " "
           << (std::isfinite(realization.value) ? toText(realization.value) : std::string("NaN")) << "\n";
  }
  script << "END\nplot $data using 1:2 with linespoints pointtype 7 pointsize 0.3\n";
  return script.str();
}

}  // namespace

Json toJson(const SweepFailure& failure, int exitCode) {
  return {{"kind", toText(failure.getKind())}, {"message", failure.what()}, {"exitCode", exitCode}};
}

Json toJson(const JobStatus& status) {
  Json json{{"job", status.jobId.toString()},
            {"state", toText(status.state)},
            {"progress", status.progress},
            {"host", status.host.getNameOrIp()}};
  if (status.failure) {
    json["failure"] = toJson(*status.failure, exitCode(status.failure->getKind()));
  }
  return json;
}

Json toJson(const SweepResult& result) {
  Json realizations = Json::array();
  for (const Realization& realization : result.realizations) {
    realizations.push_back({{"realizationId", realization.realizationId}, {"result", realization.value}});
  }
  return {{"job", result.jobId.toString()}, {"results", realizations}};
}

Json toJson(const JobMessages& log) {
  Json messages = Json::array();
  for (const LogMessage& message : log.messages) {
    messages.push_back({{"time", toTime(message.timestamp)},
                        {"type", toText(message.type)},
                        {"group", message.group},
                        {"text", message.text}});
  }
  return {{"job", log.jobId.toString()}, {"messages", messages}};
}

std::string toLine(const JobStatus& status) {
  std::ostringstream line;
  line << status.jobId.getName() << " " << toText(status.state) << " " << std::floor(100 * status.progress) << " %";
  if (status.host.hasNameOrIp()) {
    line << " on " << status.host.getNameOrIp();
  }
  if (status.failure) {
    line << ": " << status.failure->what();
  }
  return line.str() + "\n";
}

std::string toCsv(const SweepResult& result) {
  std::string csv = "realizationId,result\n";
  for (const Realization& realization : result.realizations) {
    csv += std::to_string(realization.realizationId) + "," + toText(realization.value) + "\n";
  }
  return csv;
}

std::string toLines(const JobMessages& log) {
  std::string lines;
  for (const LogMessage& message : log.messages) {
    lines += toTime(message.timestamp) + " " + toText(message.type) + " " + message.group + ": " + message.text + "\n";
  }
  return lines;
}

void writeOutput(const std::string& file, const std::string& text) {
  if (file.empty()) {
    std::cout << text << std::flush;
    return;
  }
  const TemporaryFile temporary;
  writeStoredFile(temporary.name(), text);
  temporary.copyTo(file);
}

void plot(const SweepResult& result, const std::string& file) {
  const TemporaryFile temporary;
  // Made here, so that the drawing gets the permissions of the user's other files.
  writeStoredFile(temporary.name(), "");
  bp::opstream script;
  try {
    bp::child gnuplot(bp::search_path("gnuplot"), bp::std_in<script, bp::std_out> temporary.name(),
                      bp::std_err > bp::null);
    script << plotScript(result) << std::flush;
    script.pipe().close();
    gnuplot.wait();
    if (gnuplot.exit_code() != 0) {
      throw SweepFailure(FailureKind::LocalTrouble, "gnuplot could not draw the result");
    }
  } catch (const bp::process_error&) {
    throw SweepFailure(FailureKind::LocalTrouble, "gnuplot cannot be started; install it, or leave --plot out");
  }
  temporary.copyTo(file);
}

int exitCode(FailureKind kind) {
  switch (kind) {
    case FailureKind::Unreachable:
      return 3;
    case FailureKind::AccessRefused:
      return 4;
    case FailureKind::UnknownJob:
      return 5;
    case FailureKind::BadParameters:
      return 6;
    case FailureKind::BadExpression:
      return 7;
    case FailureKind::NotFinished:
    case FailureKind::JobEnded:
      return 8;
    case FailureKind::JobFailed:
    case FailureKind::LaunchFailed:
      return 9;
    case FailureKind::JobCancelled:
      return 10;
    case FailureKind::JobTimedOut:
      return 11;
    case FailureKind::JobCrashed:
      return 12;
    case FailureKind::MalformedPackage:
    case FailureKind::PackageTooLarge:
    case FailureKind::UnknownRequest:
    case FailureKind::JobExists:
      return 13;
    case FailureKind::LocalTrouble:
      return 14;
    case FailureKind::Internal:
      break;
  }
  return 1;
}

}  // namespace ParameterSweep
