#pragma once

#include <service/Xerces.h>

#include <string>
#include <xercesc/dom/DOMDocument.hpp>

namespace TestSupport {

/// The first difference between two documents, in every property of every node and in every link between the nodes,
/// with the path of the node; empty when there is none.
std::string differenceOf(const xercesc_3_1::DOMDocument& left, const xercesc_3_1::DOMDocument& right);

/// Makes the same changes to both documents, one after the other: nodes are inserted, removed, cloned, imported, split,
/// joined, renamed and released. Returns the change after which they differ, and how; empty when they never do.
std::string differenceAfterChanges(xercesc_3_1::DOMDocument& left, xercesc_3_1::DOMDocument& right);

}  // namespace TestSupport
