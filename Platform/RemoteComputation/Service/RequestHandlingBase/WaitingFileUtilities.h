#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/Service_RequestHandlingBase_export.h>
#include <service/FileHandling.h>

namespace Drelvan {

/// File operations with retries, for files that another program may still use.
///
/// All three make up to `tries` tries and wait `waitMilliseconds` after each failed one but the last. Failures before
/// the last are logged at DEBUG; the last try is logged at INFO, and its exception is thrown unchanged. With `tries` 0
/// or below there is one try; with exactly -1 they try until one succeeds. Each wait, even of 0 milliseconds, is an
/// interruption point of Boost.Thread, at which the operation may throw `boost::thread_interrupted`.
///
/// Threads: any operation may be called from any thread at the same time; it blocks the calling thread.
class SERVICE_REQUESTHANDLINGBASE_EXPORT WaitingFileUtilities {
 public:
  ~WaitingFileUtilities();
  /// Does nothing.
  WaitingFileUtilities& operator=(const WaitingFileUtilities& other);

  /// Tries `FileUtilities::copyFile`.
  static void waitingCopy(const FileName& source, const FileName& target, unsigned long waitMilliseconds, int tries);
  /// Tries `FileUtilities::rename`, with its rules for flushing to the disk.
  static void waitingRename(const FileName& oldName, const FileName& newName, unsigned long waitMilliseconds,
                            int tries);
  /// Tries `FileUtilities::remove`.
  static void waitingRemove(const FileName& file, unsigned long waitMilliseconds, int tries);

 private:
  WaitingFileUtilities();
};

}  // namespace Drelvan
