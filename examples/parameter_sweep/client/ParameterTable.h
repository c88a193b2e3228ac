#pragma once

#include <examples/parameter_sweep/common/Messages.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ParameterSweep {

/// The parameter vectors of a sweep, in little more memory than their numbers take. All have the same parameters.
class ParameterTable {
 public:
  explicit ParameterTable(std::vector<std::string> names) : m_names(std::move(names)) {}

  const std::vector<std::string>& getNames() const { return m_names; }
  std::size_t size() const { return m_realizationIds.size(); }
  /// Counts from 0.
  ParameterVector getVector(std::size_t index) const;

  /// Adds a vector; `values` belong to the names in their order.
  void add(std::uint32_t realizationId, const std::vector<double>& values);

 private:
  std::vector<std::string> m_names;
  std::vector<std::uint32_t> m_realizationIds;
  std::vector<double> m_values;
};

/// Reads the parameter vectors of a CSV file, or of standard input for the name "-": a line of parameter names, then a
/// line of numbers for each realization.
///
/// A column named "realizationId" numbers the realizations, which are otherwise numbered from 1. Cells are separated by
/// commas, may be in double quotes and may be padded; empty lines are skipped. Throws `SweepFailure`: `BadParameters`
/// with line and column of the error, `LocalFailure` for a file that cannot be read.
ParameterTable readParameterFile(const std::string& file);

}  // namespace ParameterSweep
