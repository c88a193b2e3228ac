#pragma once

#include <memory>
#include <string>

namespace Fuzz {

/// Why libxml2 refuses a document.
struct Objection {
  std::string message;      ///< empty when there is no objection
  bool unassessed = false;  ///< it is about something below an element that a lax wildcard takes without a declaration

  bool isRaised() const { return !message.empty(); }
};

/// libxml2's opinion of a document, by the same schema.
class PeerValidator {
 public:
  explicit PeerValidator(const std::string& schema);
  ~PeerValidator();

  /// The first objection.
  Objection objection(const std::string& document);

 private:
  struct Schema;
  std::unique_ptr<Schema> m_schema;
};

}  // namespace Fuzz
