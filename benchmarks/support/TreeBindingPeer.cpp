#include <packages.hxx>
#include <xercesc/dom/DOMDocument.hpp>

#include "Packages.h"
#include "ParserSetUp.h"
#include "Peers.h"

namespace benchmarks {

namespace {

class TreeBinding final : public Peer {
 public:
  bool accepts(const std::string& package) override {
    const xml_schema::dom::unique_ptr<xercesc_3_1::DOMDocument> document(m_parser.parse(package));
    return document.get() != nullptr && !packages::DV_RequestScript_(*document)->request().empty();
  }

 private:
  Platform m_platform;
  Parser m_parser{combinedSchema(0)};
};

}  // namespace

std::unique_ptr<Peer> makeTreeBinding() { return std::make_unique<TreeBinding>(); }

}  // namespace benchmarks
