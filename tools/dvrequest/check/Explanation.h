#pragma once

#include <tools/dvrequest/check/PackageReader.h>
#include <tools/dvrequest/check/SchemaModel.h>
#include <tools/dvrequest/check/SourceText.h>
#include <tools/dvrequest/support/Place.h>
#include <tools/dvrequest/support/Report.h>

#include <cstddef>
#include <vector>

namespace DvRequest {

/// What the library reported of a document that it refuses. Where it refuses it for a reason of its own, such as an
/// exceeded limit, that is the last error.
struct Refusal {
  std::size_t count = 0;         ///< of all errors
  std::vector<Problem> reports;  ///< the first of them
  Problem last;                  ///< its place is not known when it is not among the first
};

/// Why a document is refused, with one diagnostic per error.
struct Explanation {
  std::vector<Diagnostic> diagnostics;
  Verdict verdict = Verdict::refused;
};

/// Finds for each error the element concerned and what the schema allows there; folds errors that follow from another
/// one into it.
Explanation explain(const SourceText& source, bool validate, const Refusal& refusal, const SchemaModel& schema,
                    PackageReader& reader);

}  // namespace DvRequest
