#pragma once

#include <examples/parameter_sweep/client/RemoteJob.h>

#include <iosfwd>

namespace ParameterSweep {

/// Shows the job's progress as long as the job exists: one bar that is drawn anew on a terminal, lines elsewhere.
void showProgress(RemoteJob& job, std::ostream& stream, bool isTerminal);

}  // namespace ParameterSweep
