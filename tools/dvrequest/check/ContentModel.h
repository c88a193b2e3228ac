#pragma once

#include <service/Xerces.h>

#include <memory>
#include <string>
#include <vector>
#include <xercesc/framework/psvi/XSParticle.hpp>

namespace DvRequest {

/// An element by namespace and name.
struct QualifiedName {
  std::string space;
  std::string name;
};

bool operator==(const QualifiedName& left, const QualifiedName& right);

/// The children that a type allows, in the order in which it allows them: a regular expression over elements. It is
/// matched child by child; copies share what they have in common.
class ContentModel {
 public:
  /// Null allows no children. Refers to nothing of the particle afterwards.
  explicit ContentModel(xercesc_3_1::XSParticle* particle);

  /// Takes the next child. False when it does not fit, and nothing changes.
  bool take(const QualifiedName& child);
  /// The children that would fit next.
  std::vector<QualifiedName> expected() const;
  /// Whether no further child is needed.
  bool mayEnd() const;

  struct Node;
  using Expression = std::shared_ptr<const Node>;

 private:
  Expression m_rest;
};

}  // namespace DvRequest
