#include <examples/parameter_sweep/common/SweepEvaluator.h>
#include <muParser.h>

#include <algorithm>
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
      throw SweepFailure(FailureKind::BadParameters,
                         "the parameter name '" + name + "' cannot be used in an expression");
    }
  }
}

[[noreturn]] void fail(const mu::ParserError& error) {
  // muParser counts from 0, also in its message, and gives -1 where there is no one position.
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

/// The parser and the places of its variables.
class SweepEvaluator::Expression {
 public:
  Expression(const std::string& expression, const ParameterVector& first) : m_values(first.parameters.size()) {
    define(m_parser, first.parameters, m_values);
    setExpression(m_parser, expression);
    for (const Parameter& parameter : first.parameters) {
      m_names.push_back(parameter.id);
    }
  }

  double evaluate(const ParameterVector& vector) {
    checkParameters(vector, m_names);
    for (std::size_t index = 0; index < m_values.size(); ++index) {
      m_values[index] = vector.parameters[index].getNumber();
    }
    return evaluateOnce(m_parser);
  }

 private:
  std::vector<double> m_values;
  std::vector<std::string> m_names;
  mu::Parser m_parser;
};

SweepEvaluator::SweepEvaluator(const std::string& expression, const ParameterVector& first)
    : m_expression(std::make_unique<Expression>(expression, first)) {}

SweepEvaluator::~SweepEvaluator() = default;

Realization SweepEvaluator::evaluate(const ParameterVector& vector) {
  return {vector.realizationId, m_expression->evaluate(vector)};
}

void checkParameters(const ParameterVector& vector, const std::vector<std::string>& names) {
  const auto isNamed = [](const Parameter& parameter, const std::string& name) { return parameter.id == name; };
  if (!std::equal(vector.parameters.begin(), vector.parameters.end(), names.begin(), names.end(), isNamed)) {
    throw SweepFailure(FailureKind::BadParameters, "realization " + std::to_string(vector.realizationId) +
                                                       " has other parameters than the first one");
  }
}

}  // namespace ParameterSweep
