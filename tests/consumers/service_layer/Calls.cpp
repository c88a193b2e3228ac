#include "Calls.h"

#include <mutex>

namespace Site {

namespace {

std::mutex& mutex() {
  static std::mutex theMutex;
  return theMutex;
}

std::set<std::string>& names() {
  static std::set<std::string> theNames;
  return theNames;
}

}  // namespace

void note(const std::string& operation) {
  const std::lock_guard<std::mutex> lock(mutex());
  names().insert(operation);
}

std::set<std::string> calls() {
  const std::lock_guard<std::mutex> lock(mutex());
  return names();
}

}  // namespace Site
