#include <examples/parameter_sweep/client/Output.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/Spool.h>

#include <algorithm>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <system_error>

namespace ParameterSweep {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

void write(std::ostream& stream, const std::string& text) {
  if (!(stream << text << std::flush)) {
    throw SweepFailure(FailureKind::LocalFailure, "cannot write the whole answer; check the output");
  }
}

std::string toTime(std::int64_t milliseconds) {
  return boost::posix_time::to_iso_extended_string(boost::posix_time::from_time_t(milliseconds / 1000)) + "Z";
}

/// What others wrote must not look like continuation lines, nor direct the terminal.
std::string toOneLine(std::string text) {
  const auto isControl = [](char character) { return std::iscntrl(static_cast<unsigned char>(character)) != 0; };
  std::replace_if(text.begin(), text.end(), isControl, ' ');
  return text;
}

/// A column of a list; "-" for a time that has not come.
std::string toColumn(std::int64_t milliseconds) {
  constexpr std::size_t c_width = 20;
  std::string text = milliseconds == 0 ? "-" : toTime(milliseconds);
  text.resize(std::max(text.size(), c_width), ' ');
  return text;
}

int toPercent(double progress) { return static_cast<int>(std::floor(100 * progress)); }

/// One line; bytes that are not UTF-8 become U+FFFD.
std::string toLine(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n"; }

/// Adds what is known; 0 and the empty text say that it is not.
void addTime(Json& json, const char* name, std::int64_t milliseconds) {
  if (milliseconds != 0) {
    json[name] = toTime(milliseconds);
  }
}

void addText(Json& json, const char* name, const std::string& text) {
  if (!text.empty()) {
    json[name] = text;
  }
}

Json toJson(const SweepFailure& failure) {
  return {{"kind", toText(failure.getKind())},
          {"message", failure.getMessage()},
          {"exitCode", exitCode(failure.getKind())}};
}

Json toJson(const JobStatus& status) {
  Json json{{"job", status.jobId.toString()}, {"name", status.jobId.getName()}};
  addText(json, "title", status.title);
  addText(json, "owner", status.owner);
  json["state"] = toText(status.state);
  json["progress"] = status.progress;
  addText(json, "host", status.host.getNameOrIp());
  json["priority"] = status.priority;
  json["realizations"] = status.realizations;
  json["parts"] = status.parts;
  json["partsDone"] = status.partsDone;
  json["partsRunning"] = status.partsRunning;
  addTime(json, "submitted", status.submitted);
  addTime(json, "started", status.started);
  addTime(json, "ended", status.ended);
  if (status.failure) {
    json["failure"] = toJson(*status.failure);
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

Json toJson(const ServerHealth& health) {
  Json json{{"server", health.server.toString()},
            {"version", health.version},
            {"upSeconds", health.upSeconds},
            {"engine", health.engine}};
  addText(json, "engineError", health.engineError);
  addText(json, "storeError", health.storeError);
  json["queued"] = health.queued;
  json["running"] = health.running;
  json["partsRunning"] = health.partsRunning;
  json["bytesFree"] = health.bytesFree;
  json["healthy"] = isHealthy(health);
  return json;
}

/// Written without a document in memory, which would be many times as large.
std::string toJsonLine(const SweepResult& result) {
  std::string line = R"({"job":")" + result.jobId.toString() + R"(","results":[)";
  for (const Realization& realization : result.realizations) {
    const std::string value = toText(realization.value);
    line += (line.back() == '[' ? "" : ",") + (R"({"realizationId":)" + std::to_string(realization.realizationId)) +
            R"(,"result":)" + (std::isfinite(realization.value) ? value : '"' + value + '"') + "}";
  }
  return line + "]}\n";
}

}  // namespace

std::string showProgress(const JobStatus& status) {
  const std::string percent = std::to_string(toPercent(status.progress)) + " %";
  return status.parts < 2
             ? percent
             : percent + ", " + std::to_string(status.partsDone) + " of " + std::to_string(status.parts) + " parts";
}

std::string show(const JobStatus& status, Form form) {
  if (form == Form::Json) {
    return toLine(toJson(status));
  }
  return status.jobId.toString() + " " + toText(status.state) + " " + showProgress(status) +
         (status.host.hasNameOrIp() ? " on " + status.host.getNameOrIp() : "") +
         (status.failure ? ": " + toOneLine(status.failure->getMessage()) : "") + "\n";
}

std::string show(const JobList& list, Form form) {
  std::ostringstream lines;
  for (const JobStatus& job : list.jobs) {
    if (form == Form::Json) {
      lines << toLine(toJson(job));
      continue;
    }
    lines << job.jobId.toString() << " " << std::left << std::setw(9) << toText(job.state) << std::right << std::setw(4)
          << toPercent(job.progress) << " % " << toColumn(job.submitted) << " " << toColumn(job.started) << " "
          << toColumn(job.ended) << (job.owner.empty() ? "" : " " + toOneLine(job.owner))
          << (job.title.empty() ? "" : " " + toOneLine(job.title)) << "\n";
  }
  return lines.str();
}

std::string show(const SweepResult& result, Form form) {
  if (form == Form::Json) {
    return toJsonLine(result);
  }
  std::string csv = "realizationId,result\n";
  for (const Realization& realization : result.realizations) {
    csv += std::to_string(realization.realizationId) + "," + toText(realization.value) + "\n";
  }
  return csv;
}

std::string show(const JobMessages& log, Form form) {
  if (form == Form::Json) {
    return toLine(toJson(log));
  }
  std::string lines;
  for (const LogMessage& message : log.messages) {
    lines += toTime(message.timestamp) + " " + toText(message.type) + " " + toOneLine(message.group) + ": " +
             toOneLine(message.text) + "\n";
  }
  return lines;
}

std::string show(const JobOutput& output, Form form) {
  return form == Form::Json ? toLine({{"job", output.jobId.toString()}, {"text", output.text}}) : output.text;
}

std::string show(const JobRemoved& removed, Form form) {
  const std::string job = removed.jobId.toString();
  return form == Form::Json ? toLine({{"job", job}}) : job + "\n";
}

bool isHealthy(const ServerHealth& health) { return health.engineError.empty() && health.storeError.empty(); }

std::string show(const ServerHealth& health, Form form) {
  if (form == Form::Json) {
    return toLine(toJson(health));
  }
  constexpr double c_bytesInGibibyte = 1024.0 * 1024 * 1024;
  std::ostringstream line;
  line << (isHealthy(health) ? "healthy" : "unhealthy") << ": sweep-server " << health.version << ", up "
       << static_cast<std::int64_t>(health.upSeconds) << " s, engine " << health.engine << ", " << health.queued
       << " jobs queued, " << health.running << " running in " << health.partsRunning << " parts, " << std::fixed
       << std::setprecision(1) << static_cast<double>(health.bytesFree) / c_bytesInGibibyte << " GiB free";
  for (const std::string& error : {health.engineError, health.storeError}) {
    line << (error.empty() ? "" : "; " + toOneLine(error));
  }
  return line.str() + "\n";
}

std::string show(const SweepFailure& failure, Form form) {
  return form == Form::Json ? toLine(toJson(failure)) : std::string("sweep-client: ") + failure.what() + "\n";
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

SweepFailure toFailure(const std::exception& exception) {
  if (const auto* failure = dynamic_cast<const SweepFailure*>(&exception)) {
    return *failure;
  }
  const bool isLocal = dynamic_cast<const Drelvan::DvException*>(&exception) != nullptr ||
                       dynamic_cast<const std::system_error*>(&exception) != nullptr;
  return {isLocal ? FailureKind::LocalFailure : FailureKind::Internal, exception.what()};
}

int exitCode(FailureKind kind) {
  static const std::map<FailureKind, int> s_codes{
      {FailureKind::Internal, 1},          {FailureKind::Unreachable, 3},     {FailureKind::AccessRefused, 4},
      {FailureKind::UnknownJob, 5},        {FailureKind::BadParameters, 6},   {FailureKind::BadExpression, 7},
      {FailureKind::NotFinished, 8},       {FailureKind::JobEnded, 8},        {FailureKind::NotStored, 8},
      {FailureKind::JobFailed, 9},         {FailureKind::LaunchFailed, 9},    {FailureKind::JobCancelled, 10},
      {FailureKind::JobTimedOut, 11},      {FailureKind::JobCrashed, 12},     {FailureKind::JobExists, 13},
      {FailureKind::MalformedPackage, 13}, {FailureKind::MissingPackage, 13}, {FailureKind::PackageTooLarge, 13},
      {FailureKind::UnknownRequest, 13},   {FailureKind::LocalFailure, 14},   {FailureKind::ProcessorTimeExceeded, 15},
      {FailureKind::MemoryExceeded, 16},   {FailureKind::TooMuch, 17}};
  return s_codes.at(kind);
}

}  // namespace ParameterSweep
