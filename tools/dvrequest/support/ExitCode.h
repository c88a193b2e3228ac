#pragma once

namespace DvRequest {

/// How the program ends. Of several that apply, `badFragment` comes before everything, then `unusable`, then `refused`.
enum ExitCode : int {
  success = 0,        ///< all documents valid; the value is good; the file operation is done
  refused = 1,        ///< a document is invalid; the value is no good; the file operation failed
  unusable = 2,       ///< wrong use, or a file that cannot be read or written
  notWellFormed = 3,  ///< documents were refused, and none of them is well-formed XML
  badFragment = 4     ///< a schema fragment is broken; no document was looked at
};

}  // namespace DvRequest
