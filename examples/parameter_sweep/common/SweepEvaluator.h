#pragma once

#include <examples/parameter_sweep/common/Messages.h>

#include <cstddef>
#include <functional>
#include <vector>

namespace ParameterSweep {

/// Evaluates the sweep in the order of its vectors; `onRealization` is called after each with the number done.
/// Throws `SweepFailure`: `BadExpression`, which names the position, or `BadParameters`.
std::vector<Realization> evaluate(const Sweep& sweep, const std::function<void(std::size_t)>& onRealization);

}  // namespace ParameterSweep
