#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <service/ExceptionHandling.h>
#include <tests/support/Documents.h>

#include <string>
#include <xercesc/framework/MemBufInputSource.hpp>

namespace Fuzz {

using TestSupport::Document;

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
