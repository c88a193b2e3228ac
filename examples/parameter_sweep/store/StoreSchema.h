#pragma once

#include <examples/parameter_sweep/store/Database.h>

namespace ParameterSweep {

/// Brings the database to the version of this program. Throws `SweepFailure` (`LocalFailure`) for one that a newer
/// program made.
void upgradeStore(Database& database);

/// The version that this program reads and writes.
int getStoreVersion();

}  // namespace ParameterSweep
