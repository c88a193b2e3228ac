#pragma once

#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <tools/dvrequest/support/Package.h>

namespace DvRequest {

Package readPackage(const Drelvan::PackageDocument& document);

}  // namespace DvRequest
