#pragma once

#include <service/Xerces.h>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>
#include <xercesc/dom/impl/DOMDocumentImpl.hpp>

namespace Drelvan::Parsing {

/// The names of the nodes of one document, each kept once, in the document.
///
/// A document has a table of its own for that, whose cost for one name grows with the number of all whose hash is the
/// same; and the names that a document brings are chosen by its author. The names are found with a keyed hash here, and
/// entered in the document's table, where what changes the document later finds them.
class NameTable {
 public:
  NameTable();

  /// Forgets the names of the document before. `document` must live until the next one begins.
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
