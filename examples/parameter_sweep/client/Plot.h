#pragma once

#include <examples/parameter_sweep/common/Messages.h>

#include <string>

namespace ParameterSweep {

/// Draws value against realization into an SVG file. Throws `SweepFailure` (`LocalFailure`) when gnuplot does not.
void plot(const SweepResult& result, const std::string& file);

}  // namespace ParameterSweep
