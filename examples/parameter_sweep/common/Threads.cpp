#include <examples/parameter_sweep/common/Threads.h>
#include <pthread.h>

#include <string>
#include <system_error>
#include <utility>

namespace ParameterSweep {

std::thread startThread(const char* name, std::function<void()> body) {
  try {
    std::thread thread(std::move(body));
    ::pthread_setname_np(thread.native_handle(), name);
    return thread;
  } catch (const std::system_error& error) {
    throw std::system_error(error.code(), "cannot start the thread '" + std::string(name) + "'");
  }
}

}  // namespace ParameterSweep
