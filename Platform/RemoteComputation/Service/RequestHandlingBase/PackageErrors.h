#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/Service_RequestHandlingBase_export.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

namespace Drelvan {

/// The errors of a document: the nested exception (`getNested`) of a failed parse whose document was reported invalid.
/// The message of the failure has the last error only, which is often a consequence of the first.
///
/// Threads: an immutable value; copies share their content and may be used on different threads. Copying never throws.
class SERVICE_REQUESTHANDLINGBASE_EXPORT PackageErrors : public std::exception {
 public:
  /// As Xerces-C reports it.
  enum class Severity { Warning, Error, FatalError };

  /// One error, as Xerces-C reports it.
  struct Report {
    Severity severity;     ///< of the error
    std::uint64_t line;    ///< where the parser noticed the error, from 1
    std::uint64_t column;  ///< in characters, from 1
    std::string message;   ///< UTF-8, without the position
  };

  /// The maximum number of stored reports; later errors are only counted.
  static constexpr std::size_t c_maxReports = 20;

  /// `reports` are the first of `count` errors.
  PackageErrors(std::vector<Report> reports, std::size_t count);
  /// @{
  /// Shares the content of `other`.
  PackageErrors(const PackageErrors& other) noexcept;
  PackageErrors& operator=(const PackageErrors& other) noexcept;
  /// @}
  ~PackageErrors() override;

  /// One line per report, "error at line 3, char 7: message", joined by line feeds, and one more when there were more
  /// errors than reports: "and 4 more".
  const char* what() const noexcept override;

  /// The first errors of the document, in the order they were found; at least one.
  const std::vector<Report>& getReports() const noexcept;
  /// The number of all errors, those without a report included.
  std::size_t getCount() const noexcept;

 private:
  struct Content;
  std::shared_ptr<const Content> m_content;
};

}  // namespace Drelvan
