#pragma once

#include <service/DVMService_System_export.h>

#include <boost/thread/mutex.hpp>

namespace Drelvan {

/// Holder of the process's one lock around the start-up and the shut-down of the XML parser library.
///
/// Every library of the process that calls `XMLPlatformUtils::Initialize` or `Terminate` holds it meanwhile.
class DVMSERVICE_SYSTEM_EXPORT XercesInitializationMutex {
 public:
  /// The same mutex for every caller, from any thread, from the first call to the end of the process.
  static boost::mutex& getMutex();

 private:
  XercesInitializationMutex();
};

}  // namespace Drelvan
