#pragma once

#include <tools/dvrequest/Place.h>
#include <tools/dvrequest/Report.h>
#include <tools/dvrequest/SchemaModel.h>

#include <string>
#include <vector>

namespace DvRequest {

/// What the parser said of one document, as one diagnostic per fault.
struct Explanation {
  std::vector<Diagnostic> diagnostics;
  bool isBroken = false;  ///< the document is not well-formed
};

/// Finds for each problem the element at fault and what the schema allows there; folds problems that follow from
/// another one into it. Where the schema or the document do not tell, the problem stands as the parser reported it.
/// `model` may be null.
Explanation explain(const std::vector<Problem>& problems, const std::string& document, const SchemaModel* model);

}  // namespace DvRequest
