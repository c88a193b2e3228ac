#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/Service_RequestHandlingBase_export.h>
#include <service/FileHandling.h>

namespace Drelvan {

/// File operations that wait and try again while they fail, as for a file that another program still holds.
///
/// All three make up to `tries` tries and wait `waitMilliseconds` after each failed one but the last; the failures
/// before the last are logged at DEBUG and forgotten, the last try is announced at INFO and its exception reaches the
/// caller as it is. With `tries` 0 or below there is one try; with exactly -1 they try until one succeeds. Each wait,
/// also one of 0 milliseconds, is an interruption point of Boost.Thread: `boost::thread_interrupted` leaves the
/// operation.
///
/// Threads: any number of threads may call any operation at once; the calling thread is blocked meanwhile.
class SERVICE_REQUESTHANDLINGBASE_EXPORT WaitingFileUtilities {
 public:
  ~WaitingFileUtilities();
  /// There is nothing to assign.
  WaitingFileUtilities& operator=(const WaitingFileUtilities& other);

  /// Tries `FileUtilities::copyFile`.
  static void waitingCopy(const FileName& source, const FileName& target, unsigned long waitMilliseconds, int tries);
  /// Tries `FileUtilities::rename`; what that does not flush to the disk is not flushed here either.
  static void waitingRename(const FileName& oldName, const FileName& newName, unsigned long waitMilliseconds,
                            int tries);
  /// Tries `FileUtilities::remove`.
  static void waitingRemove(const FileName& file, unsigned long waitMilliseconds, int tries);

 private:
  WaitingFileUtilities();
};

}  // namespace Drelvan
