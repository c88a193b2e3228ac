#pragma once

#include <service/Xerces.h>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>
#include <xercesc/dom/impl/DOMDocumentImpl.hpp>

namespace Drelvan::Parsing {

/// The names of the nodes of one document, each stored once, in the document.
///
/// A document has a table for that, but its cost for one name grows with the number of names with the same hash, and
/// the author of a document chooses the names. This table finds names with a keyed hash, and enters them in the
/// document's table, where later changes of the document find them.
class NameTable {
 public:
  NameTable();

  /// Removes the names of the previous document. `document` must exist until the next call.
  void beginDocument(xercesc_3_1::DOMDocumentImpl& document);

  /// The one copy of `name`, which the document owns.
  const XMLCh* stored(std::u16string_view name);

 private:
  struct Slot {
    std::uint32_t document;  ///< in which the slot was filled
    std::uint32_t length;
    std::size_t hash;
    const XMLCh* name;
  };

  Slot& slotOf(std::u16string_view name, std::size_t hash);
  void grow();

  xercesc_3_1::DOMDocumentImpl* m_document = nullptr;
  std::uint32_t m_documentNumber = 0;
  std::size_t m_names = 0;
  std::vector<Slot> m_slots;  ///< a power of two, at most half of them filled
};

}  // namespace Drelvan::Parsing
