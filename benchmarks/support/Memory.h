#pragma once

#include <string>

namespace benchmarks {

/// Has the allocator keep what is freed. Otherwise a freed tree of many megabytes goes back to the system in some
/// rounds and not in others, as chance has it, and the page faults of the next round decide every comparison.
void keepFreedMemory();

/// A field of the system's description of this process, such as "VmRSS:", in KiB; -1 when there is none.
long statusKib(const std::string& field);

}  // namespace benchmarks
