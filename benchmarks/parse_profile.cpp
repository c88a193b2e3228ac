/// Parses valid packages of 50 KB, for a profiler: `benchmarks/run` counts the instructions of `parsePackages` with
/// callgrind, where it is installed.

#include <string>

#include "support/Memory.h"
#include "support/Packages.h"
#include "support/Peers.h"

#if defined(__GNUC__)
#define BENCHMARKS_NOINLINE __attribute__((noinline))
#else
#define BENCHMARKS_NOINLINE
#endif

BENCHMARKS_NOINLINE void parsePackages(benchmarks::Peer& library, const std::string& package) {
  constexpr int packages = 10;
  for (int count = 0; count < packages; ++count) {
    library.accepts(package);
  }
}

int main() {
  benchmarks::keepFreedMemory();
  const auto library = benchmarks::makeLibrary();
  const std::string package = benchmarks::script(benchmarks::c_medium, benchmarks::ErrorKind::none);
  library->accepts(package);
  parsePackages(*library, package);
  return 0;
}
