#pragma once

#include <examples/parameter_sweep/store/Database.h>
#include <examples/parameter_sweep/store/Records.h>

namespace ParameterSweep {

/// Applies the change within the open transaction; false when what it changes is not there any more or has ended.
bool applyChange(Database& database, const Change& change);

}  // namespace ParameterSweep
