#pragma once

#include <service/Xerces.h>

#include <cstddef>
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

/// The children that a type allows, in the order in which it allows them: a regular expression over elements.
class ContentModel {
 public:
  /// Null allows no children. Refers to nothing of the particle afterwards.
  explicit ContentModel(xercesc_3_1::XSParticle* particle);

  /// Where a series of children leaves the model.
  struct Mismatch {
    bool found = false;
    std::size_t child = 0;                ///< the first child that does not fit; their number when some are missing
    std::vector<QualifiedName> expected;  ///< what would fit there
    bool mayEnd = false;                  ///< whether no further child would fit as well
  };
  Mismatch match(const std::vector<QualifiedName>& children) const;

  struct Node;
  using Expression = std::shared_ptr<const Node>;

 private:
  Expression m_expression;
};

}  // namespace DvRequest
