#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace TestSupport {

/// Takes the place of the global allocation functions in the program that it is linked into.
class FailingAllocations {
 public:
  /// Has the allocation after `successes` further ones of this thread fail, once.
  static void failAfter(std::size_t successes);
  /// Ends `failAfter`; whether an allocation has failed.
  static bool stop();
  /// The functions that led to the failed allocation, innermost first; empty when none has failed.
  static std::vector<std::string> failurePlaces();

  /// From now on keeps for every new block of this thread where it comes from.
  static void beginTrace();
  /// Blocks that come from now on are not traced.
  static void pauseTrace();
  /// Ends `beginTrace`; for every traced block that still exists the functions that led to it, innermost first.
  static std::vector<std::vector<std::string>> endTrace();
};

}  // namespace TestSupport
