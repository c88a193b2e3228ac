#pragma once

#include <set>
#include <string>

/// Which operations of this service layer have been called, by the names "Class::operation".
namespace Site {

void note(const std::string& operation);
std::set<std::string> calls();

}  // namespace Site
