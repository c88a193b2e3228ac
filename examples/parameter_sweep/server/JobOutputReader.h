#pragma once

#include <examples/parameter_sweep/common/Messages.h>

#include <cstdint>
#include <filesystem>
#include <limits>

namespace ParameterSweep {

/// Which of a job's parts are read.
struct OutputParts {
  std::uint32_t last = std::numeric_limits<std::uint32_t>::max();
  bool areSeveral = false;  ///< the text of each try begins with a line that names it
};

/// The next piece of what the job programs of a job wrote, in the order of parts and tries. `after` is
/// `JobOutput::next` of the piece before, 0 at first. Throws `SweepFailure` (`LocalFailure`) when it cannot be read
/// now.
JobOutput readOutput(const std::filesystem::path& spool, const SweepJobId& jobId, std::uint64_t after,
                     const OutputParts& parts);

}  // namespace ParameterSweep
