#pragma once

#include <examples/parameter_sweep/common/Messages.h>

#include <functional>
#include <string>
#include <vector>

namespace ParameterSweep {

/// Evaluates the expression for one vector. Fails with `BadExpression`, which names the position, or `BadParameters`.
Realization evaluate(const std::string& expression, const ParameterVector& vector);

/// Evaluates the whole sweep in the order of its vectors; `onRealization` is called after each with the number done.
std::vector<Realization> evaluate(const Sweep& sweep, const std::function<void(std::size_t)>& onRealization);

}  // namespace ParameterSweep
