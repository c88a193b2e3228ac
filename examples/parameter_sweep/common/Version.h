#pragma once

namespace ParameterSweep {

/// Of this program.
inline constexpr const char* c_version = SWEEP_VERSION;

}  // namespace ParameterSweep
