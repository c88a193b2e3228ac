#pragma once

#include <examples/parameter_sweep/client/ParameterTable.h>
#include <examples/parameter_sweep/client/ServerConnection.h>
#include <examples/parameter_sweep/common/Messages.h>

namespace ParameterSweep {

/// Submits the table with everything else that `request` says, in as many packages as it takes. Returns the state of
/// the job. Throws as `ServerConnection::ask`.
JobStatus submitTable(ServerConnection& connection, const Request& request, const ParameterTable& table);

}  // namespace ParameterSweep
