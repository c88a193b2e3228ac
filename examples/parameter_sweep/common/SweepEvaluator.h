#pragma once

#include <examples/parameter_sweep/common/Messages.h>

#include <memory>
#include <string>
#include <vector>

namespace ParameterSweep {

/// Evaluates one expression for one parameter vector after the other. Threads: one.
///
/// Throws `SweepFailure`: `BadExpression`, which names the position, or `BadParameters`.
class SweepEvaluator {
 public:
  /// All vectors must have the parameters of `first`, in their order.
  SweepEvaluator(const std::string& expression, const ParameterVector& first);
  SweepEvaluator(const SweepEvaluator&) = delete;
  SweepEvaluator& operator=(const SweepEvaluator&) = delete;
  ~SweepEvaluator();

  Realization evaluate(const ParameterVector& vector);

 private:
  class Expression;
  std::unique_ptr<Expression> m_expression;
};

/// Throws `SweepFailure` (`BadParameters`) when the vector has other parameters than those named.
void checkParameters(const ParameterVector& vector, const std::vector<std::string>& names);

}  // namespace ParameterSweep
