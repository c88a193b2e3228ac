#pragma once

#include <examples/parameter_sweep/client/RemoteJob.h>

#include <iosfwd>

namespace ParameterSweep {

enum class ProgressForm { Bar, Lines };

/// Shows the job's progress as long as the job exists: one bar that is drawn again for each change, on a terminal, or a
/// line for each change, which begins with the job's id.
void showProgress(RemoteJob& job, std::ostream& stream, ProgressForm form);

}  // namespace ParameterSweep
