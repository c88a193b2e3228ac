#include <examples/parameter_sweep/common/SweepEvaluator.h>
#include <muParser.h>

#include <boost/algorithm/string/erase.hpp>
#include <string>

namespace ParameterSweep {

namespace {

constexpr std::size_t c_maxExpression = 4096;  // as the schema has it

/// Makes the parameters variables of the expression, which take their values from `values`.
void define(mu::Parser& parser, const std::vector<Parameter>& parameters, std::vector<double>& values) {
  for (std::size_t index = 0; index < parameters.size(); ++index) {
    const std::string& name = parameters[index].id;
    if (parser.GetVar().count(name) != 0) {
      throw SweepFailure(FailureKind::BadParameters, "the parameter '" + name + "' is given twice");
    }
    try {
      parser.DefineVar(name, &values[index]);
    } catch (const mu::ParserError&) {
      throw SweepFailure(FailureKind::BadParameters, "the parameter name '" + name + "' cannot stand in an expression");
    }
  }
}

void assign(std::vector<double>& values, const ParameterVector& vector, const ParameterVector& first) {
  for (std::size_t index = 0; index < values.size(); ++index) {
    if (vector.parameters.size() != values.size() || vector.parameters[index].id != first.parameters[index].id) {
      throw SweepFailure(FailureKind::BadParameters, "realization " + std::to_string(vector.realizationId) +
                                                         " has other parameters than the first one");
    }
    values[index] = vector.parameters[index].value;
  }
}

[[noreturn]] void fail(const mu::ParserError& error) {
  // The expression parser counts from 0, also in its message, and gives -1 where there is no one place.
  const std::string place = error.GetPos() < 0 ? "" : " at position " + std::to_string(error.GetPos() + 1);
  std::string message = error.GetMsg();
  for (const char* theirs : {" at position ", " at expression position "}) {
    boost::algorithm::erase_first(message, theirs + std::to_string(error.GetPos()));
  }
  throw SweepFailure(FailureKind::BadExpression, "bad expression" + place + ": " + message);
}

void setExpression(mu::Parser& parser, const std::string& expression) {
  if (expression.size() > c_maxExpression) {
    throw SweepFailure(FailureKind::BadExpression,
                       "bad expression: it is longer than " + std::to_string(c_maxExpression) + " characters");
  }
  try {
    parser.SetExpr(expression);
  } catch (const mu::ParserError& error) {
    fail(error);
  }
}

double evaluateOnce(const mu::Parser& parser) {
  try {
    int count = 0;
    const double value = parser.Eval(count)[0];
    if (count == 1) {
      return value;
    }
  } catch (const mu::ParserError& error) {
    fail(error);
  }
  throw SweepFailure(FailureKind::BadExpression, "bad expression: it has several results, separated by ','");
}

}  // namespace

std::vector<Realization> evaluate(const Sweep& sweep, const std::function<void(std::size_t)>& onRealization) {
  const ParameterVector& first = sweep.vectors.at(0);
  std::vector<double> values(first.parameters.size());
  mu::Parser parser;
  define(parser, first.parameters, values);
  setExpression(parser, sweep.expression);
  std::vector<Realization> realizations;
  for (const ParameterVector& vector : sweep.vectors) {
    assign(values, vector, first);
    realizations.push_back({vector.realizationId, evaluateOnce(parser)});
    onRealization(realizations.size());
  }
  return realizations;
}

}  // namespace ParameterSweep
