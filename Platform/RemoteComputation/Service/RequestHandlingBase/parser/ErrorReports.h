#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/PackageErrors.h>
#include <service/Xerces.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>
#include <xercesc/util/XercesDefs.hpp>

namespace Drelvan::Parsing {

/// The errors of one document, for the exception of the failed parse.
class ErrorReports {
 public:
  void beginDocument() {
    m_reports.clear();
    m_count = 0;
  }

  /// `message` is called only when the report is stored.
  template <typename Message>
  void add(PackageErrors::Severity severity, XMLFileLoc line, XMLFileLoc column, Message message) {
    if (m_reports.size() < PackageErrors::c_maxReports) {
      m_reports.push_back({severity, line, column, message()});
    }
    ++m_count;
  }

  /// The reports, which are removed from here.
  PackageErrors take() { return {std::exchange(m_reports, {}), m_count}; }

 private:
  std::vector<PackageErrors::Report> m_reports;
  std::size_t m_count = 0;
};

}  // namespace Drelvan::Parsing
