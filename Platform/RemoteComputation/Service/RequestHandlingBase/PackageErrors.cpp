#include <Platform/RemoteComputation/Service/RequestHandlingBase/PackageErrors.h>

#include <utility>

namespace Drelvan {

namespace {

const char* nameOf(PackageErrors::Severity severity) {
  switch (severity) {
    case PackageErrors::Severity::Warning:
      return "warning";
    case PackageErrors::Severity::Error:
      return "error";
    case PackageErrors::Severity::FatalError:
      return "fatal error";
  }
  return "";
}

std::string textOf(const std::vector<PackageErrors::Report>& reports, std::size_t count) {
  std::string text;
  for (const PackageErrors::Report& report : reports) {
    text += text.empty() ? "" : "\n";
    text.append(nameOf(report.severity)).append(" at line ").append(std::to_string(report.line)).append(", char ");
    text.append(std::to_string(report.column)).append(": ").append(report.message);
  }
  if (count > reports.size()) {
    text += "\nand " + std::to_string(count - reports.size()) + " more";
  }
  return text;
}

}  // namespace

struct PackageErrors::Content {
  std::vector<Report> reports;
  std::size_t count;
  std::string text;
};

PackageErrors::PackageErrors(std::vector<Report> reports, std::size_t count) {
  std::string text = textOf(reports, count);
  m_content = std::make_shared<const Content>(Content{std::move(reports), count, std::move(text)});
}

PackageErrors::PackageErrors(const PackageErrors& other) noexcept = default;
PackageErrors& PackageErrors::operator=(const PackageErrors& other) noexcept = default;
PackageErrors::~PackageErrors() = default;

const char* PackageErrors::what() const noexcept { return m_content->text.c_str(); }

const std::vector<PackageErrors::Report>& PackageErrors::getReports() const noexcept { return m_content->reports; }

std::size_t PackageErrors::getCount() const noexcept { return m_content->count; }

}  // namespace Drelvan
