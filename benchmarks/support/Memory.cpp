#include "Memory.h"

#include <malloc.h>

#include <limits>

namespace benchmarks {

void keepFreedMemory() {
  mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
  mallopt(M_MMAP_MAX, 0);
}

}  // namespace benchmarks
