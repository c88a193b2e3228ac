#pragma once

#include <service/DVMService_Identifier_export.h>

#include <string>

namespace Drelvan {

/// Generates and checks unique ids: three groups of sixteen hexadecimal digits joined by hyphens.
///
/// Threads: every member may be called from any thread; the object has no state.
class DVMSERVICE_IDENTIFIER_EXPORT UniqueID {
 public:
  UniqueID();
  ~UniqueID();

  /// A new id: 192 bits from the operating system's secure generator in lower-case digits. Also safe after `fork`:
  /// parent and child never generate the same id. Throws `DvException` when the system provides no random bits.
  static std::string generateId();

  /// Whether `id` is exactly a unique id; digits of either case are accepted.
  bool idCheckOK(const std::string& id) const;
};

}  // namespace Drelvan
