#include <tools/dvrequest/report/JsonReporter.h>
#include <tools/dvrequest/support/Text.h>

#include <array>
#include <cstddef>
#include <iostream>
#include <nlohmann/json.hpp>

namespace DvRequest {

namespace {

using Json = nlohmann::ordered_json;

/// In the order of `Verdict`.
constexpr std::array<const char*, 7> c_verdicts{"valid",           "well-formed", "invalid",     "refused",
                                                "not-well-formed", "unreadable",  "bad-fragment"};

Json numberOrNull(long number) { return number == 0 ? Json() : Json(number); }

Json portOrNull(int port) { return port < 0 ? Json() : Json(port); }

Json textOrNull(const std::string& text) { return text.empty() ? Json() : Json(text); }

Json toJson(const Allowed& allowed) { return {{"kind", allowed.kind}, {"text", allowed.text}}; }

Json toJson(const Job& job) {
  return {{"element", job.element},
          {"name", job.id.getName()},
          {"uniqueId", job.id.getUniqueId()},
          {"isValid", job.id.isValid()}};
}

Json toJson(const Host& host) {
  return {{"element", host.element},
          {"name", textOrNull(host.info.getName())},
          {"ip", textOrNull(host.info.getIp())},
          {"requestServerPort", portOrNull(host.info.getRequestServerPort())},
          {"publisherPort", portOrNull(host.info.getPublisherPort())},
          {"error", textOrNull(host.error)}};
}

Json toJson(const Parameter& parameter) {
  return {{"id", parameter.id}, {"value", parameter.value}, {"isEncrypted", parameter.encrypted}};
}

Json toJson(const Data& data) {
  return {{"element", data.element}, {"id", data.id}, {"name", textOrNull(data.name)}, {"href", data.href}};
}

Json toJson(const Failure& failure) { return {{"type", failure.type}, {"message", textOrNull(failure.message)}}; }

Json toJson(const LogText& entry) { return {{"type", entry.type}, {"group", entry.group}, {"text", entry.text}}; }

Json toJson(const Diagnostic& diagnostic);
Json toJson(const ParameterVector& vector);
Json toJson(const Entry& entry);

template <typename Value>
Json toArray(const std::vector<Value>& values) {
  Json array = Json::array();
  for (const Value& value : values) {
    array.push_back(toJson(value));
  }
  return array;
}

Json toJson(const Diagnostic& diagnostic) {
  return {{"line", numberOrNull(diagnostic.place.line)},
          {"column", numberOrNull(diagnostic.place.column)},
          {"severity", diagnostic.severity},
          {"message", diagnostic.message},
          {"path", textOrNull(diagnostic.path)},
          {"allowed", toArray(diagnostic.allowed)},
          {"hint", textOrNull(diagnostic.hint)},
          {"loggedLine", numberOrNull(diagnostic.logged.line)},
          {"loggedColumn", numberOrNull(diagnostic.logged.column)},
          {"consequences", diagnostic.consequences}};
}

Json toJson(const ParameterVector& vector) {
  return {{"realizationId", vector.realizationId}, {"parameters", toArray(vector.parameters)}};
}

Json toJson(const Entry& entry) {
  return {{"role", entry.role},
          {"id", entry.id},
          {"type", textOrNull(entry.type)},
          {"jobs", toArray(entry.jobs)},
          {"hosts", toArray(entry.hosts)},
          {"parameterVectors", toArray(entry.parameterVectors)},
          {"data", toArray(entry.data)},
          {"exceptions", toArray(entry.failures)},
          {"logMessages", toArray(entry.logTexts)}};
}

Json toJson(const Package& package) {
  Json attributes = Json::object();
  for (const Attribute& attribute : package.attributes) {
    attributes[attribute.name] = attribute.value;
  }
  return {{"root", package.root},
          {"kind", package.kind},
          {"attributes", attributes},
          {"entries", toArray(package.entries)}};
}

Json toJson(const Report& report) {
  return {{"file", report.file},
          {"verdict", c_verdicts.at(static_cast<std::size_t>(report.verdict))},
          {"message", textOrNull(report.message)},
          {"package", report.package ? toJson(*report.package) : Json()},
          {"diagnostics", toArray(report.diagnostics)}};
}

}  // namespace

void JsonReporter::show(const Report& report) {
  std::cout << printableJson(toJson(report).dump(-1, ' ', false, Json::error_handler_t::replace)) << "\n";
}

}  // namespace DvRequest
