#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>

namespace ParameterSweep {

using TimePoint = std::chrono::steady_clock::time_point;

/// What time it is: ages and pauses by the monotonic clock, times for people by the other one.
struct Clocks {
  std::function<TimePoint()> now = [] { return std::chrono::steady_clock::now(); };
  std::function<std::int64_t()> millisecondsSince1970 = [] {
    const auto time = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::int64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(time).count());
  };
};

/// The pause before the try that follows `failures` ones: 1 s, 2 s, 4 s and so on, at most a minute.
inline std::chrono::seconds pauseAfter(std::uint32_t failures) {
  constexpr std::uint32_t c_mostDoublings = 6;
  constexpr std::chrono::seconds c_longest{60};
  const std::chrono::seconds pause(std::int64_t{1} << (failures == 0 ? 0 : std::min(failures - 1, c_mostDoublings)));
  return std::min(pause, c_longest);
}

}  // namespace ParameterSweep
