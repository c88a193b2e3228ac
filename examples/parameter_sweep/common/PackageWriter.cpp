#include <examples/parameter_sweep/common/PackageWriter.h>
#include <examples/parameter_sweep/common/SweepNames.h>
#include <service/GeneralServices.h>

#include <atomic>
#include <boost/algorithm/string/replace.hpp>
#include <ctime>
#include <exception>
#include <iomanip>
#include <sstream>

namespace ParameterSweep {

namespace {

using Drelvan::XmlUtils;

std::atomic<std::uint32_t> s_serial{0};

std::string currentTimestamp() {
  const std::int64_t milliseconds = currentMilliseconds();
  const std::time_t seconds = milliseconds / 1000;
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  std::ostringstream text;
  text << std::put_time(&utc, "UTC/ISO_%Y-%m-%dT%H:%M:%S.") << std::setw(3) << std::setfill('0') << milliseconds % 1000;
  return text.str();
}

std::string attribute(const char* name, const std::string& value) {
  return std::string(" ") + name + "=\"" + XmlUtils::toXml(value) + "\"";
}

void writeText(std::stringstream& stream, const char* tag, const std::string& text) {
  stream << "<" << tag << ">" << XmlUtils::toXml(text) << "</" << tag << ">\n";
}

/// The attributes that open every document: the namespaces of the package and of `xsi:type`.
std::string namespaces() {
  return attribute("xmlns", c_packageNamespace) + attribute("xmlns:xsi", c_instanceNamespace);
}

std::string envelope() {
  return namespaces() + " version=\"5.0.0\"" + attribute("serial", std::to_string(++s_serial)) +
         attribute("timestamp", currentTimestamp());
}

void writeJobId(std::stringstream& stream, const SweepJobId& jobId) {
  jobId.toXml(stream, "", " ");
  stream << "\n";
}

void writeHost(std::stringstream& stream, const char* tag, Drelvan::HostInfo host) {
  host.toXml(stream, tag, "", " ");
  stream << "\n";
}

void writeVector(std::stringstream& stream, const ParameterVector& vector) {
  stream << "<parameterVector><realizationId>" << vector.realizationId << "</realizationId>\n";
  for (const Parameter& parameter : vector.parameters) {
    stream << "<parameter><id>" << XmlUtils::toXml(parameter.id) << "</id><value>" << toText(parameter.value)
           << "</value></parameter>\n";
  }
  stream << "</parameterVector>\n";
}

void writeRequestContent(std::stringstream& stream, const Request& request) {
  stream << "<request xsi:type=\"" << requestTypeName(request.kind) << "\"" << attribute("id", request.id) << ">\n";
  writeJobId(stream, request.jobId);
  if (request.kind == RequestKind::Submit) {
    writeText(stream, "expression", request.sweep.expression);
    for (const ParameterVector& vector : request.sweep.vectors) {
      writeVector(stream, vector);
    }
  }
  stream << "</request>\n";
}

/// The `DVException` form of a failure; what was being handled when it was made becomes the inner exception.
void writeException(std::stringstream& stream, const char* tag, const Drelvan::DvException& failure) {
  const auto* sweepFailure = dynamic_cast<const SweepFailure*>(&failure);
  const auto* nesting = dynamic_cast<const Drelvan::DvExceptionNested*>(&failure);
  stream << "<" << tag << ">\n";
  writeText(stream, "type", sweepFailure != nullptr ? toText(sweepFailure->getKind()) : failure.getGroup());
  writeText(stream, "message", failure.getMessage());
  writeText(stream, "source", failure.getGroup());
  writeText(stream, "file", failure.getFile());
  writeText(stream, "function", failure.getFunction());
  writeText(stream, "line", std::to_string(failure.getLine()));
  writeText(stream, "severity", "Error");
  if (nesting != nullptr && nesting->getNested() != nullptr) {
    try {
      std::rethrow_exception(nesting->getNested());
    } catch (const Drelvan::DvException& inner) {
      writeException(stream, "innerException", inner);
    } catch (...) {
      // A foreign exception has no place in a package; its text, where it matters, is part of the failure's message.
    }
  }
  stream << "</" << tag << ">\n";
}

void writeContent(std::stringstream& stream, const JobStatus& status) {
  writeJobId(stream, status.jobId);
  writeText(stream, "state", toText(status.state));
  writeText(stream, "progress", toText(status.progress));
  writeHost(stream, "host", status.host);
  writeHost(stream, "server", status.server);
  if (status.failure) {
    writeException(stream, "exception", *status.failure);
  }
}

void writeContent(std::stringstream& stream, const SweepResult& result) {
  writeJobId(stream, result.jobId);
  for (const Realization& realization : result.realizations) {
    stream << "<realization><realizationId>" << realization.realizationId << "</realizationId><value>"
           << toText(realization.value) << "</value></realization>\n";
  }
}

void writeContent(std::stringstream& stream, const JobMessages& log) {
  writeJobId(stream, log.jobId);
  for (const LogMessage& message : log.messages) {
    stream << writeLogLine(message);
  }
}

void writeContent(std::stringstream& stream, const SweepFailure& failure) {
  writeException(stream, "exception", failure);
}

void writeReplyContent(std::stringstream& stream, const Reply& reply) {
  stream << "<reply xsi:type=\"" << c_replyTypeNames.at(reply.content.index()) << "\""
         << attribute("requestId", reply.requestId) << ">\n";
  std::visit([&](const auto& content) { writeContent(stream, content); }, reply.content);
  stream << "</reply>\n";
}

}  // namespace

std::string writeRequestPackage(const Request& request, const std::string& clientId) {
  std::stringstream stream;
  stream << "<DV_RequestPackage" << envelope() << attribute("clientId", clientId)
         << attribute("requestClientId", clientId) << " replyExpected=\"true\">\n";
  writeRequestContent(stream, request);
  stream << "</DV_RequestPackage>\n";
  return stream.str();
}

std::string replyPackageStart(const std::string& origin) { return "<DV_ReplyPackage" + attribute("origin", origin); }

std::string writeReplyPackage(const Reply& reply, const std::string& origin) {
  std::stringstream stream;
  stream << replyPackageStart(origin) << envelope() << ">\n";
  writeReplyContent(stream, reply);
  stream << "</DV_ReplyPackage>\n";
  return stream.str();
}

std::string writeReply(const Reply& reply) {
  std::stringstream stream;
  stream << "<DV_Reply" << namespaces() << ">\n";
  writeReplyContent(stream, reply);
  stream << "</DV_Reply>\n";
  return stream.str();
}

std::string writeLogLine(const LogMessage& message) {
  const std::string text = XmlUtils::toXml(message.text);
  return std::string("<logMessage") + attribute("type", toText(message.type)) + attribute("group", message.group) +
         attribute("timestamp", std::to_string(message.timestamp)) + ">" +
         boost::algorithm::replace_all_copy(text, "\n", "&#10;") + "</logMessage>\n";
}

}  // namespace ParameterSweep
