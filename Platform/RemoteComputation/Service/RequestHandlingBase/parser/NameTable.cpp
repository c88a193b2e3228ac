#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/KeyedHash.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/NameTable.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/XercesAccess.h>

#include <algorithm>
#include <utility>
#include <xercesc/util/XMLString.hpp>

namespace Drelvan::Parsing {

namespace {

constexpr std::size_t c_initialSlots = 128;
/// A table that grew for one document is not kept for the next.
constexpr std::size_t c_mostKeptSlots = 4096;

/// A copy of `name` that `document` owns, entered in its table of names.
const XMLCh* addTo(xercesc_3_1::DOMDocumentImpl& document, std::u16string_view name) {
  void* memory = document.allocate(sizeof(xercesc_3_1::DOMStringPoolEntry) + name.size() * sizeof(XMLCh));
  auto* entry = static_cast<xercesc_3_1::DOMStringPoolEntry*>(memory);
  entry->fLength = name.size();
  std::copy(name.begin(), name.end(), entry->fString);
  entry->fString[name.size()] = 0;
  XercesAccess::enterName(document, *entry);
  return entry->fString;
}

}  // namespace

NameTable::NameTable() : m_slots(c_initialSlots) {}

void NameTable::beginDocument(xercesc_3_1::DOMDocumentImpl& document) {
  m_document = &document;
  m_names = 0;
  if (m_slots.size() > c_mostKeptSlots || ++m_documentNumber == 0) {
    m_slots = std::vector<Slot>(c_initialSlots);
    m_documentNumber = 1;
  }
}

const XMLCh* NameTable::stored(std::u16string_view name) {
  const std::size_t hash = KeyedHash()(name);
  Slot* slot = &slotOf(name, hash);
  if (slot->document == m_documentNumber) {
    return slot->name;
  }
  if ((m_names + 1) * 2 > m_slots.size()) {
    grow();
    slot = &slotOf(name, hash);
  }
  const XMLCh* stored = addTo(*m_document, name);
  *slot = {m_documentNumber, static_cast<std::uint32_t>(name.size()), hash, stored};
  ++m_names;
  return stored;
}

NameTable::Slot& NameTable::slotOf(std::u16string_view name, std::size_t hash) {
  const std::size_t mask = m_slots.size() - 1;
  for (std::size_t index = hash & mask;; index = (index + 1) & mask) {
    Slot& slot = m_slots[index];
    const bool isFilled = slot.document == m_documentNumber;
    if (!isFilled || (slot.hash == hash && std::u16string_view(slot.name, slot.length) == name)) {
      return slot;
    }
  }
}

void NameTable::grow() {
  std::vector<Slot> old(m_slots.size() * 2);
  old.swap(m_slots);
  for (const Slot& slot : old) {
    if (slot.document == m_documentNumber) {
      slotOf({slot.name, slot.length}, slot.hash) = slot;
    }
  }
}

}  // namespace Drelvan::Parsing
