#pragma once

#include <examples/parameter_sweep/common/Messages.h>

#include <filesystem>

namespace ParameterSweep {

/// The next piece of what the job programs of a job wrote, in the order of parts and tries. `after` is
/// `JobOutput::next` of the piece before, 0 at first. Throws `SweepFailure` (`LocalTrouble`) when it cannot be read
/// now.
JobOutput readOutput(const std::filesystem::path& spool, const SweepJobId& jobId, std::uint64_t after);

}  // namespace ParameterSweep
