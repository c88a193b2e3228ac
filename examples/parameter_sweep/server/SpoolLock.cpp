#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/server/SpoolLock.h>

#include <exception>
#include <fstream>

namespace ParameterSweep {

namespace fs = std::filesystem;

SpoolLock::SpoolLock(const fs::path& spool) {
  const fs::path lock = spool / "lock";
  try {
    fs::create_directories(spool / "jobs");
    fs::permissions(spool, fs::perms::owner_all);
    std::ofstream(lock, std::ios::app).close();
    m_lock = boost::interprocess::file_lock(lock.c_str());
  } catch (const std::exception& exception) {
    throw SweepFailure(FailureKind::LocalTrouble,
                       "the spool '" + spool.string() + "' cannot be used: " + exception.what());
  }
  if (!m_lock.try_lock()) {
    throw SweepFailure(FailureKind::LocalTrouble,
                       "the spool '" + spool.string() + "' is in use; end the other server that uses it");
  }
}

}  // namespace ParameterSweep
