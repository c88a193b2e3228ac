#pragma once

#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/engines/JobEngine.h>

#include <filesystem>
#include <string>

namespace ParameterSweep {

/// What a job and its launcher wrote last, in one line; empty when that cannot be read.
std::string outputTail(const std::filesystem::path& output);

/// Why a run ended without a result.
SweepFailure failureFromEnd(const RunEnd& end, const std::string& output);

/// Whether the failure is an outcome of the part itself, so that another try would end in the same way.
bool isOutcome(const SweepFailure& failure);

}  // namespace ParameterSweep
