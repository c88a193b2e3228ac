#pragma once

#include <memory>
#include <string>

namespace Fuzz {

/// libxml2's opinion of a document, by the same schema.
class PeerValidator {
 public:
  explicit PeerValidator(const std::string& schema);
  ~PeerValidator();

  /// The first objection; empty when the document is accepted.
  std::string objection(const std::string& document);

 private:
  struct Schema;
  std::unique_ptr<Schema> m_schema;
};

}  // namespace Fuzz
