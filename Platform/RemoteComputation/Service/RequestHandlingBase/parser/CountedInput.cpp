#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/CountedInput.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/Limits.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <utility>
#include <xercesc/util/PlatformUtils.hpp>

namespace Drelvan::Parsing {

namespace {

constexpr XMLSize_t c_piece = 8192;
constexpr XMLSize_t c_prologPiece = 4096;

}  // namespace

void InputCounts::beginDocument(bool validating) {
  m_isInProlog = !validating;
  m_isInDoctype = false;
  m_cutOffBy = nullptr;
  m_doctypeBytes = 0;
}

XMLSize_t InputCounts::pieceOf(XMLSize_t most) {
  if (m_attributesOfTag() > Limits::attributesOfElement.most) {
    m_cutOffBy = &Limits::attributesOfElement;
  }
  return m_cutOffBy != nullptr ? 0 : std::min(most, m_isInProlog ? c_prologPiece : c_piece);
}

XMLSize_t InputCounts::count(XMLSize_t read) {
  m_bytes += read;
  if (m_isInDoctype) {
    m_doctypeBytes += read;
    // An exception here would leak the content model that Xerces-C is reading; the end of the text does not.
    if (m_doctypeBytes > Limits::doctypeBytes.most) {
      m_cutOffBy = &Limits::doctypeBytes;
    }
  }
  return m_cutOffBy != nullptr ? 0 : read;
}

class CountedInput::Stream final : public xercesc_3_1::BinInputStream {
 public:
  Stream(std::unique_ptr<BinInputStream> inner, InputCounts& counts) : m_inner(std::move(inner)), m_counts(counts) {}

  XMLFilePos curPos() const override { return m_inner->curPos(); }
  const XMLCh* getContentType() const override { return m_inner->getContentType(); }
  const XMLCh* getEncoding() const override { return m_inner->getEncoding(); }

  XMLSize_t readBytes(XMLByte* bytes, XMLSize_t most) override {
    const XMLSize_t piece = m_counts.pieceOf(most);
    return piece == 0 ? 0 : m_counts.count(readInner(bytes, piece));
  }

 private:
  /// Xerces-C does the first read while it constructs its reader; when that throws, it leaks the reader's names, and
  /// sometimes this stream. Therefore an exception of the first read is thrown by the second.
  XMLSize_t readInner(XMLByte* bytes, XMLSize_t most) {
    if (m_failureOfFirstRead != nullptr) {
      std::rethrow_exception(m_failureOfFirstRead);
    }
    if (m_begun) {
      return m_inner->readBytes(bytes, most);
    }
    m_begun = true;
    try {
      return m_inner->readBytes(bytes, most);
    } catch (...) {
      m_failureOfFirstRead = std::current_exception();
      return 0;
    }
  }

  const std::unique_ptr<BinInputStream> m_inner;
  InputCounts& m_counts;
  bool m_begun = false;
  std::exception_ptr m_failureOfFirstRead;
};

CountedInput::CountedInput(InputCounts& counts)
    : InputSource(xercesc_3_1::XMLPlatformUtils::fgMemoryManager), m_counts(counts) {}

xercesc_3_1::BinInputStream* CountedInput::makeStream() const {
  std::unique_ptr<xercesc_3_1::BinInputStream> stream(m_source->makeStream());
  return stream == nullptr ? nullptr : new Stream(std::move(stream), m_counts);
}

}  // namespace Drelvan::Parsing
