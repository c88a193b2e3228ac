#include <service/System.h>

#include "Calls.h"

namespace Drelvan {

boost::mutex& XercesInitializationMutex::getMutex() {
  Site::note("XercesInitializationMutex::getMutex");
  static boost::mutex mutex;
  return mutex;
}

}  // namespace Drelvan
