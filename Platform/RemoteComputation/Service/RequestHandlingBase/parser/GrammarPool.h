#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/NamespaceTable.h>
#include <service/Xerces.h>

#include <xercesc/framework/XMLGrammarPoolImpl.hpp>
#include <xercesc/util/PlatformUtils.hpp>

namespace Drelvan::Parsing {

/// Xerces-C's grammar pool, with our table of namespace names instead of its own.
class GrammarPool final : public xercesc_3_1::XMLGrammarPoolImpl {
 public:
  GrammarPool() : XMLGrammarPoolImpl(xercesc_3_1::XMLPlatformUtils::fgMemoryManager) {}

  NamespaceTable& namespaces() { return m_namespaces; }
  xercesc_3_1::XMLStringPool* getURIStringPool() override { return &m_namespaces; }

 private:
  NamespaceTable m_namespaces;
};

}  // namespace Drelvan::Parsing
