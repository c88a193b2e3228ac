#include <examples/parameter_sweep/common/SweepEvaluator.h>
#include <muParser.h>

#include <algorithm>
#include <cstddef>

namespace ParameterSweep {

namespace {

std::string describe(const mu::ParserError& error) {
  // The expression parser counts from 0 and gives -1 where there is no one place.
  const std::string place = error.GetPos() < 0 ? "" : " at position " + std::to_string(error.GetPos() + 1);
  return "bad expression" + place + ": " + error.GetMsg();
}

/// The expression, bound to variables that take the parameters of one vector after the other.
class Evaluator {
 public:
  Evaluator(const std::string& expression, const ParameterVector& first) : m_values(first.parameters.size()) {
    for (const Parameter& parameter : first.parameters) {
      m_names.push_back(parameter.id);
      define(parameter.id, m_values[m_names.size() - 1]);
    }
    m_parser.SetExpr(expression);
  }

  Realization evaluate(const ParameterVector& vector) {
    bind(vector);
    int count = 0;
    double value = 0;
    try {
      value = m_parser.Eval(count)[0];
    } catch (const mu::ParserError& error) {
      throw SweepFailure(FailureKind::BadExpression, describe(error));
    }
    if (count != 1) {
      throw SweepFailure(FailureKind::BadExpression, "bad expression: it has several results, separated by ','");
    }
    return {vector.realizationId, value};
  }

 private:
  void define(const std::string& name, double& value) {
    if (std::count(m_names.begin(), m_names.end(), name) > 1) {
      throw SweepFailure(FailureKind::BadParameters, "the parameter '" + name + "' is given twice");
    }
    try {
      m_parser.DefineVar(name, &value);
    } catch (const mu::ParserError&) {
      throw SweepFailure(FailureKind::BadParameters, "the parameter name '" + name + "' cannot stand in an expression");
    }
  }

  void bind(const ParameterVector& vector) {
    for (std::size_t index = 0; index < m_values.size(); ++index) {
      if (vector.parameters.size() != m_values.size() || vector.parameters[index].id != m_names[index]) {
        throw SweepFailure(FailureKind::BadParameters, "realization " + std::to_string(vector.realizationId) +
                                                           " has other parameters than the first one");
      }
      m_values[index] = vector.parameters[index].value;
    }
  }

  mu::Parser m_parser;
  std::vector<std::string> m_names;
  std::vector<double> m_values;
};

}  // namespace

Realization evaluate(const std::string& expression, const ParameterVector& vector) {
  return Evaluator(expression, vector).evaluate(vector);
}

std::vector<Realization> evaluate(const Sweep& sweep, const std::function<void(std::size_t)>& onRealization) {
  if (sweep.vectors.empty()) {
    throw SweepFailure(FailureKind::BadParameters, "there is no parameter vector");
  }
  Evaluator evaluator(sweep.expression, sweep.vectors.front());
  std::vector<Realization> realizations;
  for (const ParameterVector& vector : sweep.vectors) {
    realizations.push_back(evaluator.evaluate(vector));
    onRealization(realizations.size());
  }
  return realizations;
}

}  // namespace ParameterSweep
