#pragma once

namespace benchmarks {

/// Has the allocator keep what is freed. Otherwise a freed tree of many megabytes goes back to the system in some
/// rounds and not in others, as chance has it, and the page faults of the next round decide every comparison.
void keepFreedMemory();

}  // namespace benchmarks
