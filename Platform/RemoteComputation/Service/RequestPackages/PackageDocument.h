#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>
#include <Platform/RemoteComputation/Service/RequestPackages/ElementReader.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageValues.h>
#include <Platform/RemoteComputation/Service/RequestPackages/Service_RequestPackages_export.h>
#include <service/FileHandling.h>
#include <service/Xerces.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/sax/InputSource.hpp>

namespace Drelvan {

/// The parser of a process, from its start with the program's fragments to its end. Make one, in `main`, before
/// anything that parses or holds a document.
///
///     const Drelvan::ParserSession parser{MySchema()};
///
/// Threads: made and destroyed by the thread that starts and ends the program; nothing parses meanwhile.
class SERVICE_REQUESTPACKAGES_EXPORT ParserSession {
 public:
  /// The base schema alone. Throws `DvException` when another session exists.
  ParserSession();
  /// @{
  /// Registers `fragments` in their order. Throws `DvException` when another session exists, or when there are
  /// fragments and the parser has parsed before, which fixes the schema.
  ParserSession(std::initializer_list<AbstractRequestSchema> fragments);
  explicit ParserSession(const std::vector<AbstractRequestSchema>& fragments);
  /// @}
  ParserSession(const ParserSession&) = delete;
  ParserSession& operator=(const ParserSession&) = delete;
  /// Shuts the parser down and terminates Xerces-C. If a `PackageDocument` still exists, Xerces-C is not terminated, so
  /// that the document stays usable, and an ERROR entry is logged.
  ~ParserSession();
};

/// A parsed document, released with this object. One that is moved from can only be assigned or destroyed.
///
/// Threads: any number may read it at a time.
class SERVICE_REQUESTPACKAGES_EXPORT PackageDocument {
 public:
  /// @{
  /// Parses with the parser of the process. Throws as `RequestXmlHelper::parse`. `fromText` throws `DvException` if
  /// `text` contains a NUL, where that parse would stop reading. Without `validate` the document need not be valid.
  static PackageDocument fromText(const std::string& text);
  static PackageDocument fromFile(const FileName& file, bool validate = true);
  static PackageDocument fromSource(const xercesc_3_1::InputSource& source, bool validate = true);
  /// @}

  /// Takes `document`, which is not null and has a root element, as its own.
  explicit PackageDocument(xercesc_3_1::DOMDocument* document);
  /// @{
  /// Moves the document out of `other`.
  PackageDocument(PackageDocument&& other) noexcept;
  PackageDocument& operator=(PackageDocument&& other) noexcept;
  /// @}
  PackageDocument(const PackageDocument&) = delete;
  PackageDocument& operator=(const PackageDocument&) = delete;
  ~PackageDocument();

  /// What the document is by the name of its root; empty for a root that the base schema does not declare.
  std::optional<PackageKind> getKind() const;
  /// Whether it holds requests: a package, a bare request or a script.
  bool holdsRequests() const;
  /// Whether it holds replies: a package, a bare reply or a script.
  bool holdsReplies() const;

  /// The envelope of a request package. Throws `DvException` for any other document.
  RequestEnvelope getRequestEnvelope() const;
  /// The envelope of a reply package. Throws `DvException` for any other document.
  ReplyEnvelope getReplyEnvelope() const;

  /// @{
  /// All requests or replies in their order: one of a package, any number of a script. `ElementReader::getTypeName`
  /// gives the kind of each. Throws `DvException` when the document holds none.
  std::vector<ElementReader> getRequests() const;
  std::vector<ElementReader> getReplies() const;
  /// @}
  /// @{
  /// The only one. Throws `DvException` for none, and for a script with several.
  ElementReader getRequest() const;
  ElementReader getReply() const;
  /// @}

  /// The root element.
  ElementReader getRoot() const;
  /// The document itself, which this object owns.
  const xercesc_3_1::DOMDocument& getDocument() const;

 private:
  std::vector<ElementReader> getEntries(const char* name) const;
  ElementReader getOnly(const std::vector<ElementReader>& entries, const char* name) const;

  xercesc_3_1::DOMDocument* m_document;
};

}  // namespace Drelvan
