#pragma once

#include <examples/parameter_sweep/store/JobStore.h>

#include <filesystem>

namespace ParameterSweep {

/// Imports the jobs of a spool in the old format (one folder per job), in the order in which they were accepted. Jobs
/// that have not ended start again; what still runs of them is ended.
///
/// A takeover that was interrupted goes on with the next call. Throws `SweepFailure` or `DatabaseError` for what cannot
/// be read or stored now, with nothing lost. Returns the number of jobs.
std::size_t takeOverSpool(const std::filesystem::path& spool, JobStore& store);

}  // namespace ParameterSweep
