#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/Limits.h>
#include <service/Xerces.h>

#include <cstddef>
#include <functional>
#include <utility>
#include <xercesc/sax/InputSource.hpp>
#include <xercesc/util/BinInputStream.hpp>

namespace Drelvan::Parsing {

/// The number of bytes read, and of those in the document type declaration. Ends the text where a declaration or a tag
/// becomes too long, since Xerces-C tells of both only once it has read them to their end.
class InputCounts {
 public:
  /// `attributesOfTag` tells how many attributes the scanner has read of the tag that it is in.
  explicit InputCounts(std::function<std::size_t()> attributesOfTag) : m_attributesOfTag(std::move(attributesOfTag)) {}

  /// The document is read in small pieces, up to its root element in smaller ones when it may have a document type
  /// declaration.
  void beginDocument(bool validating);
  void beginDoctype() { m_isInDoctype = true; }
  void endProlog() {
    m_isInProlog = false;
    m_isInDoctype = false;
  }

  /// The limit for which the text was ended; null when it was not.
  const Limit* cutOffBy() const { return m_cutOffBy; }
  /// The bytes of all documents since `forgetBytes`.
  std::size_t bytes() const { return m_bytes; }
  void forgetBytes() { m_bytes = 0; }

  /// How much to read when `most` is requested; 0 when the text is ended.
  XMLSize_t pieceOf(XMLSize_t most);
  /// Counts what was read, and returns how much of it is passed on.
  XMLSize_t count(XMLSize_t read);

 private:
  const std::function<std::size_t()> m_attributesOfTag;
  bool m_isInProlog = false;
  bool m_isInDoctype = false;
  const Limit* m_cutOffBy = nullptr;
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
