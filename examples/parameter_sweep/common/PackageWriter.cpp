#include <examples/parameter_sweep/common/Packages.h>
#include <service/GeneralServices.h>

#include <array>
#include <atomic>
#include <boost/algorithm/string/replace.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <charconv>
#include <cmath>

namespace ParameterSweep {

namespace {

using Drelvan::HostInfo;
using Drelvan::XmlUtils;

std::string attribute(const char* name, const std::string& value) {
  return std::string(" ") + name + "=\"" + XmlUtils::toXml(value) + "\"";
}

std::string element(const std::string& tag, const std::string& text) {
  return "<" + tag + ">" + XmlUtils::toXml(text) + "</" + tag + ">\n";
}

/// The attributes that both packages have.
std::string envelope() {
  static std::atomic<std::uint32_t> s_serial{0};
  const auto now = boost::posix_time::microsec_clock::universal_time();
  return attribute("xmlns", "http://drelvan.example/schemas/DVRequests.xsd") +
         attribute("xmlns:xsi", "http://www.w3.org/2001/XMLSchema-instance") + attribute("version", "5.0.0") +
         attribute("serial", std::to_string(++s_serial)) +
         attribute("timestamp", "UTC/ISO_" + boost::posix_time::to_iso_extended_string(now));
}

/// The `DVException` form of a failure.
std::string writeException(const SweepFailure& failure) {
  return "<exception>" + element("type", toText(failure.getKind())) + element("message", failure.getMessage()) +
         element("source", failure.getGroup()) + element("file", failure.getFile()) +
         element("function", failure.getFunction()) + element("line", std::to_string(failure.getLine())) +
         element("severity", "Error") + "</exception>\n";
}

std::string writeJobId(const SweepJobId& jobId) { return jobId.toXml("", " ") + "\n"; }

std::string writeVector(const ParameterVector& vector) {
  std::string xml = "<parameterVector>" + element("realizationId", std::to_string(vector.realizationId));
  for (const Parameter& parameter : vector.parameters) {
    xml += "<parameter>" + element("id", parameter.id) + element("value", toText(parameter.value)) + "</parameter>\n";
  }
  return xml + "</parameterVector>\n";
}

template <typename Number>
std::string number(const char* tag, Number value) {
  return element(tag, std::to_string(value));
}

std::string flag(const char* tag, bool value) { return element(tag, value ? "true" : "false"); }

/// An element that is left out when it says nothing.
std::string optional(const char* tag, const std::string& text) { return text.empty() ? text : element(tag, text); }

template <typename Number>
std::string optionalNumber(const char* tag, Number value) {
  return value == 0 ? std::string() : number(tag, value);
}

std::string writeHosts(const JobStatus& status) {
  return HostInfo(status.host).toXmlString("host", "", " ") + HostInfo(status.server).toXmlString("server", "", " ");
}

std::string writeJob(const JobStatus& status, const std::string& hosts) {
  return writeJobId(status.jobId) + optional("title", status.title) + optional("owner", status.owner) +
         element("state", toText(status.state)) + element("progress", toText(status.progress)) + hosts +
         number("priority", status.priority) + number("realizations", status.realizations) +
         number("parts", status.parts) + number("partsDone", status.partsDone) +
         number("partsRunning", status.partsRunning) + number("submitted", status.submitted) +
         optionalNumber("started", status.started) + optionalNumber("ended", status.ended) +
         (status.failure ? writeException(*status.failure) : std::string());
}

std::string writeContent(const JobStatus& status) { return writeJob(status, writeHosts(status)); }

std::string writeContent(const SweepResult& result) {
  std::string xml = writeJobId(result.jobId) + number("first", result.first) + number("total", result.total);
  for (const Realization& realization : result.realizations) {
    xml += "<realization>" + element("realizationId", std::to_string(realization.realizationId)) +
           element("value", toText(realization.value)) + "</realization>\n";
  }
  return xml;
}

std::string writeContent(const JobMessages& log) {
  std::string xml = writeJobId(log.jobId) + number("next", log.next);
  for (const LogMessage& message : log.messages) {
    xml += writeLogLine(message);
  }
  return xml;
}

std::string writeContent(const PackageReceived& received) {
  return writeJobId(received.jobId) + number("packages", received.packages) +
         number("realizations", received.realizations);
}

std::string writeContent(const JobOutput& output) {
  return writeJobId(output.jobId) + number("next", output.next) + flag("more", output.more) +
         element("text", output.text);
}

std::string writeContent(const JobList& list) {
  std::string xml = optionalNumber("next", list.next);
  for (const JobStatus& job : list.jobs) {
    xml += "<job>" + writeJob(job, "") + "</job>\n";
  }
  return xml;
}

std::string writeContent(const JobRemoved& removed) { return writeJobId(removed.jobId); }

std::string writeContent(const ServerHealth& health) {
  return HostInfo(health.server).toXmlString("server", "", " ") + element("version", health.version) +
         element("upSeconds", toText(health.upSeconds)) + element("engine", health.engine) +
         optional("engineError", health.engineError) + optional("storeError", health.storeError) +
         number("queued", health.queued) + number("running", health.running) +
         number("partsRunning", health.partsRunning) + number("bytesFree", health.bytesFree);
}

std::string writeContent(const SweepFailure& failure) { return writeException(failure); }

std::string writeVectors(const Request& request) {
  std::string xml;
  for (const ParameterVector& vector : request.sweep.vectors) {
    xml += writeVector(vector);
  }
  return xml;
}

std::string writeTitleAndPriority(const Request& request) {
  return optional("title", request.title) + optionalNumber("priority", request.priority);
}

std::string writeSubmission(const Request& request) {
  return writeTitleAndPriority(request) + optionalNumber("partSize", request.partSize) +
         (request.more ? flag("more", true) : std::string()) + element("expression", request.sweep.expression) +
         writeVectors(request);
}

std::string writeListed(const Request& request) {
  return (request.state ? element("state", toText(*request.state)) : std::string()) +
         (request.owner ? element("owner", *request.owner) : std::string()) + optionalNumber("before", request.before);
}

std::string writeJobId(const char* tag, const SweepJobId& jobId) {
  return std::string("<") + tag + ">" + element("id", jobId.getUniqueId()) + element("name", jobId.getName()) + "</" +
         tag + ">\n";
}

std::string writeContent(const Request& request) {
  switch (request.kind) {
    case RequestKind::Submit:
      return writeJobId(request.jobId) + writeSubmission(request);
    case RequestKind::Append:
      return writeJobId(request.jobId) + number("packageNumber", request.packageNumber) + flag("more", request.more) +
             writeVectors(request);
    case RequestKind::Again:
      return writeJobId(request.jobId) + writeTitleAndPriority(request) +
             writeJobId("ofJob", request.ofJob.value_or(SweepJobId()));
    case RequestKind::Compute:
      return writeJobId(request.jobId) + number("skip", request.skip) + number("count", request.count) +
             element("expression", request.sweep.expression);
    case RequestKind::List:
      return writeListed(request);
    case RequestKind::Ping:
      return {};
    case RequestKind::Result:
    case RequestKind::Log:
    case RequestKind::Output:
      return writeJobId(request.jobId) + optionalNumber("after", request.after);
    case RequestKind::Status:
    case RequestKind::Cancel:
    case RequestKind::Remove:
    case RequestKind::Follow:
      break;
  }
  return writeJobId(request.jobId);
}

}  // namespace

std::string writeRequestPackage(const Request& request) {
  static const std::string s_clientId = Drelvan::UniqueID::generateId();
  return "<DV_RequestPackage" + envelope() + attribute("clientId", s_clientId) +
         attribute("requestClientId", s_clientId) + attribute("replyExpected", "true") + ">\n<request" +
         attribute("xsi:type", std::string("Sweep") + toText(request.kind) + "Request") + attribute("id", request.id) +
         ">" + writeContent(request) + "</request>\n</DV_RequestPackage>\n";
}

std::string replyPackageStart(const std::string& origin) { return "<DV_ReplyPackage" + attribute("origin", origin); }

std::string writeReplyPackage(const Reply& reply, const std::string& origin) {
  const auto writeReply = [&](const auto& content) {
    return "<reply" + attribute("xsi:type", content.c_type) + attribute("requestId", reply.requestId) + ">\n" +
           writeContent(content) + "</reply>\n";
  };
  return replyPackageStart(origin) + envelope() + ">\n" + std::visit(writeReply, reply.content) +
         "</DV_ReplyPackage>\n";
}

std::string writeLogLine(const LogMessage& message) {
  return "<logMessage" + attribute("type", toText(message.type)) + attribute("group", message.group) +
         attribute("timestamp", std::to_string(message.timestamp)) + ">" +
         boost::algorithm::replace_all_copy(XmlUtils::toXml(message.text), "\n", "&#10;") + "</logMessage>\n";
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
