#pragma once

#include <service/DVMService_System_export.h>

#include <boost/thread/mutex.hpp>

namespace Drelvan {

/// Holds the mutex of the process for initialising and terminating Xerces-C.
///
/// Every library of the process locks it while it calls `XMLPlatformUtils::Initialize` or `Terminate`.
///
/// Threads: `getMutex` may be called from any thread.
class DVMSERVICE_SYSTEM_EXPORT XercesInitializationMutex {
 public:
  /// The same mutex for every caller, from the first call to the end of the process.
  static boost::mutex& getMutex();

 private:
  XercesInitializationMutex();
};

}  // namespace Drelvan
