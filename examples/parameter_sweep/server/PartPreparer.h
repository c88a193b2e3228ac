#pragma once

#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/common/Worker.h>
#include <examples/parameter_sweep/store/PackageReader.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace ParameterSweep {

/// Writes what job programs compute: where the part lies in the packages that follow, and these as they were received.
///
/// Threads: its own one, which reads the database and writes the files; everything else belongs to one thread.
class PartPreparer {
 public:
  /// Called with the number that `prepare` returned, and with an empty text when the input is written, or with the
  /// reason why it is not; a later try may succeed.
  using Done = std::function<void(std::uint64_t number, const std::string& error)>;

  /// `database` is that of the `JobStore`. Throws `DatabaseError` or `std::system_error`.
  explicit PartPreparer(const std::filesystem::path& database);

  /// Makes the folder and writes the input. `done` is called by `poll`, never from here. Returns a number for `forget`.
  std::uint64_t prepare(const JobRecord& job, const PartRecord& part, const PartFiles& files, const Done& done);
  /// Nothing is made or called of what waits; what has begun is done.
  void forget(std::uint64_t number) { m_worker.forget(number); }

  /// Becomes readable when `poll` has something to call.
  int getDescriptor() const { return m_worker.getDescriptor(); }
  void poll() { m_worker.poll(); }

 private:
  Database m_database;
  PackageReader m_packages{m_database};
  Worker m_worker{"preparer"};  ///< last: it uses the others
};

}  // namespace ParameterSweep
