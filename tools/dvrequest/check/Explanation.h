#pragma once

#include <tools/dvrequest/check/PackageReader.h>
#include <tools/dvrequest/check/SchemaModel.h>
#include <tools/dvrequest/check/SourceText.h>
#include <tools/dvrequest/support/Place.h>
#include <tools/dvrequest/support/Report.h>

#include <cstddef>
#include <vector>

namespace DvRequest {

/// What the library reported of a document that it refuses.
struct Refusal {
  std::size_t count = 0;  ///< of all errors
  Problem last;           ///< the last one; its place is not known when there are more than the library keeps
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
