#pragma once

#include <functional>
#include <string>
#include <vector>

namespace TestSupport {

/// What the file operations do in this process. Linking `test_scripted_files` puts this in place of
/// `Drelvan::FileUtilities`; the file names and exceptions stay the service layer's.
class ScriptedFiles {
 public:
  /// Has `action` called by every operation, with the number of calls before it; it throws to make the operation fail.
  static void onCall(std::function<void(int)> action);
  /// "copyFile source target", "rename old new", "remove file" or "exists file flag" for every call since `reset`.
  static std::vector<std::string> calls();
  /// No action, no calls; every operation succeeds and every file exists.
  static void reset();
  /// What `exists` answers.
  static void setExists(bool exists);
};

}  // namespace TestSupport
