#include <examples/parameter_sweep/common/JobFolder.h>
#include <examples/parameter_sweep/common/SweepFailure.h>

namespace ParameterSweep {

JobFolder::JobFolder(const std::filesystem::path& spool, const SweepJobId& jobId)
    : m_path(spool / "jobs" / jobId.getUniqueId()) {
  if (!jobId.isSweepJob()) {
    throw SweepFailure(FailureKind::UnknownJob, "not the id of a sweep job; give the id that submit printed");
  }
}

}  // namespace ParameterSweep
