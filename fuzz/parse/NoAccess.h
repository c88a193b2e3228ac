#pragma once

namespace Fuzz {

/// From now on, opening a file or connection through Xerces-C is a finding.
void forbidAccess();

}  // namespace Fuzz
