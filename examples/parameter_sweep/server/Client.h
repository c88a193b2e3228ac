#pragma once

#include <string>

namespace ParameterSweep {

/// Who asks: the name of the client's key, which is empty where the server has no keys.
struct Client {
  std::string name;
  bool isAdmin = false;  ///< may access all jobs
  std::string key = {};  ///< the public one; empty where the server has no keys

  bool maySee(const std::string& owner) const { return isAdmin || owner == name; }
};

}  // namespace ParameterSweep
