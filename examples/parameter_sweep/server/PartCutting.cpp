#include <examples/parameter_sweep/server/PartCutting.h>

#include <algorithm>

namespace ParameterSweep {

namespace {

// What takes some ten times as long to compute as a job program to start.
constexpr std::size_t c_worthwhile = std::size_t{3} << 20U;

PackageSize addUp(const std::vector<PackageSize>& packages) {
  PackageSize sum;
  for (const PackageSize& package : packages) {
    sum.count += package.count;
    sum.bytes += package.bytes;
  }
  return sum;
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

/// How many parts of a sweep of that size are worth their starts. When there are more than run at once, the last ones
/// of as many as run at once end at about the same time.
std::size_t chooseNumber(std::size_t bytes, std::size_t atOnce) {
  const std::size_t number = std::clamp(bytes / c_worthwhile, std::size_t{1}, std::size_t{c_mostParts});
  return number > atOnce ? number - number % atOnce : number;
}

/// At most `number` parts.
std::vector<PartRecord> cutAtPackages(const std::vector<PackageSize>& packages, std::size_t bytes, std::size_t number) {
  std::vector<PartRecord> parts;
  PackageSize before;  // the end of the present part
  PackageSize part;
  for (const PackageSize& package : packages) {
    part.count += package.count;
    part.bytes += package.bytes;
    before.count += package.count;
    before.bytes += package.bytes;
    const bool isWhole = part.bytes >= c_worthwhile / 2 && before.bytes >= bytes * (parts.size() + 1) / number;
    if (isWhole && parts.size() + 1 < number) {
      addPart(parts, before.count - part.count, part.count);
      part = {};
    }
  }
  if (part.count > 0) {
    addPart(parts, before.count - part.count, part.count);
  }
  return parts;
}

}  // namespace

std::vector<PartRecord> cutParts(const std::vector<PackageSize>& packages, std::uint64_t partSize, std::size_t atOnce) {
  const auto [count, bytes] = addUp(packages);
  if (partSize > 0) {
    return cutEvenly(count, std::max(partSize, (count + c_mostParts - 1) / c_mostParts));
  }
  return cutAtPackages(packages, bytes, chooseNumber(bytes, std::max(atOnce, std::size_t{1})));
}

}  // namespace ParameterSweep
