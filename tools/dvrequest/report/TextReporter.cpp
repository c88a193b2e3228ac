#include <tools/dvrequest/report/TextReporter.h>
#include <tools/dvrequest/support/Text.h>

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>
#include <utility>

namespace DvRequest {

namespace {

constexpr const char* c_red = "\033[1;31m";
constexpr const char* c_green = "\033[1;32m";
constexpr const char* c_plain = "\033[0m";
constexpr int c_labelWidth = 16;

void line(const std::string& label, const std::string& text) {
  std::cout << "  " << std::left << std::setw(c_labelWidth) << label << " " << printable(text) << "\n";
}

const Attribute* find(const Package& package, const char* name) {
  const auto found = std::find_if(package.attributes.begin(), package.attributes.end(),
                                  [name](const Attribute& attribute) { return attribute.name == name; });
  return found == package.attributes.end() ? nullptr : &*found;
}

void attributeLine(const Package& package, const std::string& label, const char* name) {
  if (const Attribute* attribute = find(package, name)) {
    line(label, attribute->value + (attribute->isDefault ? " (default)" : ""));
  }
}

void replyAddressLine(const Package& package) {
  const Attribute* host = find(package, "replyHost");
  const Attribute* port = find(package, "replyPort");
  if (host != nullptr || port != nullptr) {
    line("reply to", (host == nullptr ? "" : host->value) + (port == nullptr ? "" : ":" + port->value));
  }
}

void showEnvelope(const Package& package) {
  line("kind", package.kind + (package.kind == "document" ? " " + package.root : ""));
  attributeLine(package, "serial", "serial");
  attributeLine(package, "version", "version");
  attributeLine(package, "timestamp", "timestamp");
  attributeLine(package, "origin", "origin");
  attributeLine(package, "client id", "clientId");
  attributeLine(package, "request client", "requestClientId");
  replyAddressLine(package);
  attributeLine(package, "progress updates", "progressUpdates");
  attributeLine(package, "reply expected", "replyExpected");
}

std::string describe(const Job& job) {
  return job.element + ": " + job.id.getName() + " " + job.id.getUniqueId() +
         (job.id.isValid() ? "" : " (the name does not belong to the id)");
}

std::string describe(const Host& host) {
  return host.element + ": " + (host.error.empty() ? host.info.toString() : host.error);
}

std::string describe(const ParameterVector& vector) {
  std::ostringstream text;
  text << "realization " << vector.realizationId << ":";
  const char* separator = " ";
  for (const Parameter& parameter : vector.parameters) {
    text << separator << parameter.id << " = " << (parameter.encrypted ? "(encrypted)" : parameter.value);
    separator = ", ";
  }
  return text.str();
}

std::string describe(const Data& data) {
  return data.element + ": " + data.href + (data.name.empty() ? "" : " (" + data.name + ")");
}

std::string describe(const LogText& entry) { return entry.type + " [" + entry.group + "] " + entry.text; }

std::string describe(const Failure& failure) {
  return failure.type + (failure.message.empty() ? "" : ": " + failure.message);
}

template <typename Values>
void lines(const std::string& label, const Values& values) {
  for (const auto& value : values) {
    line(label, describe(value));
  }
}

void showEntry(const Entry& entry) {
  line(entry.role, (entry.role == "reply" ? "to " : "") + entry.id + (entry.type.empty() ? "" : ", " + entry.type));
  lines("job", entry.jobs);
  lines("host", entry.hosts);
  lines("parameters", entry.parameterVectors);
  lines("data", entry.data);
  lines("exception", entry.failures);
  lines("log", entry.logTexts);
}

std::string toText(const Place& place) {
  return place.line == 0 ? "" : std::to_string(place.line) + ":" + std::to_string(place.column);
}

std::string toText(const Allowed& allowed) {
  static const std::map<std::string, std::pair<const char*, const char*>> marks{{"element", {"<", ">"}},
                                                                                {"end", {"</", ">"}},
                                                                                {"xsi:type", {"xsi:type=\"", "\""}},
                                                                                {"value", {"'", "'"}},
                                                                                {"limit", {"", ""}}};
  const auto found = marks.find(allowed.kind);
  return found == marks.end() ? allowed.kind + " " + allowed.text
                              : found->second.first + allowed.text + found->second.second;
}

void showAllowed(const std::vector<Allowed>& allowed) {
  std::string line;
  for (const Allowed& one : allowed) {
    line += (line.empty() ? "" : ", ") + toText(one);
  }
  if (!line.empty()) {
    std::cout << "    allowed here: " << printable(line) << "\n";
  }
}

std::string onOneLine(std::string text) {
  std::replace(text.begin(), text.end(), '\t', ' ');
  return printable(text);
}

/// The line of the place, with a mark below the place.
std::string sourceLines(const Diagnostic& diagnostic, const std::string& mark) {
  const std::string before = onOneLine(diagnostic.source.before);
  const auto isStart = [](char byte) { return (static_cast<unsigned char>(byte) & 0xc0U) != 0x80; };
  const auto width = static_cast<std::size_t>(std::count_if(before.begin(), before.end(), isStart));
  const std::string number = std::to_string(diagnostic.place.line);
  return "    " + number + " | " + before + onOneLine(diagnostic.source.after) + "\n    " +
         std::string(number.size(), ' ') + " | " + std::string(width, ' ') + mark + "\n";
}

/// What a reader of the service's log needs to find the entries.
void showLogged(const Diagnostic& diagnostic) {
  if (diagnostic.logged != diagnostic.place && diagnostic.logged.line != 0) {
    std::cout << "    a service logs it at " << toText(diagnostic.logged) << "\n";
  }
  if (diagnostic.consequences != 0) {
    std::cout << "    further messages from the same cause: " << diagnostic.consequences << "\n";
  }
}

}  // namespace

TextReporter::TextReporter(bool colour) : m_colour(colour) {}

std::string TextReporter::coloured(const std::string& text, const char* code) const {
  return m_colour ? code + text + c_plain : text;
}

void TextReporter::showDiagnostic(const std::string& file, const Diagnostic& diagnostic) const {
  const std::string place = toText(diagnostic.place);
  std::cout << printable(file) << ":" << place << (place.empty() ? " " : ": ")
            << coloured(diagnostic.severity + ":", c_red) << " " << printable(diagnostic.message) << "\n";
  if (!diagnostic.source.before.empty() || !diagnostic.source.after.empty()) {
    std::cout << sourceLines(diagnostic, coloured("^", c_green));
  }
  if (!diagnostic.path.empty()) {
    std::cout << "    in " << printable(diagnostic.path) << "\n";
  }
  showAllowed(diagnostic.allowed);
  if (!diagnostic.hint.empty()) {
    std::cout << "    hint: " << printable(diagnostic.hint) << "\n";
  }
  showLogged(diagnostic);
}

void TextReporter::showPackage(const Report& report) const {
  const char* verdict = report.verdict == Verdict::valid ? "valid" : "well-formed, not validated";
  std::cout << printable(report.file) << ": " << coloured(verdict, c_green) << "\n";
  showEnvelope(*report.package);
  std::for_each(report.package->entries.begin(), report.package->entries.end(), showEntry);
}

void TextReporter::show(const Report& report) {
  if (report.package) {
    showPackage(report);
  } else if (report.verdict == Verdict::unreadable) {
    std::cout.flush();
    std::cerr << "dvrequest: " << printable(report.message) << "\n";
  }
  for (const Diagnostic& diagnostic : report.diagnostics) {
    showDiagnostic(report.file, diagnostic);
  }
}

}  // namespace DvRequest
