#pragma once

#include <examples/parameter_sweep/store/Records.h>

#include <vector>

namespace ParameterSweep {

/// What is known of a package when a sweep is cut.
struct PackageSize {
  std::uint64_t count = 0;  ///< realizations
  std::size_t bytes = 0;
};

/// The most parts of a sweep; clusters take no larger arrays without further ado.
inline constexpr std::uint64_t c_mostParts = 1000;

/// Cuts a sweep into parts of `partSize` realizations. With 0 the parts are about equally large, worth their start, end
/// where packages end, and keep `atOnce` job programs busy to the end. There are never more than `c_mostParts`.
std::vector<PartRecord> cutParts(const std::vector<PackageSize>& packages, std::uint64_t partSize, std::size_t atOnce);

}  // namespace ParameterSweep
