#include <examples/parameter_sweep/common/PackageParts.h>
#include <examples/parameter_sweep/common/Packages.h>

#include <array>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <charconv>
#include <cmath>
#include <map>
#include <sstream>

namespace ParameterSweep {

namespace {

using Drelvan::ElementReader;
using Drelvan::HostInfo;
using Drelvan::PackageWriter;

enum class Hosts { Shown, LeftOut };

/// The `DVException` form of a failure.
void write(PackageWriter& writer, const SweepFailure& failure) {
  Drelvan::PackageException exception{toText(failure.getKind()), failure.getMessage()};
  exception.source = failure.getGroup();
  exception.file = failure.getFile();
  exception.function = failure.getFunction();
  exception.line = failure.getLine();
  exception.severity = "Error";
  writer.element("exception", Drelvan::PackageExceptions{exception});
}

void writeJob(PackageWriter& writer, const JobStatus& status, Hosts hosts) {
  writer.element(SweepJobId::c_tag, status.jobId);
  writeUnlessEmpty(writer, "title", status.title);
  writeUnlessEmpty(writer, "owner", status.owner);
  writer.element("state", status.state);
  writer.element("progress", status.progress);
  if (hosts == Hosts::Shown) {
    writer.element("host", status.host);
    writer.element("server", status.server);
  }
  writer.element("priority", status.priority);
  writer.element("realizations", status.realizations);
  writer.element("parts", status.parts);
  writer.element("partsDone", status.partsDone);
  writer.element("partsRunning", status.partsRunning);
  writer.element("submitted", status.submitted);
  writeUnlessEmpty(writer, "started", status.started);
  writeUnlessEmpty(writer, "ended", status.ended);
  if (status.failure) {
    write(writer, *status.failure);
  }
}

void write(PackageWriter& writer, const JobStatus& status) { writeJob(writer, status, Hosts::Shown); }

void write(PackageWriter& writer, const SweepResult& result) {
  writer.element(SweepJobId::c_tag, result.jobId);
  writer.element("first", result.first);
  writer.element("total", result.total);
  for (const Realization& realization : result.realizations) {
    writer.startElement("realization");
    writer.element("realizationId", realization.realizationId);
    writer.element("value", realization.value);
    writer.endElement();
  }
}

void write(PackageWriter& writer, const JobMessages& log) {
  writer.element(SweepJobId::c_tag, log.jobId);
  writer.element("next", log.next);
  writer.elements("logMessage", log.messages);
}

void write(PackageWriter& writer, const PackageReceived& received) {
  writer.element(SweepJobId::c_tag, received.jobId);
  writer.element("packages", received.packages);
  writer.element("realizations", received.realizations);
}

void write(PackageWriter& writer, const JobOutput& output) {
  writer.element(SweepJobId::c_tag, output.jobId);
  writer.element("next", output.next);
  writer.element("more", output.more);
  writer.element("text", output.text);
}

void write(PackageWriter& writer, const JobList& list) {
  writeUnlessEmpty(writer, "next", list.next);
  for (const JobStatus& job : list.jobs) {
    writer.startElement("job");
    writeJob(writer, job, Hosts::LeftOut);
    writer.endElement();
  }
}

void write(PackageWriter& writer, const JobRemoved& removed) { writer.element(SweepJobId::c_tag, removed.jobId); }

void write(PackageWriter& writer, const ServerHealth& health) {
  writer.element("server", health.server);
  writer.element("version", health.version);
  writer.element("upSeconds", health.upSeconds);
  writer.element("engine", health.engine);
  writeUnlessEmpty(writer, "engineError", health.engineError);
  writeUnlessEmpty(writer, "storeError", health.storeError);
  writer.element("queued", health.queued);
  writer.element("running", health.running);
  writer.element("partsRunning", health.partsRunning);
  writer.element("bytesFree", health.bytesFree);
}

SweepFailure readFailure(const ElementReader& element) {
  const Drelvan::PackageException exception = element.as<Drelvan::PackageExceptions>().front();
  return {fromText(exception.type, FailureKind::Internal), exception.message.value_or(""),
          exception.function.value_or("").c_str(), exception.file.value_or("").c_str(), exception.line.value_or(0)};
}

JobStatus readStatus(const ElementReader& element) {
  JobStatus status;
  status.jobId = readJobId(element);
  status.title = element.find<std::string>("title").value_or("");
  status.owner = element.find<std::string>("owner").value_or("");
  status.state = element.get<JobState>("state");
  status.progress = element.get<double>("progress");
  status.host = element.find<HostInfo>("host").value_or(HostInfo());
  status.server = element.find<HostInfo>("server").value_or(HostInfo());
  status.priority = element.find<std::int32_t>("priority").value_or(0);
  status.realizations = element.find<std::uint64_t>("realizations").value_or(0);
  status.parts = element.find<std::uint32_t>("parts").value_or(0);
  status.partsDone = element.find<std::uint32_t>("partsDone").value_or(0);
  status.partsRunning = element.find<std::uint32_t>("partsRunning").value_or(0);
  status.submitted = element.find<std::int64_t>("submitted").value_or(0);
  status.started = element.find<std::int64_t>("started").value_or(0);
  status.ended = element.find<std::int64_t>("ended").value_or(0);
  if (const auto exception = element.findChild("exception")) {
    status.failure = readFailure(*exception);
  }
  return status;
}

SweepResult readResult(const ElementReader& element) {
  SweepResult result{readJobId(element)};
  result.first = element.find<std::uint64_t>("first").value_or(0);
  result.total = element.find<std::uint64_t>("total").value_or(0);
  for (const ElementReader& realization : element.getChildren("realization")) {
    result.realizations.push_back({realization.get<std::uint32_t>("realizationId"), realization.get<double>("value")});
  }
  return result;
}

JobMessages readLog(const ElementReader& element) {
  return {readJobId(element), element.getAll<LogMessage>("logMessage"),
          element.find<std::uint64_t>("next").value_or(0)};
}

PackageReceived readReceived(const ElementReader& element) {
  return {readJobId(element), element.get<std::uint32_t>("packages"), element.get<std::uint64_t>("realizations")};
}

JobOutput readOutput(const ElementReader& element) {
  return {readJobId(element), element.get<std::uint64_t>("next"), element.get<bool>("more"),
          element.get<std::string>("text")};
}

JobList readList(const ElementReader& element) {
  JobList list;
  list.next = element.find<std::uint64_t>("next").value_or(0);
  for (const ElementReader& job : element.getChildren("job")) {
    list.jobs.push_back(readStatus(job));
  }
  return list;
}

JobRemoved readRemoved(const ElementReader& element) { return {readJobId(element)}; }

ServerHealth readHealth(const ElementReader& element) {
  return {element.get<HostInfo>("server"),
          element.get<std::string>("version"),
          element.get<double>("upSeconds"),
          element.get<std::string>("engine"),
          element.find<std::string>("engineError").value_or(""),
          element.find<std::string>("storeError").value_or(""),
          element.get<std::uint64_t>("queued"),
          element.get<std::uint64_t>("running"),
          element.get<std::uint64_t>("partsRunning"),
          element.get<std::uint64_t>("bytesFree")};
}

SweepFailure readRefusal(const ElementReader& element) { return readFailure(element.getChild("exception")); }

template <auto read>
ReplyContent readAs(const ElementReader& element) {
  return read(element);
}

ReplyContent readContent(const ElementReader& reply) {
  using Reader = ReplyContent (*)(const ElementReader&);
  static const std::map<std::string, Reader> s_readers{{JobStatus::c_type, readAs<readStatus>},
                                                       {SweepResult::c_type, readAs<readResult>},
                                                       {JobMessages::c_type, readAs<readLog>},
                                                       {SweepFailure::c_type, readAs<readRefusal>},
                                                       {PackageReceived::c_type, readAs<readReceived>},
                                                       {JobOutput::c_type, readAs<readOutput>},
                                                       {JobList::c_type, readAs<readList>},
                                                       {JobRemoved::c_type, readAs<readRemoved>},
                                                       {ServerHealth::c_type, readAs<readHealth>}};
  const std::string type = reply.getTypeName();
  const auto reader = s_readers.find(type);
  if (reader == s_readers.end()) {
    throw SweepFailure(FailureKind::MalformedPackage, "'" + type + "' is not a reply of this service");
  }
  return reader->second(reply);
}

}  // namespace

std::string writeReplyPackage(const Reply& reply, const std::string& origin) {
  Drelvan::ReplyEnvelope envelope;
  envelope.origin = origin;
  PackageWriter writer;
  writer.startReplyPackage(envelope);
  const auto writeReply = [&](const auto& content) {
    writer.startReply(content.c_type, reply.requestId);
    write(writer, content);
  };
  std::visit(writeReply, reply.content);
  return writer.finish();
}

Reply readReplyPackage(const std::string& package) {
  return readPackage(package, [](const Drelvan::PackageDocument& document) -> Reply {
    requireKind(document, Drelvan::PackageKind::ReplyPackage, "reply");
    const ElementReader reply = document.getReply();
    return {readContent(reply), reply.getAttribute<std::string>("requestId")};
  });
}

std::string writeLogLine(const LogMessage& message) {
  PackageWriter writer;
  writer.element("logMessage", message);
  std::string line = writer.finish();
  line.pop_back();  // its line end
  return boost::algorithm::replace_all_copy(line, "\n", "&#10;") + "\n";
}

std::vector<LogMessage> readLogLines(const std::string& lines) {
  PackageWriter writer;
  writer.startReplyPackage(Drelvan::ReplyEnvelope());
  writer.startReply(JobMessages::c_type, c_noRequest);
  writer.element(SweepJobId::c_tag, SweepJobId());
  std::istringstream stream(lines);
  for (std::string line; std::getline(stream, line);) {
    // An unfinished line is what a job was writing when it ended.
    if (boost::algorithm::starts_with(line, "<logMessage ") && boost::algorithm::ends_with(line, "</logMessage>")) {
      writer.piece(line);
    }
  }
  return std::get<JobMessages>(readReplyPackage(writer.finish()).content).messages;
}

std::string toText(double number) {
  if (std::isnan(number)) {
    return "NaN";
  }
  if (std::isinf(number)) {
    return number < 0 ? "-INF" : "INF";
  }
  std::array<char, 32> text{};
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

}  // namespace ParameterSweep
