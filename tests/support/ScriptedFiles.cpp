#include <service/FileHandling.h>
#include <tests/support/ScriptedFiles.h>

#include <mutex>
#include <utility>

namespace TestSupport {

namespace {

struct Script {
  std::mutex mutex;
  std::function<void(int)> action;
  std::vector<std::string> calls;
  bool exists = true;
};

Script& script() {
  static Script instance;
  return instance;
}

void call(const std::string& text) {
  std::function<void(int)> action;
  int before = 0;
  {
    const std::lock_guard<std::mutex> lock(script().mutex);
    before = static_cast<int>(script().calls.size());
    script().calls.push_back(text);
    action = script().action;
  }
  if (action) {
    action(before);
  }
}

}  // namespace

void ScriptedFiles::onCall(std::function<void(int)> action) {
  const std::lock_guard<std::mutex> lock(script().mutex);
  script().action = std::move(action);
}

std::vector<std::string> ScriptedFiles::calls() {
  const std::lock_guard<std::mutex> lock(script().mutex);
  return script().calls;
}

void ScriptedFiles::reset() {
  const std::lock_guard<std::mutex> lock(script().mutex);
  script().action = nullptr;
  script().calls.clear();
  script().exists = true;
}

void ScriptedFiles::setExists(bool exists) {
  const std::lock_guard<std::mutex> lock(script().mutex);
  script().exists = exists;
}

}  // namespace TestSupport

namespace Drelvan {

using TestSupport::call;
using TestSupport::script;

bool FileUtilities::exists(const FileName& file, bool flag) {
  call("exists " + file.toString() + (flag ? " true" : " false"));
  const std::lock_guard<std::mutex> lock(script().mutex);
  return script().exists;
}

void FileUtilities::copyFile(const FileName& source, const FileName& target) {
  call("copyFile " + source.toString() + " " + target.toString());
}

void FileUtilities::rename(const FileName& source, const FileName& target) {
  call("rename " + source.toString() + " " + target.toString());
}

void FileUtilities::remove(const FileName& file) { call("remove " + file.toString()); }

}  // namespace Drelvan
