#pragma once

#include <functional>
#include <string>
#include <vector>

namespace TestSupport {

/// What unique ids and XML helpers do in this process. Linking `test_scripted_values` puts this in place of
/// `Drelvan::UniqueID` and `Drelvan::XmlUtils`.
///
/// Drawn ids are "drawn1", "drawn2" and so on. `getElement` gives the parent itself, `getElementContent` "content of
/// TAG", `getContent` "7", `toXml` "escaped TEXT" and `fromXml` "plain TEXT". Threads: one.
class ScriptedValues {
 public:
  /// Has `action` called by every operation, with what `calls` has of it; it throws to make the operation fail.
  static void onCall(std::function<void(const std::string&)> action);
  /// "UniqueID", "~UniqueID", "generateId", "idCheckOK ID", "getElement TAG", "getElementContent TAG", "getContent",
  /// "toXml TEXT" or "fromXml TEXT" for every call since `reset`.
  static std::vector<std::string> calls();
  /// No action, no calls; every id is good and every element is found.
  static void reset();
  /// What `idCheckOK` answers.
  static void setIdsGood(bool good);
  /// Whether `getElement` finds anything.
  static void setElementsFound(bool found);
};

}  // namespace TestSupport
