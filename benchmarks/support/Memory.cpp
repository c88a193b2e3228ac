#include "Memory.h"

#include <malloc.h>

#include <cstdlib>
#include <fstream>
#include <limits>

namespace benchmarks {

void keepFreedMemory() {
  mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
  mallopt(M_MMAP_MAX, 0);
}

long statusKib(const std::string& field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.compare(0, field.size(), field) == 0) {
      return std::atol(line.c_str() + field.size());
    }
  }
  return -1;
}

}  // namespace benchmarks
