#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/DocumentRejector.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/KeyedHash.h>
#include <service/Xerces.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <xercesc/util/StringPool.hpp>

namespace Drelvan::Parsing {

/// The table of namespace names, by which the scanner and the validator number them: those of the schema, followed by
/// those of documents, which can be removed.
///
/// It replaces Xerces-C's table, whose cost for one name grows with the number of names with the same hash.
class NamespaceTable final : public xercesc_3_1::XMLStringPool {
 public:
  NamespaceTable();

  /// Ends the names of the schema: later ones can be removed, and are checked. `onXsi` is called
  /// whenever the namespace of xsi:type is named. `rejector` must exist as long as names are added.
  void endSchema(DocumentRejector& rejector, std::function<void()> onXsi);
  /// Removes the names of documents.
  void dropDocuments();
  /// The number of names added by documents.
  std::size_t documentNames() const { return m_names.size() - m_schemaNames; }

  void beginElement() { m_lookups = 0; }
  /// Whether the element that is being scanned names any namespace.
  bool areNamed() const { return m_lookups != 0; }

  unsigned int addOrFind(const XMLCh* name) override;
  bool exists(const XMLCh* name) const override { return getId(name) != 0; }
  bool exists(unsigned int id) const override { return id != 0 && id <= m_names.size(); }
  void flushAll() override;
  unsigned int getId(const XMLCh* name) const override;
  const XMLCh* getValueForId(unsigned int id) const override;
  unsigned int getStringCount() const override { return static_cast<unsigned int>(m_names.size()); }

 private:
  unsigned int add(std::u16string_view name);

  std::deque<std::u16string> m_names;  ///< by number, which starts at 1
  std::unordered_map<std::u16string_view, unsigned int, KeyedHash> m_ids;
  std::size_t m_lookups = 0;

  // Once the schema has ended:
  DocumentRejector* m_rejector = nullptr;
  std::function<void()> m_onXsi;
  std::size_t m_schemaNames = 0;
  unsigned int m_xsi = 0;
};

}  // namespace Drelvan::Parsing
