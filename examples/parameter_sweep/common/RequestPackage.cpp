#include <examples/parameter_sweep/common/PackageParts.h>
#include <examples/parameter_sweep/common/Packages.h>

#include <algorithm>
#include <boost/algorithm/string/erase.hpp>

namespace ParameterSweep {

namespace {

using Drelvan::ElementReader;
using Drelvan::PackageWriter;

void writeTitleAndPriority(PackageWriter& writer, const Request& request) {
  writeUnlessEmpty(writer, "title", request.title);
  writeUnlessEmpty(writer, "priority", request.priority);
}

void writeSubmission(PackageWriter& writer, const Request& request) {
  writeTitleAndPriority(writer, request);
  writeUnlessEmpty(writer, "partSize", request.partSize);
  writeUnlessEmpty(writer, "more", request.more);
  writer.element("expression", request.sweep.expression);
  writer.elements("parameterVector", request.sweep.vectors);
}

void writeContent(PackageWriter& writer, const Request& request) {
  switch (request.kind) {
    case RequestKind::Submit:
      writeSubmission(writer, request);
      break;
    case RequestKind::Append:
      writer.element("packageNumber", request.packageNumber);
      writer.element("more", request.more);
      writer.elements("parameterVector", request.sweep.vectors);
      break;
    case RequestKind::Again:
      writeTitleAndPriority(writer, request);
      writer.element("ofJob", request.ofJob);
      break;
    case RequestKind::Compute:
      writer.element("skip", request.skip);
      writer.element("count", request.count);
      writer.element("expression", request.sweep.expression);
      break;
    case RequestKind::List:
      writer.element("state", request.state);
      writer.element("owner", request.owner);
      writeUnlessEmpty(writer, "before", request.before);
      break;
    case RequestKind::Output:
      writeUnlessEmpty(writer, "after", request.after);
      writeUnlessEmpty(writer, "follow", request.follow);
      break;
    case RequestKind::Result:
    case RequestKind::Log:
      writeUnlessEmpty(writer, "after", request.after);
      break;
    case RequestKind::Status:
    case RequestKind::Cancel:
    case RequestKind::Remove:
    case RequestKind::Follow:
    case RequestKind::Ping:
      break;
  }
}

bool namesJob(RequestKind kind) { return kind != RequestKind::List && kind != RequestKind::Ping; }

RequestKind readKind(const ElementReader& element) {
  const std::string type = element.getTypeName();
  std::string name = type;
  boost::algorithm::erase_first(name, "Sweep");
  boost::algorithm::erase_last(name, "Request");
  RequestKind kind{};
  if (!boost::describe::enum_from_string(name.c_str(), kind)) {
    throw SweepFailure(FailureKind::UnknownRequest, "'" + type + "' is not a request of this service");
  }
  return kind;
}

std::vector<ParameterVector> readVectors(const ElementReader& element) {
  auto vectors = element.getAll<ParameterVector>("parameterVector");
  for (const ParameterVector& vector : vectors) {
    if (std::any_of(vector.parameters.begin(), vector.parameters.end(),
                    [](const Parameter& parameter) { return parameter.isEncrypted(); })) {
      throw SweepFailure(FailureKind::BadParameters, "encrypted parameters are not supported; send plain ones");
    }
  }
  return vectors;
}

void readSubmission(const ElementReader& element, Request& request) {
  request.title = element.find<std::string>("title").value_or("");
  request.priority = element.find<std::int32_t>("priority").value_or(0);
  request.partSize = element.find<std::uint32_t>("partSize").value_or(0);
  request.more = element.find<bool>("more").value_or(false);
  request.packageNumber = element.find<std::uint32_t>("packageNumber").value_or(1);
  request.sweep.expression = element.find<std::string>("expression").value_or("");
  request.sweep.vectors = readVectors(element);
  if (element.findChild("ofJob")) {
    request.ofJob = readJobId(element, "ofJob");
  }
}

void readQuestion(const ElementReader& element, Request& request) {
  request.after = element.find<std::uint64_t>("after").value_or(0);
  request.follow = element.find<bool>("follow").value_or(false);
  request.before = element.find<std::uint64_t>("before").value_or(0);
  request.skip = element.find<std::uint64_t>("skip").value_or(0);
  request.count = element.find<std::uint64_t>("count").value_or(0);
  request.state = element.find<JobState>("state");
  request.owner = element.find<std::string>("owner");
}

Request readRequest(const ElementReader& element) {
  Request request;
  request.kind = readKind(element);
  request.id = element.getAttribute<std::string>("id");
  if (namesJob(request.kind)) {
    request.jobId = readJobId(element);
  }
  readSubmission(element, request);
  readQuestion(element, request);
  return request;
}

}  // namespace

std::string writeRequestPackage(const Request& request) {
  static const std::string s_clientId = Drelvan::UniqueID::generateId();
  Drelvan::RequestEnvelope envelope;
  envelope.clientId = s_clientId;
  envelope.requestClientId = s_clientId;
  envelope.replyExpected = true;
  PackageWriter writer;
  writer.startRequestPackage(envelope);
  writer.startRequest(std::string("Sweep") + toText(request.kind) + "Request", request.id);
  if (namesJob(request.kind)) {
    writer.element(SweepJobId::c_tag, request.jobId);
  }
  writeContent(writer, request);
  return writer.finish();
}

Request readRequestPackage(const std::string& package) {
  return readPackage(package, [](const Drelvan::PackageDocument& document) {
    requireKind(document, Drelvan::PackageKind::RequestPackage, "request");
    return readRequest(document.getRequest());
  });
}

}  // namespace ParameterSweep
