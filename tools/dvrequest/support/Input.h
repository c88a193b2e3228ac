#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace DvRequest {

/// Something named on the command line cannot be read; `what()` says what and why.
class Unreadable : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The whole content of the file, or of standard input for "-". Throws `Unreadable`.
std::string readAll(const std::string& name);

/// The names with each folder replaced by the `.xml` files below it, in the order of their names. Throws `Unreadable`
/// for a folder that cannot be read or holds no such file.
std::vector<std::string> expandFolders(const std::vector<std::string>& names);

}  // namespace DvRequest
