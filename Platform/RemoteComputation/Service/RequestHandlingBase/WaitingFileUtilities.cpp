#include <Platform/RemoteComputation/Service/RequestHandlingBase/WaitingFileUtilities.h>
#include <service/Logging.h>

#include <algorithm>
#include <boost/chrono/duration.hpp>
#include <boost/chrono/system_clocks.hpp>
#include <boost/thread/thread.hpp>
#include <cstdint>
#include <string>

namespace Drelvan {

namespace {

constexpr int c_endlessTries = -1;

Logging s_logger(__FILE__);

/// One call, for messages.
struct Texts {
  const char* signature;
  const char* verb;         ///< "copy"
  const char* progressive;  ///< "copying"
  const FileName& source;
  const FileName* target;  ///< null for an operation on one file

  /// The file names in quotes; computed only when a message needs them, so a successful try queries no name.
  std::string files() const {
    const std::string first = "'" + source.toString() + "'";
    return target == nullptr ? first : first + " to '" + target->toString() + "'";
  }
};

/// Sleeps at an interruption point; a wait beyond the clock's range lasts as long as the clock can represent.
void waitFor(unsigned long waitMilliseconds) {
  using boost::chrono::duration_cast;
  using boost::chrono::milliseconds;
  using Clock = boost::chrono::steady_clock;
  const auto longest = duration_cast<milliseconds>(Clock::time_point::max() - Clock::now()).count() - 1000;
  // The range of an unsigned long may be smaller or larger than the clock's.
  const auto clamped = std::min<std::uintmax_t>(waitMilliseconds, static_cast<std::uintmax_t>(longest));
  boost::this_thread::sleep_for(milliseconds(static_cast<milliseconds::rep>(clamped)));
}

void logFailedTry(const Texts& texts, const std::string& kind, const std::string& reason,
                  unsigned long waitMilliseconds, long long index, int tries) {
  s_logger.logDEBUG(kind + " " + texts.progressive + " " + texts.files() + reason + "\nWaiting " +
                        std::to_string(waitMilliseconds) + "ms to retry (" + std::to_string(index) + "/" +
                        std::to_string(tries) + ")...",
                    __FILE__, texts.signature, __LINE__);
}

/// Tries once; when the operation throws, logs the failure and returns false.
template <typename Operation>
bool tryOnce(const Texts& texts, Operation operation, unsigned long waitMilliseconds, long long index, int tries) {
  try {
    operation();
    return true;
  } catch (const FileNameException& exception) {
    logFailedTry(texts, "FileNameException", std::string(": ") + exception.what(), waitMilliseconds, index, tries);
  } catch (...) {
    logFailedTry(texts, "Exception", "", waitMilliseconds, index, tries);
  }
  return false;
}

template <typename Operation>
void tryRepeatedly(const Texts& texts, Operation operation, unsigned long waitMilliseconds, int tries) {
  const long long waitedTries = static_cast<long long>(tries) - 1;
  for (long long index = 0; tries == c_endlessTries || index < waitedTries; ++index) {
    if (tryOnce(texts, operation, waitMilliseconds, index, tries)) {
      return;
    }
    waitFor(waitMilliseconds);
  }
  s_logger.logINFO(std::string("Could not ") + texts.verb + " " + texts.files() + "! Doing one last try...", __FILE__,
                   texts.signature, __LINE__);
  operation();
}

}  // namespace

WaitingFileUtilities::WaitingFileUtilities() = default;
WaitingFileUtilities::~WaitingFileUtilities() = default;
WaitingFileUtilities& WaitingFileUtilities::operator=(const WaitingFileUtilities& other) = default;

void WaitingFileUtilities::waitingCopy(const FileName& source, const FileName& target, unsigned long waitMilliseconds,
                                       int tries) {
  const Texts texts{
      "void __cdecl Drelvan::WaitingFileUtilities::waitingCopy(const class Drelvan::FileName &,"
      "const class Drelvan::FileName &,unsigned long,int)",
      "copy", "copying", source, &target};
  tryRepeatedly(
      texts, [&] { FileUtilities::copyFile(source, target); }, waitMilliseconds, tries);
}

void WaitingFileUtilities::waitingRename(const FileName& oldName, const FileName& newName,
                                         unsigned long waitMilliseconds, int tries) {
  const Texts texts{
      "void __cdecl Drelvan::WaitingFileUtilities::waitingRename(const class Drelvan::FileName &,"
      "const class Drelvan::FileName &,unsigned long,int)",
      "rename", "renaming", oldName, &newName};
  tryRepeatedly(
      texts, [&] { FileUtilities::rename(oldName, newName); }, waitMilliseconds, tries);
}

void WaitingFileUtilities::waitingRemove(const FileName& file, unsigned long waitMilliseconds, int tries) {
  const Texts texts{
      "void __cdecl Drelvan::WaitingFileUtilities::waitingRemove(const class Drelvan::FileName &,"
      "unsigned long,int)",
      "remove", "removing", file, nullptr};
  tryRepeatedly(
      texts, [&] { FileUtilities::remove(file); }, waitMilliseconds, tries);
}

}  // namespace Drelvan
