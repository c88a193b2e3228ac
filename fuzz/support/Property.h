#pragma once

#include <string>

namespace Fuzz {

/// Called before the program ends for a broken property, so that a target can leave what a person needs to repeat it.
using OnBroken = void (*)();
void setOnBroken(OnBroken action);

/// Says which property does not hold and ends the program, which the fuzzer and ctest take as a finding.
[[noreturn]] void broken(const std::string& property);

inline void require(bool holds, const std::string& property) {
  if (!holds) {
    broken(property);
  }
}

}  // namespace Fuzz
