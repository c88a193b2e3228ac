#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <service/ExceptionHandling.h>

#include <memory>
#include <string>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>

namespace Fuzz {

struct DocumentReleaser {
  void operator()(xercesc_3_1::DOMDocument* document) const { document->release(); }
};
using Document = std::unique_ptr<xercesc_3_1::DOMDocument, DocumentReleaser>;

/// The document that `text` is, not validated; null when it is none.
inline Document parsed(const std::string& text) {
  Drelvan::RequestXmlHelper& helper = Drelvan::RequestXmlHelper::getInstance();
  const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "input");
  try {
    return Document(helper.parse(source, false));
  } catch (const Drelvan::DvExceptionNested&) {
    return nullptr;
  }
}

}  // namespace Fuzz
