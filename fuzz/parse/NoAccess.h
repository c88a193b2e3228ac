#pragma once

namespace Fuzz {

/// From now on opening a file or a connection through the parser library is a broken property.
void forbidAccess();

}  // namespace Fuzz
