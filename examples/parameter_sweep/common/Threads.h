#pragma once

#include <functional>
#include <thread>

namespace ParameterSweep {

/// Runs `body` in a thread of that name, of at most 15 characters, for those who look at the process. Throws
/// `std::system_error` when there can be no further thread.
std::thread startThread(const char* name, std::function<void()> body);

}  // namespace ParameterSweep
