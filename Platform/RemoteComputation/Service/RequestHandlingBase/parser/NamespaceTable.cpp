#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/NamespaceTable.h>

#include <utility>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/validators/schema/SchemaSymbols.hpp>

namespace Drelvan::Parsing {

namespace {

std::u16string_view viewOf(const XMLCh* name) { return {name, xercesc_3_1::XMLString::stringLen(name)}; }

}  // namespace

NamespaceTable::NamespaceTable() : XMLStringPool(1, xercesc_3_1::XMLPlatformUtils::fgMemoryManager) {}

void NamespaceTable::endSchema(DocumentRejector& rejector, std::function<void()> onXsi) {
  m_xsi = addOrFind(xercesc_3_1::SchemaSymbols::fgURI_XSI);
  m_schemaNames = m_names.size();
  m_rejector = &rejector;
  m_onXsi = std::move(onXsi);
  beginElement();
}

void NamespaceTable::dropDocuments() {
  while (m_names.size() > m_schemaNames) {
    m_ids.erase(m_names.back());
    m_names.pop_back();
  }
  beginElement();
}

unsigned int NamespaceTable::addOrFind(const XMLCh* name) {
  const std::u16string_view view = viewOf(name);
  const auto found = m_ids.find(view);
  ++m_lookups;
  if (m_rejector == nullptr) {
    return found == m_ids.end() ? add(view) : found->second;
  }
  // The scanner resolves all namespaces of an element before it reports the element, each at a cost that grows with
  // their number.
  m_rejector->enforceLimit(m_lookups, Limits::namespacesOfElement);
  if (found == m_ids.end()) {
    // The scanner reads a name again at each element that has it.
    m_rejector->enforceLimit(view.size(), Limits::namespaceCharacters);
    return add(view);
  }
  if (found->second == m_xsi) {
    m_onXsi();
  }
  return found->second;
}

unsigned int NamespaceTable::add(std::u16string_view name) {
  m_names.emplace_back(name);
  const auto id = static_cast<unsigned int>(m_names.size());
  try {
    m_ids.emplace(m_names.back(), id);
  } catch (...) {
    m_names.pop_back();
    throw;
  }
  return id;
}

void NamespaceTable::flushAll() {
  m_ids.clear();
  m_names.clear();
  m_schemaNames = 0;
  m_rejector = nullptr;
  m_onXsi = nullptr;
  m_xsi = 0;
}

unsigned int NamespaceTable::getId(const XMLCh* name) const {
  const auto found = m_ids.find(viewOf(name));
  return found == m_ids.end() ? 0 : found->second;
}

const XMLCh* NamespaceTable::getValueForId(unsigned int id) const {
  // The base's table is empty, so that it throws what Xerces-C expects for an unknown number.
  return exists(id) ? m_names[id - 1].c_str() : XMLStringPool::getValueForId(id);
}

}  // namespace Drelvan::Parsing
