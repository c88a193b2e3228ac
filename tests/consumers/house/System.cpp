#include <service/System.h>

#include "Calls.h"

namespace Drelvan {

boost::mutex& XercesInitializationMutex::getMutex() {
  House::note("XercesInitializationMutex::getMutex");
  static boost::mutex mutex;
  return mutex;
}

}  // namespace Drelvan
