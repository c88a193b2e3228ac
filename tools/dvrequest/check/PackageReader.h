#pragma once

#include <service/Xerces.h>
#include <tools/dvrequest/check/ContentModel.h>
#include <tools/dvrequest/check/SchemaModel.h>
#include <tools/dvrequest/check/SourceText.h>
#include <tools/dvrequest/support/Place.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>
#include <xercesc/framework/psvi/XSTypeDefinition.hpp>

namespace DvRequest {

/// An error that Xerces-C reports, by its number.
struct ReadError {
  enum class Kind { validity, syntax, exception };
  Kind kind = Kind::validity;
  unsigned int code = 0;   ///< of `XMLValid`, `XMLErrs` or `XMLExcepts`, depending on the kind
  std::size_t offset = 0;  ///< the byte after what had been read
  ReportedError reported;
};

/// Whether this is validity error `code`, one of `XMLValid`.
bool isValidity(const ReadError& error, unsigned int code);
/// Whether this is syntax error `code`, one of `XMLErrs`.
bool isSyntax(const ReadError& error, unsigned int code);

struct ReadAttribute {
  std::string name;  ///< without prefix
  std::string value;
  bool isInvalid = false;  ///< not declared, or its value is not of its type
};

/// An element whose start tag has been read.
struct ReadElement {
  QualifiedName name;
  std::size_t start = 0;                              ///< the first byte of the start tag
  std::size_t content = 0;                            ///< the byte after the start tag
  Place reached;                                      ///< where the parser was after the start tag
  std::vector<ReadAttribute> attributes;              ///< of the document; none of namespaces or schema instances
  bool isDeclared = false;                            ///< the schema declares it where it stands
  xercesc_3_1::XSTypeDefinition* declared = nullptr;  ///< its declared type; null when not known
  xercesc_3_1::XSTypeDefinition* type = nullptr;      ///< the type that it is validated by; null when not validated
};

struct EndTag {
  std::size_t start = 0;  ///< its first byte
  Place reached;          ///< where the parser was after it
};

/// Receives what is read, in the order of the document. Each operation may throw `EndOfReading`.
class ReadHandler {
 public:
  struct EndOfReading {};

  virtual ~ReadHandler() = default;
  /// `errors` are those of the start tag.
  virtual void start(const ReadElement& element, const std::vector<ReadError>& errors) = 0;
  /// `errors` are those of the content; `text` is the start of the text before the end tag.
  virtual void end(const EndTag& tag, const std::string& text, const std::vector<ReadError>& errors) = 0;
  /// Of the text between two tags, or of the syntax.
  virtual void error(const ReadError& error) = 0;
};

/// Reads and validates documents as the library does, element by element, with the code, the element and the byte of
/// each error; goes on where the library refuses a document for a reason of its own. One document at a time.
class PackageReader {
 public:
  /// Uses the grammar of `schema`, which must live longer.
  explicit PackageReader(SchemaModel& schema);
  ~PackageReader();
  PackageReader(const PackageReader&) = delete;
  PackageReader& operator=(const PackageReader&) = delete;

  /// Reads until the document or the handler ends it, or a limit of the library: then gives the byte that was reached.
  std::optional<std::size_t> read(const SourceText& source, bool validate, ReadHandler& handler);

 private:
  class Scan;

  const std::unique_ptr<Scan> m_scan;
};

}  // namespace DvRequest
