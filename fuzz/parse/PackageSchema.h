#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>

#include <string>

namespace Fuzz {

/// The fragments that the target registers beside the base schema: those of the example packages, and one with what
/// they do not use of the schema language.
class PackageSchema final : public Drelvan::AbstractRequestSchema {
 public:
  PackageSchema();
};

/// All fragments of the target as one stand-alone schema document, the base schema included.
std::string exportedSchema();

}  // namespace Fuzz
