#include "Turns.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <vector>

namespace benchmarks {

namespace {

constexpr double c_turn = 0.002;

double processorSeconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double timeOf(const Action& action, int repetitions) {
  const double start = processorSeconds();
  for (int count = 0; count < repetitions; ++count) {
    action();
  }
  return (processorSeconds() - start) / repetitions;
}

double quantile(std::vector<double> values, double fraction) {
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1) + 0.5)];
}

}  // namespace

void printTurnsHeading(const std::string& base, const std::string& own) {
  std::printf("%-24s  %12s  %12s  %6s  %-16s  %s\n", "", (base + " [us]").c_str(), (own + " [us]").c_str(), "ratio",
              "(middle half)", "pairs");
}

void printTurns(const std::string& name, const Action& base, const Action& own, double seconds) {
  timeOf(own, 1);
  timeOf(base, 1);
  const double once = timeOf(base, 3);
  const int repetitions = std::max(1, static_cast<int>(c_turn / once));
  const int pairs = std::max(9, static_cast<int>(seconds / (2 * once * repetitions)));
  std::vector<double> bases;
  std::vector<double> owns;
  std::vector<double> ratios;
  for (int pair = 0; pair < pairs; ++pair) {
    const bool isBaseFirst = pair % 2 == 0;
    const double first = timeOf(isBaseFirst ? base : own, repetitions);
    const double second = timeOf(isBaseFirst ? own : base, repetitions);
    bases.push_back(isBaseFirst ? first : second);
    owns.push_back(isBaseFirst ? second : first);
    ratios.push_back(owns.back() / bases.back());
  }
  std::printf("%-24s  %12.2f  %12.2f  %6.3f  (%.3f to %.3f)  %zu\n", name.c_str(), quantile(bases, 0.5) * 1e6,
              quantile(owns, 0.5) * 1e6, quantile(ratios, 0.5), quantile(ratios, 0.25), quantile(ratios, 0.75),
              ratios.size());
  std::fflush(stdout);
}

}  // namespace benchmarks
