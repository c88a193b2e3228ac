#pragma once

#include <service/Xerces.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Drelvan::Parsing {

/// How many values each list of one of Xerces-C's hash tables has. Its hash has no seed, so the author of a document
/// can choose values that are all in one list, each of which makes the next one more expensive.
class ListCounts {
 public:
  /// Counts a value that the table stores, while the table has so many lists. Returns how many values are in its list.
  std::size_t add(const XMLCh* value, std::size_t lists);
  std::size_t size() const { return m_hashes.size(); }
  void clear();

 private:
  std::vector<std::size_t> m_hashes;  ///< of all values, for when the table grows
  std::vector<std::uint32_t> m_counts;
};

}  // namespace Drelvan::Parsing
