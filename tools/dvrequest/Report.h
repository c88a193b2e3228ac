#pragma once

#include <tools/dvrequest/Package.h>

#include <optional>
#include <string>
#include <vector>

namespace DvRequest {

/// One fault of a document or fragment.
struct Diagnostic {
  std::string severity;  ///< "warning", "error" or "fatal error"
  long line = 0;         ///< from 1; 0 when the place is not known
  long column = 0;       ///< from 1; 0 when the place is not known
  std::string message;
  std::string path;                  ///< of the element at fault, such as /DV_Request/request; empty when not known
  std::vector<std::string> allowed;  ///< what the schema allows there instead; empty when not known
  long loggedLine = 0;               ///< the place that a service program logs, which is `line` and `column` unless the
  long loggedColumn = 0;             ///< parser notices the fault later
  std::size_t consequences = 0;      ///< further messages of the parser that follow from this fault
};

enum class Verdict { valid, wellFormed, invalid, notWellFormed, unreadable, badFragment };

/// What came out for one document or fragment.
struct Report {
  std::string file;
  Verdict verdict = Verdict::valid;
  std::string message;             ///< what a service program catches, or why the file cannot be used; empty when good
  std::optional<Package> package;  ///< of a good document
  std::vector<Diagnostic> diagnostics;
};

/// Takes reports as they come and shows them on standard output.
class Reporter {
 public:
  virtual ~Reporter() = default;
  virtual void show(const Report& report) = 0;
};

}  // namespace DvRequest
