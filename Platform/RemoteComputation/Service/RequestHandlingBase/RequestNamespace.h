#pragma once

// Private to the library's source units; not installed.

namespace Drelvan {

/// The namespace of all elements of a package.
inline constexpr const char* c_requestNamespace = "http://drelvan.example/schemas/DVRequests.xsd";

}  // namespace Drelvan
