#pragma once

#include <service/Xerces.h>

#include <string>
#include <xercesc/dom/DOMDocument.hpp>

namespace Fuzz {

/// All that a document says: elements and attributes by namespace and local name, whether an attribute was written in
/// the document, text, comments and processing instructions. Equal texts mean equal documents.
std::string textOf(const xercesc_3_1::DOMDocument& document);

}  // namespace Fuzz
