#pragma once

#include <string>

namespace Fuzz {

/// The texts of all ERROR entries since the last call, one after the other. Linking the quiet logging puts it in place
/// of the logging service; every other entry is dropped.
std::string takeErrors();

}  // namespace Fuzz
