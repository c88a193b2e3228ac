#pragma once

#include <boost/interprocess/sync/file_lock.hpp>
#include <filesystem>

namespace ParameterSweep {

/// The folder of everything that a server keeps, as long as the object exists for this server alone.
class SpoolLock {
 public:
  /// Makes the folder where there is none, and gives nobody else access to it. Throws `SweepFailure` (`LocalFailure`)
  /// when it cannot be used, or when another server uses it.
  explicit SpoolLock(const std::filesystem::path& spool);

 private:
  boost::interprocess::file_lock m_lock;
};

}  // namespace ParameterSweep
