#pragma once

#include <service/Xerces.h>

#include <cstddef>
#include <xercesc/sax/InputSource.hpp>
#include <xercesc/util/BinInputStream.hpp>

namespace Drelvan::Parsing {

/// The number of bytes read, and of those in the document type declaration.
class InputCounts {
 public:
  /// Until its root element is met, an unvalidated document is read in small pieces, so that the length of its document
  /// type declaration is known.
  void beginDocument(bool validating);
  void beginDoctype() { m_isInDoctype = true; }
  void endProlog() {
    m_isInProlog = false;
    m_isInDoctype = false;
  }

  /// Whether the text was ended because its document type declaration is too long.
  bool isCutOff() const { return m_isCutOff; }
  /// The bytes of all documents since `forgetBytes`.
  std::size_t bytes() const { return m_bytes; }
  void forgetBytes() { m_bytes = 0; }

  /// How much to read when `most` is requested.
  XMLSize_t pieceOf(XMLSize_t most) const;
  /// Counts the bytes read, and returns how many of them are passed on.
  XMLSize_t count(XMLSize_t read);

 private:
  bool m_isInProlog = false;
  bool m_isInDoctype = false;
  bool m_isCutOff = false;
  std::size_t m_doctypeBytes = 0;
  std::size_t m_bytes = 0;
};

/// Passes on the input source of the document being parsed, counting. One is used for all documents: creating one would
/// be a measurable part of the cost of a small document.
class CountedInput final : public xercesc_3_1::InputSource {
 public:
  explicit CountedInput(InputCounts& counts);

  /// `source` must live until the parse has ended.
  void readFrom(const xercesc_3_1::InputSource& source) { m_source = &source; }

  const XMLCh* getEncoding() const override { return m_source->getEncoding(); }
  const XMLCh* getPublicId() const override { return m_source->getPublicId(); }
  const XMLCh* getSystemId() const override { return m_source->getSystemId(); }
  bool getIssueFatalErrorIfNotFound() const override { return m_source->getIssueFatalErrorIfNotFound(); }
  xercesc_3_1::BinInputStream* makeStream() const override;

 private:
  class Stream;

  InputCounts& m_counts;
  const xercesc_3_1::InputSource* m_source = nullptr;
};

}  // namespace Drelvan::Parsing
