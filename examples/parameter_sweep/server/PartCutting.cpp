#include <examples/parameter_sweep/server/PartCutting.h>

#include <algorithm>

namespace ParameterSweep {

namespace {

// What takes some ten times as long to compute as a job program to start.
constexpr std::size_t c_worthwhile = std::size_t{3} << 20U;

std::uint64_t countAll(const std::vector<PackageSize>& packages) {
  std::uint64_t count = 0;
  for (const PackageSize& package : packages) {
    count += package.count;
  }
  return count;
}

void addPart(std::vector<PartRecord>& parts, std::uint64_t first, std::uint64_t count) {
  PartRecord part;
  part.number = static_cast<std::uint32_t>(parts.size()) + 1;
  part.first = first;
  part.count = count;
  parts.push_back(part);
}

std::vector<PartRecord> cutEvenly(std::uint64_t total, std::uint64_t size) {
  std::vector<PartRecord> parts;
  for (std::uint64_t first = 0; first < total; first += size) {
    addPart(parts, first, std::min(size, total - first));
  }
  return parts;
}

std::vector<PartRecord> cutAtPackages(const std::vector<PackageSize>& packages) {
  std::vector<PartRecord> parts;
  std::uint64_t first = 0;
  PackageSize part;
  for (const PackageSize& package : packages) {
    part.count += package.count;
    part.bytes += package.bytes;
    if (part.bytes >= c_worthwhile) {
      addPart(parts, first, part.count);
      first += part.count;
      part = {};
    }
  }
  if (part.count > 0) {
    addPart(parts, first, part.count);
  }
  return parts;
}

}  // namespace

std::vector<PartRecord> cutParts(const std::vector<PackageSize>& packages, std::uint64_t partSize) {
  const std::uint64_t total = countAll(packages);
  const std::uint64_t smallest = (total + c_mostParts - 1) / c_mostParts;
  if (partSize > 0) {
    return cutEvenly(total, std::max(partSize, smallest));
  }
  std::vector<PartRecord> parts = cutAtPackages(packages);
  return parts.size() <= c_mostParts ? parts : cutEvenly(total, smallest);
}

}  // namespace ParameterSweep
