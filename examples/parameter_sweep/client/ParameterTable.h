#pragma once

#include <examples/parameter_sweep/common/Messages.h>

#include <string>
#include <vector>

namespace ParameterSweep {

/// Reads the parameter vectors of a CSV file: a line of parameter names, then a line of numbers for each realization.
///
/// A column named "realizationId" numbers the realizations, which are otherwise numbered from 1. Cells are separated by
/// commas, may stand in double quotes and may be padded; empty lines are skipped. Throws `SweepFailure`:
/// `BadParameters` that names line and column of the fault, `LocalTrouble` for a file that cannot be read.
std::vector<ParameterVector> readParameterFile(const std::string& file);

}  // namespace ParameterSweep
