#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Drelvan::Parsing {

/// Hashes names with a key that is drawn when the program starts (SipHash-1-3). Xerces-C's hash has none, so that
/// documents can hold any number of names that fall on one value; of this one their authors cannot know any.
class KeyedHash {
 public:
  std::size_t operator()(std::u16string_view name) const;
};

}  // namespace Drelvan::Parsing
