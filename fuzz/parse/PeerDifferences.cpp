#include <fuzz/parse/PeerDifferences.h>

namespace Fuzz {

bool isExplained(const std::string&, const std::string&) { return false; }

}  // namespace Fuzz
