#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Drelvan::Parsing {

/// Hashes names with a random key that is generated when the program starts (SipHash-1-3). Xerces-C's hash has no key,
/// so that a document can contain many names with the same hash; with this one its author cannot find such names.
class KeyedHash {
 public:
  std::size_t operator()(std::u16string_view name) const;
};

}  // namespace Drelvan::Parsing
