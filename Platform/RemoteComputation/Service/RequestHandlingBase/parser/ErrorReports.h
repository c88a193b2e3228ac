#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/PackageErrors.h>
#include <service/Xerces.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>
#include <xercesc/util/XercesDefs.hpp>

namespace Drelvan::Parsing {

/// What was reported of one document, for the exception that tells of it.
class ErrorReports {
 public:
  void beginDocument() {
    m_reports.clear();
    m_count = 0;
  }

  /// `message` is called for its text only when the report is kept.
  template <typename Message>
  void add(PackageErrors::Severity severity, XMLFileLoc line, XMLFileLoc column, Message message) {
    if (m_reports.size() < PackageErrors::c_maxReports) {
      m_reports.push_back({severity, line, column, message()});
    }
    ++m_count;
  }

  /// The reports, which are gone from here afterwards.
  PackageErrors take() { return {std::exchange(m_reports, {}), m_count}; }

 private:
  std::vector<PackageErrors::Report> m_reports;
  std::size_t m_count = 0;
};

}  // namespace Drelvan::Parsing
