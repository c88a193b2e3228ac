#pragma once

#include <examples/parameter_sweep/store/Database.h>
#include <examples/parameter_sweep/store/Records.h>

#include <string>
#include <vector>

namespace ParameterSweep {

/// The packages of submissions, as they were received.
///
/// Every failure is a `DatabaseError`. Threads: that of the database's connection.
class PackageReader {
 public:
  explicit PackageReader(Database& database) : m_database(database) {}

  std::vector<PackageRecord> getPackages(const SweepJobId& jobId);
  /// The text of a package; empty when there is none.
  std::string readPackage(const SweepJobId& jobId, std::uint32_t number);

 private:
  Database& m_database;
};

}  // namespace ParameterSweep
