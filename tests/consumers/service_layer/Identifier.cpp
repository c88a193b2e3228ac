#include <service/Identifier.h>

#include "Calls.h"

namespace Drelvan {

UniqueID::UniqueID() = default;
UniqueID::~UniqueID() = default;

std::string UniqueID::generateId() {
  Site::note("UniqueID::generateId");
  return "00000000000000aa-00000000000000bb-00000000000000cc";
}

bool UniqueID::idCheckOK(const std::string& id) const {
  Site::note("UniqueID::idCheckOK");
  return id.size() == 50;
}

}  // namespace Drelvan
