/// Prints what the library costs beside the bare parser: the ratio of the processor time of the two, taken in turns;
/// and the ratio of the two's fastest tenths, which the machine's other work disturbs least.
///
/// Usage: parse_ratio [SECONDS [ROW]]      the time for each row, 4 by default, and the start of the rows' names, all
/// by default. Entries of the log go to standard error as always; send it where a service would, or to /dev/null.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "support/Memory.h"
#include "support/Packages.h"
#include "support/Peers.h"

namespace {

using benchmarks::ErrorKind;
using benchmarks::Peer;

double processorSeconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double timeOf(Peer& peer, const std::string& package, int repetitions) {
  const double start = processorSeconds();
  for (int count = 0; count < repetitions; ++count) {
    peer.accepts(package);
  }
  return (processorSeconds() - start) / repetitions;
}

double quantile(std::vector<double> values, double fraction) {
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1) + 0.5)];
}

struct Row {
  std::vector<double> bare;
  std::vector<double> library;
  std::vector<double> ratios;
};

/// Takes turns of about two milliseconds each, the order changing with every pair.
Row measure(Peer& library, Peer& bare, const std::string& package, double seconds) {
  timeOf(library, package, 1);
  timeOf(bare, package, 1);
  const double once = timeOf(bare, package, 3);
  const int repetitions = std::max(1, static_cast<int>(0.002 / once));
  const int pairs = std::max(9, static_cast<int>(seconds / (2 * once * repetitions)));
  Row row;
  for (int pair = 0; pair < pairs; ++pair) {
    const double first = timeOf(pair % 2 == 0 ? bare : library, package, repetitions);
    const double second = timeOf(pair % 2 == 0 ? library : bare, package, repetitions);
    row.bare.push_back(pair % 2 == 0 ? first : second);
    row.library.push_back(pair % 2 == 0 ? second : first);
    row.ratios.push_back(row.library.back() / row.bare.back());
  }
  return row;
}

void print(const std::string& name, const Row& row) {
  std::printf("%-24s  %12.2f  %12.2f  %6.3f  (%.3f to %.3f)  %7.3f  %zu\n", name.c_str(), quantile(row.bare, 0.5) * 1e6,
              quantile(row.library, 0.5) * 1e6, quantile(row.ratios, 0.5), quantile(row.ratios, 0.25),
              quantile(row.ratios, 0.75), quantile(row.library, 0.1) / quantile(row.bare, 0.1), row.ratios.size());
  std::fflush(stdout);
}

void printHeading() {
  std::printf("%-24s  %12s  %12s  %6s  %-16s  %7s  %s\n", "package", "bare [us]", "library [us]", "ratio",
              "(middle half)", "fastest", "pairs");
}

const char* nameOf(ErrorKind error) {
  switch (error) {
    case ErrorKind::none:
      return "valid";
    case ErrorKind::value:
      return "wrong value";
    case ErrorKind::element:
      return "missing element";
    case ErrorKind::syntax:
      return "not closed";
  }
  return "";
}

}  // namespace

int main(int argc, char** argv) {
  const double seconds = argc > 1 ? std::atof(argv[1]) : 4;
  const std::string rows = argc > 2 ? argv[2] : "";
  benchmarks::keepFreedMemory();
  const auto library = benchmarks::makeLibrary();
  const auto bare = benchmarks::makeCachedParser();
  printHeading();
  for (const std::size_t size : {benchmarks::c_small, benchmarks::c_medium, benchmarks::c_large}) {
    for (const ErrorKind error : {ErrorKind::none, ErrorKind::value, ErrorKind::element, ErrorKind::syntax}) {
      const std::string name = std::string(nameOf(error)) + ", " + benchmarks::sizeName(size);
      if (name.compare(0, rows.size(), rows) != 0) {
        continue;
      }
      const std::string package = benchmarks::script(size, error);
      if (library->accepts(package) != (error == ErrorKind::none) ||
          bare->accepts(package) != (error == ErrorKind::none)) {
        std::printf("%s: a wrong verdict\n", name.c_str());
        return EXIT_FAILURE;
      }
      print(name, measure(*library, *bare, package, seconds));
    }
  }
  return EXIT_SUCCESS;
}
