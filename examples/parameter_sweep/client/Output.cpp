#include <examples/parameter_sweep/client/Output.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/Spool.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/process.hpp>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>

namespace ParameterSweep {

namespace {

namespace bp = boost::process;
namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

void write(std::ostream& stream, const std::string& text) {
  if (!(stream << text << std::flush)) {
    throw SweepFailure(FailureKind::LocalTrouble, "the answer cannot be written whole; check where it goes");
  }
}

std::string toTime(std::int64_t milliseconds) {
  return boost::posix_time::to_iso_extended_string(boost::posix_time::from_time_t(milliseconds / 1000)) + "Z";
}

/// The drawing instructions with their data. What is not a finite number leaves a gap.
std::string plotScript(const SweepResult& result) {
  std::string script =
      "set terminal svg size 900,500\nset xlabel 'realization'\nset ylabel 'result'\nset grid\nunset key\n"
      "$data << END\n";
  for (const Realization& realization : result.realizations) {
    script += std::to_string(realization.realizationId) + " " +
              (std::isfinite(realization.value) ? toText(realization.value) : "NaN") + "\n";
  }
  return script + "END\nplot $data using 1:2 with linespoints pointtype 7 pointsize 0.3\n";
}

}  // namespace

Json toJson(const SweepFailure& failure) {
  return {{"kind", toText(failure.getKind())}, {"message", failure.what()}, {"exitCode", exitCode(failure.getKind())}};
}

Json toJson(const JobStatus& status) {
  Json json{{"job", status.jobId.toString()},
            {"state", toText(status.state)},
            {"progress", status.progress},
            {"host", status.host.getNameOrIp()}};
  if (status.failure) {
    json["failure"] = toJson(*status.failure);
  }
  return json;
}

Json toJson(const SweepResult& result) {
  Json json{{"job", result.jobId.toString()}, {"results", Json::array()}};
  for (const Realization& realization : result.realizations) {
    const bool isNumber = std::isfinite(realization.value);
    json["results"].push_back({{"realizationId", realization.realizationId},
                               {"result", isNumber ? Json(realization.value) : Json(toText(realization.value))}});
  }
  return json;
}

Json toJson(const JobMessages& log) {
  Json json{{"job", log.jobId.toString()}, {"messages", Json::array()}};
  for (const LogMessage& message : log.messages) {
    json["messages"].push_back({{"time", toTime(message.timestamp)},
                                {"type", toText(message.type)},
                                {"group", message.group},
                                {"text", message.text}});
  }
  return json;
}

std::string toLine(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n"; }

std::string toLines(const JobStatus& status) {
  std::ostringstream line;
  line << status.jobId.getName() << " " << toText(status.state) << " " << std::floor(100 * status.progress) << " %"
       << (status.host.hasNameOrIp() ? " on " : "") << status.host.getNameOrIp() << (status.failure ? ": " : "")
       << (status.failure ? status.failure->what() : "") << "\n";
  return line.str();
}

std::string toLines(const SweepResult& result) {
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
    write(std::cout, text);
  } else if (fs::exists(file) && !fs::is_regular_file(file)) {  // a pipe or a device is written to, never replaced
    std::ofstream stream(file, std::ios::binary);
    write(stream, text);
  } else {
    // Absolute first: the canonical form of a bare name that is new would have no folder to flush.
    writeStoredFile(fs::weakly_canonical(fs::absolute(file)), text);
  }
}

void plot(const SweepResult& result, const std::string& file) {
  const auto program = bp::search_path("gnuplot");
  if (program.empty()) {
    throw SweepFailure(FailureKind::LocalTrouble, "gnuplot cannot be found; install it, or leave --plot out");
  }
  // The exit code tells of a gnuplot that ends before it has read everything.
  const auto onBrokenPipe = std::signal(SIGPIPE, SIG_IGN);
  bp::opstream script;
  bp::ipstream drawing;
  bp::child gnuplot(program, bp::std_in<script, bp::std_out> drawing, bp::std_err > bp::null);
  script << plotScript(result) << std::flush;
  script.pipe().close();
  const std::string svg{std::istreambuf_iterator<char>(drawing), {}};
  gnuplot.wait();
  static_cast<void>(std::signal(SIGPIPE, onBrokenPipe));
  if (gnuplot.exit_code() != 0 || svg.empty()) {
    throw SweepFailure(FailureKind::LocalTrouble, "gnuplot could not draw the result");
  }
  writeOutput(file, svg);
}

int exitCode(FailureKind kind) {
  static const std::map<FailureKind, int> s_codes{
      {FailureKind::Internal, 1},        {FailureKind::Unreachable, 3},       {FailureKind::AccessRefused, 4},
      {FailureKind::UnknownJob, 5},      {FailureKind::BadParameters, 6},     {FailureKind::BadExpression, 7},
      {FailureKind::NotFinished, 8},     {FailureKind::JobEnded, 8},          {FailureKind::JobFailed, 9},
      {FailureKind::LaunchFailed, 9},    {FailureKind::JobCancelled, 10},     {FailureKind::JobTimedOut, 11},
      {FailureKind::JobCrashed, 12},     {FailureKind::MalformedPackage, 13}, {FailureKind::PackageTooLarge, 13},
      {FailureKind::UnknownRequest, 13}, {FailureKind::JobExists, 13},        {FailureKind::LocalTrouble, 14}};
  return s_codes.at(kind);
}

}  // namespace ParameterSweep
