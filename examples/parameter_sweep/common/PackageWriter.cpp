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

std::string writeContent(const JobStatus& status) {
  return writeJobId(status.jobId) + element("state", toText(status.state)) +
         element("progress", toText(status.progress)) + HostInfo(status.host).toXmlString("host", "", " ") +
         HostInfo(status.server).toXmlString("server", "", " ") +
         (status.failure ? writeException(*status.failure) : std::string());
}

std::string writeContent(const SweepResult& result) {
  std::string xml = writeJobId(result.jobId);
  for (const Realization& realization : result.realizations) {
    xml += "<realization>" + element("realizationId", std::to_string(realization.realizationId)) +
           element("value", toText(realization.value)) + "</realization>\n";
  }
  return xml;
}

std::string writeContent(const JobMessages& log) {
  std::string xml = writeJobId(log.jobId);
  for (const LogMessage& message : log.messages) {
    xml += writeLogLine(message);
  }
  return xml;
}

std::string writeContent(const SweepFailure& failure) { return writeException(failure); }

}  // namespace

std::string writeRequestPackage(const Request& request) {
  static const std::string s_clientId = Drelvan::UniqueID::generateId();
  std::string xml = "<DV_RequestPackage" + envelope() + attribute("clientId", s_clientId) +
                    attribute("requestClientId", s_clientId) + attribute("replyExpected", "true") + ">\n<request" +
                    attribute("xsi:type", std::string("Sweep") + toText(request.kind) + "Request") +
                    attribute("id", request.id) + ">\n" + writeJobId(request.jobId);
  if (request.kind == RequestKind::Submit) {
    xml += element("expression", request.sweep.expression);
    for (const ParameterVector& vector : request.sweep.vectors) {
      xml += writeVector(vector);
    }
  }
  return xml + "</request>\n</DV_RequestPackage>\n";
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
