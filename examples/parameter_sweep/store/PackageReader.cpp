#include <examples/parameter_sweep/store/PackageReader.h>

namespace ParameterSweep {

std::vector<PackageRecord> PackageReader::getPackages(const SweepJobId& jobId) {
  Query query = m_database.query(
      "SELECT number, first, count FROM package WHERE job = (SELECT number FROM job WHERE id = ?) ORDER BY number");
  query.bind(jobId.getUniqueId());
  std::vector<PackageRecord> packages;
  while (query.next()) {
    packages.push_back({static_cast<std::uint32_t>(query.getNumber(0)), static_cast<std::uint64_t>(query.getNumber(1)),
                        static_cast<std::uint64_t>(query.getNumber(2))});
  }
  return packages;
}

std::string PackageReader::readPackage(const SweepJobId& jobId, std::uint32_t number) {
  Query query =
      m_database.query("SELECT content FROM package WHERE job = (SELECT number FROM job WHERE id = ?) AND number = ?");
  return query.bind(jobId.getUniqueId()).bind(number).next() ? query.getText(0) : std::string();
}

}  // namespace ParameterSweep
