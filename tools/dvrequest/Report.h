#pragma once

#include <tools/dvrequest/Package.h>
#include <tools/dvrequest/Place.h>

#include <optional>
#include <string>
#include <vector>

namespace DvRequest {

/// Something that the schema allows at a place.
struct Allowed {
  std::string kind;  ///< "element", "attribute", "value", "pattern", "limit", "type", "xsi:type", "namespace", "end"
                     ///< (of the element)
  std::string text;
};

/// One fault of a document or fragment.
struct Diagnostic {
  std::string severity;  ///< "warning", "error" or "fatal error"
  Place place;           ///< of the fault itself
  Place logged;          ///< what a service program logs: where the parser was when it noticed the fault
  std::string message;
  std::string path;  ///< of the element or attribute at fault, such as /DV_Request/request/@id; may be empty
  std::vector<Allowed> allowed;  ///< instead; empty when not known
  std::size_t consequences = 0;  ///< further messages of the parser that follow from this fault
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
