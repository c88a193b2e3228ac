#pragma once

#include <examples/parameter_sweep/common/PackageFile.h>
#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/store/JobStore.h>

#include <vector>

namespace ParameterSweep {

/// Writes what a job program computes: where its part lies in the packages that follow, and these as they were
/// received.
///
/// Threads: one. Each step handles one package.
class PartInput {
 public:
  /// Throws `std::system_error` or `DatabaseError`; a later try may succeed.
  PartInput(JobStore& store, const JobRecord& job, const PartRecord& part, const PartFiles& files);

  /// Writes the next package; false when all are written. Throws as the constructor.
  bool step();

 private:
  JobStore& m_store;
  const SweepJobId m_jobId;
  std::vector<PackageRecord> m_packages;  ///< those that the part lies in
  std::size_t m_next = 0;
  PackageFileWriter m_writer;
};

}  // namespace ParameterSweep
