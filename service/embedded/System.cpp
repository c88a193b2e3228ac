#include <service/System.h>

namespace Drelvan {

boost::mutex& XercesInitializationMutex::getMutex() {
  // Never destroyed: libraries that are unloaded last may still need it.
  static boost::mutex& mutex = *new boost::mutex;
  return mutex;
}

}  // namespace Drelvan
