#pragma once

#include <cstddef>

/// Limits on one document, and on what remains of documents. SECURITY.md lists the first part for users.
namespace Drelvan::Parsing {

/// A document with more than `most` is rejected: "The document exceeds the limit of <most> <what>."
struct Limit {
  std::size_t most;
  const char* what;
};

namespace Limits {

inline constexpr Limit depth{1000, "levels of elements"};
inline constexpr Limit attributesOfElement{200, "attributes of an element"};
inline constexpr Limit namespaceDeclarations{10000, "namespace declarations"};
inline constexpr Limit prefixes{500, "namespace prefixes of different names"};
inline constexpr Limit namespacesInScope{256, "namespace declarations in scope"};
inline constexpr Limit namespacesOfElement{150, "namespaces named by an element"};
inline constexpr Limit namespaceCharacters{1000, "characters of a namespace name"};
inline constexpr Limit undeclaredElements{2000, "undeclared elements of different names"};
/// Xerces-C's hash tables have no seed, so a document can choose names that all have the same hash; each lookup then
/// costs time proportional to their number. Where such a table cannot be replaced, the number of names per list is
/// limited.
inline constexpr Limit undeclaredElementsOfList{150, "undeclared elements whose names have the same hash"};
inline constexpr Limit idsOfList{150, "values of the type ID or IDREF that have the same hash"};
inline constexpr Limit errors{1000, "reported errors"};
inline constexpr Limit doctypeBytes{16384, "bytes of document type declaration"};
inline constexpr Limit doctypeAttributes{100, "attributes in its document type declaration"};
inline constexpr Limit doctypeLookups{100000, "lookups of attributes in its document type declaration"};
inline constexpr Limit doctypeDefaults{10'000'000, "characters of its default attribute values"};

/// Enforced, with a message of its own, by Xerces-C.
inline constexpr std::size_t entityExpansions = 64;

}  // namespace Limits

/// When the scanner is renewed, which frees what it stored of earlier documents: after so many new names, or after so
/// many bytes, since its buffers grow. Documents that fail or exceed a limit can make them grow most.
namespace Renewal {

inline constexpr std::size_t names = 1000;
inline constexpr std::size_t prefixes = 200;
inline constexpr std::size_t bytes = std::size_t{64} << 20U;
inline constexpr std::size_t bytesAfterFailure = std::size_t{4} << 20U;
inline constexpr std::size_t bytesAfterLimit = std::size_t{64} << 10U;

}  // namespace Renewal

}  // namespace Drelvan::Parsing
