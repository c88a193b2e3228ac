#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/ListCounts.h>

#include <algorithm>
#include <limits>
#include <xercesc/util/XMLString.hpp>

namespace Drelvan::Parsing {

std::size_t ListCounts::add(const XMLCh* value, std::size_t lists) {
  if (m_counts.size() != lists) {
    m_counts.assign(lists, 0);
    for (const std::size_t hash : m_hashes) {
      ++m_counts[hash % lists];
    }
  }
  const std::size_t hash = xercesc_3_1::XMLString::hash(value, std::numeric_limits<XMLSize_t>::max());
  m_hashes.push_back(hash);
  return ++m_counts[hash % lists];
}

void ListCounts::clear() {
  // Most documents have no such values.
  if (!m_hashes.empty()) {
    m_hashes.clear();
    m_hashes.shrink_to_fit();
    std::fill(m_counts.begin(), m_counts.end(), 0);
  }
}

}  // namespace Drelvan::Parsing
