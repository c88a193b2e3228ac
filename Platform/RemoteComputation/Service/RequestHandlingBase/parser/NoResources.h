#pragma once

#include <service/Xerces.h>

#include <xercesc/sax/InputSource.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLEntityResolver.hpp>
#include <xercesc/util/XMLResourceIdentifier.hpp>

namespace Drelvan::Parsing {

/// Lets no document open a file or a connection: everything that a document refers to counts as missing.
class NoResources final : public xercesc_3_1::XMLEntityResolver {
 public:
  xercesc_3_1::InputSource* resolveEntity(xercesc_3_1::XMLResourceIdentifier* resource) override {
    return new Missing(resource->getSystemId());
  }

 private:
  class Missing final : public xercesc_3_1::InputSource {
   public:
    explicit Missing(const XMLCh* systemId) : InputSource(systemId, xercesc_3_1::XMLPlatformUtils::fgMemoryManager) {}
    xercesc_3_1::BinInputStream* makeStream() const override { return nullptr; }
  };
};

}  // namespace Drelvan::Parsing
