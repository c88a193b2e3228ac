#pragma once

#include <chrono>

namespace ParameterSweep {

/// What one kind of work may take of a turn of the server, beyond its last step: the others wait meanwhile, and with
/// them who asks for a status. Threads: plain values.
class TimeSlice {
 public:
  bool isOver() const { return std::chrono::steady_clock::now() >= m_end; }

 private:
  std::chrono::steady_clock::time_point m_end = std::chrono::steady_clock::now() + std::chrono::milliseconds(1);
};

}  // namespace ParameterSweep
