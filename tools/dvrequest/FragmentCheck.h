#pragma once

#include <tools/dvrequest/Fragments.h>
#include <tools/dvrequest/Report.h>
#include <tools/dvrequest/SchemaModel.h>

#include <vector>

namespace DvRequest {

/// What is wrong with the fragments: one report for each broken one, with the places in its own file. `schema` is that
/// of `combinedSchema(fragments)`. Needs a `ParserPlatform`.
std::vector<Report> checkFragments(const std::vector<Fragment>& fragments, const SchemaModel& schema);

}  // namespace DvRequest
