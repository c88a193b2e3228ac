#pragma once

#include <functional>
#include <string>

namespace benchmarks {

/// Something to be timed; done once with each call.
using Action = std::function<void()>;

/// Prints the heading of the lines of `printTurns`.
void printTurnsHeading(const std::string& base, const std::string& own);

/// Times `base` and `own` in turns of about two milliseconds of processor time each, for `seconds` in all, the order
/// changing with every pair, and prints the medians and the ratio of the two: what disturbs the one disturbs the other.
void printTurns(const std::string& name, const Action& base, const Action& own, double seconds);

}  // namespace benchmarks
