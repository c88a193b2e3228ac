#pragma once

#include <examples/parameter_sweep/common/FileJobLog.h>
#include <examples/parameter_sweep/common/PackageFile.h>
#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/common/SweepEvaluator.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ParameterSweep {

/// Computes one part: reads its packages one after the other, and puts its results into place as a whole.
///
/// Threads: one. Memory: for one package, however many the part has.
class PartComputation {
 public:
  PartComputation(const PartFiles& files, const SweepJobId& jobId, FileJobLog& log);
  PartComputation(const PartComputation&) = delete;
  PartComputation& operator=(const PartComputation&) = delete;

  /// Throws `SweepFailure` for what is wrong with the sweep itself, other exceptions for what this machine refuses.
  void run();

 private:
  void compute(const std::string& expression, const Request& package);
  void computeOne(const std::string& expression, const ParameterVector& vector);
  void addResults();
  void storeProgress();

  const PartFiles m_files;
  const SweepJobId m_jobId;
  FileJobLog& m_log;
  std::unique_ptr<SweepEvaluator> m_evaluator;
  std::optional<PackageFileWriter> m_results;
  std::vector<Realization> m_batch;
  std::uint64_t m_skip = 0;   ///< realizations of the packages before the part's first one
  std::uint64_t m_count = 0;  ///< of the part
  std::uint64_t m_done = 0;
  std::chrono::steady_clock::time_point m_progressStored;
};

/// Puts a failure in the place of the results: the part has ended with it.
void storeFailure(const PartFiles& files, const SweepFailure& failure);

}  // namespace ParameterSweep
