#pragma once

#include <examples/parameter_sweep/common/Messages.h>

#include <string>
#include <vector>

namespace ParameterSweep {

/// Reads the parameter vectors of a CSV text: a line of parameter names, then a line of numbers for each realization.
///
/// A column named "realizationId" numbers the realizations, which are otherwise numbered from 1. Cells are separated by
/// commas, may stand in double quotes and may be padded; empty lines are skipped. Throws `SweepFailure`
/// (`BadParameters`) that names line and column of the fault.
std::vector<ParameterVector> readParameterTable(const std::string& text);

/// The same for a file. Throws `SweepFailure` (`LocalTrouble`) when it cannot be read.
std::vector<ParameterVector> readParameterFile(const std::string& file);

}  // namespace ParameterSweep
