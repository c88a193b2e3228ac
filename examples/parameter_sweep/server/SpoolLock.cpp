#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/server/SpoolLock.h>

#include <exception>
#include <fstream>
#include <stdexcept>

namespace ParameterSweep {

namespace fs = std::filesystem;

namespace {

/// The folder of a spool becomes private and gets many files; one that the user named by mistake must not.
void refuseOtherFolder(const fs::path& spool) {
  const bool isSpool = fs::exists(spool / "lock") || fs::exists(spool / "jobs") || fs::exists(spool / "sweep.db");
  if (fs::exists(spool) && !isSpool && !fs::is_empty(spool)) {
    throw std::runtime_error("the folder contains other files; use a new folder, an empty folder or an existing spool");
  }
}

}  // namespace

SpoolLock::SpoolLock(const fs::path& spool) {
  const fs::path lock = spool / "lock";
  try {
    refuseOtherFolder(spool);
    fs::create_directories(spool / "jobs");
    fs::permissions(spool, fs::perms::owner_all);
    std::ofstream(lock, std::ios::app).close();
    m_lock = boost::interprocess::file_lock(lock.c_str());
  } catch (const std::exception& exception) {
    throw SweepFailure(FailureKind::LocalFailure,
                       "the spool '" + spool.string() + "' cannot be used: " + exception.what());
  }
  if (!m_lock.try_lock()) {
    throw SweepFailure(FailureKind::LocalFailure,
                       "the spool '" + spool.string() + "' is in use; end the other server that uses it");
  }
}

}  // namespace ParameterSweep
