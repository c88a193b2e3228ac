#pragma once

#include <fuzz/parse/PeerValidator.h>

#include <string>

namespace Fuzz {

/// Whether it is known, and explained in README.md, why libxml2 objects to a document that is valid here.
bool isExplained(const std::string& document, const Objection& objection);

}  // namespace Fuzz
