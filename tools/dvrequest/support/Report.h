#pragma once

#include <tools/dvrequest/support/Package.h>
#include <tools/dvrequest/support/Place.h>

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

/// A piece of the line of a place.
struct Excerpt {
  std::string before;
  std::string after;
};

/// One error of a document or fragment.
struct Diagnostic {
  std::string severity;  ///< "warning", "error" or "fatal error"
  Place place;           ///< of the error itself
  Place logged;          ///< what a service program logs: where the parser was when it noticed the error
  std::string message;
  std::string path;  ///< of the element or attribute concerned, such as /DV_Request/request/@id; may be empty
  std::vector<Allowed> allowed;  ///< instead; empty when not known
  std::string hint;              ///< what is meant, and what to do; may be empty
  Excerpt source;                ///< at the place; empty when not known
  std::size_t consequences = 0;  ///< further messages of the parser that follow from this error
};

enum class Verdict {
  valid,
  wellFormed,
  invalid,
  refused,  ///< neither invalid nor malformed as far as it was read, but not accepted by the library
  notWellFormed,
  unreadable,
  badFragment
};

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
