#pragma once

#include <malloc.h>
#include <unistd.h>

#include <fstream>

namespace TestSupport {

/// The resident memory of this process in KiB, after what is free has been given back.
inline long residentKib() {
  malloc_trim(0);
  long total = 0;
  long resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

}  // namespace TestSupport
