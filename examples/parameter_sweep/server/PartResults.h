#pragma once

#include <examples/parameter_sweep/common/Messages.h>
#include <examples/parameter_sweep/common/PackageFile.h>
#include <examples/parameter_sweep/common/Spool.h>

#include <optional>
#include <string>

namespace ParameterSweep {

/// Reads and checks what a job program left of its part.
///
/// Threads: one. Each step handles one package.
class PartResults {
 public:
  /// Throws as `PackageFileReader`.
  PartResults(const PartFiles& files, const SweepJobId& jobId, std::uint64_t count);

  /// Reads the next package; false when all are read. Throws `SweepFailure`: `LocalFailure` when a later try may
  /// succeed, any other kind for what is wrong.
  bool step();

  /// After the last step: the part ended with this failure.
  const std::optional<SweepFailure>& getFailure() const { return m_failure; }
  /// After the last step, as the store keeps them.
  const std::string& getResults() const { return m_results; }

 private:
  PackageFileReader m_reader;
  const SweepJobId m_jobId;
  const std::uint64_t m_count;
  std::string m_results;
  std::optional<SweepFailure> m_failure;
};

}  // namespace ParameterSweep
