#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/PackageErrors.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <tools/dvrequest/check/Checker.h>
#include <tools/dvrequest/check/Fragments.h>
#include <tools/dvrequest/check/PackageReader.h>
#include <tools/dvrequest/check/SchemaModel.h>

#include <optional>
#include <string>
#include <vector>

namespace TestSupport {

/// Compares what the tool finds in documents with what the library reports of them.
class ReaderComparison {
 public:
  /// Begins a session of the library with the fragments of the files.
  explicit ReaderComparison(const std::vector<std::string>& fragments);

  /// How the tool's reader and its report differ from what the library says of the document; empty when they agree.
  std::string differenceOf(const std::string& document, bool validate);

 private:
  /// What the library says of a document.
  struct Outcome {
    bool accepted = false;
    std::string message;                           ///< of the failure
    std::optional<Drelvan::PackageErrors> errors;  ///< nothing when an exception ended the parse
  };

  static Outcome parse(const std::string& document, bool validate);
  std::string differenceOfReader(const Outcome& outcome, const std::string& document, bool validate);
  std::string differenceOfReport(const Outcome& outcome, const DvRequest::Report& report, bool validate) const;

  const DvRequest::Fragments m_fragments;
  const Drelvan::ParserSession m_session;
  // A schema serves one reader.
  DvRequest::SchemaModel m_schemaOfReader;
  DvRequest::SchemaModel m_schemaOfValidating;
  DvRequest::SchemaModel m_schemaOfOther;
  DvRequest::PackageReader m_reader;
  DvRequest::Checker m_validating;
  DvRequest::Checker m_notValidating;
};

}  // namespace TestSupport
