#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/server/PartInput.h>

#include <algorithm>

namespace ParameterSweep {

PartInput::PartInput(JobStore& store, const JobRecord& job, const PartRecord& part, const PartFiles& files)
    : m_store(store), m_jobId(job.status.jobId), m_packages(store.getPackages(m_jobId)), m_writer(files.input) {
  const auto isOutside = [&](const PackageRecord& package) {
    return package.first + package.count <= part.first || package.first >= part.first + part.count;
  };
  m_packages.erase(std::remove_if(m_packages.begin(), m_packages.end(), isOutside), m_packages.end());
  Request place{RequestKind::Compute, m_jobId, {job.expression, {}}};
  place.skip = m_packages.empty() ? 0 : part.first - m_packages.front().first;
  place.count = part.count;
  m_writer.add(writeRequestPackage(place));
}

bool PartInput::step() {
  if (m_next < m_packages.size()) {
    m_writer.add(m_store.readPackage(m_jobId, m_packages[m_next++].number));
    return true;
  }
  m_writer.finish();
  return false;
}

}  // namespace ParameterSweep
