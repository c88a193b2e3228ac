#pragma once

#include <tools/dvrequest/check/PackageReader.h>
#include <tools/dvrequest/check/SchemaModel.h>
#include <tools/dvrequest/check/SourceText.h>
#include <tools/dvrequest/support/Place.h>
#include <tools/dvrequest/support/Report.h>

#include <cstddef>
#include <vector>

namespace DvRequest {

/// The errors that the library reported for a document. A reason of its own for rejecting it, such as an exceeded
/// limit, is the last one.
struct ReportedErrors {
  std::size_t count = 0;               ///< of all errors
  std::vector<ReportedError> reports;  ///< the first of them
  ReportedError last;                  ///< its place is not known when it is not among the first
};

/// Why a document is refused, with one diagnostic per error.
struct Explanation {
  std::vector<Diagnostic> diagnostics;
  Verdict verdict = Verdict::refused;
};

/// Finds for each error the element concerned and what the schema allows there; folds errors that follow from another
/// one into it.
Explanation explain(const SourceText& source, bool validate, const ReportedErrors& reported, const SchemaModel& schema,
                    PackageReader& reader);

}  // namespace DvRequest
