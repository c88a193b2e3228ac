#include <fuzz/support/Property.h>

#include <cstdio>
#include <cstdlib>

namespace Fuzz {

namespace {

OnBroken s_onBroken = nullptr;

}  // namespace

void setOnBroken(OnBroken action) { s_onBroken = action; }

void broken(const std::string& property) {
  std::fprintf(stderr, "BROKEN: %s\n", property.c_str());
  if (s_onBroken != nullptr) {
    s_onBroken();
  }
  std::abort();
}

}  // namespace Fuzz
