#include <tests/tools/Program.h>

#include <algorithm>
#include <filesystem>

namespace TestSupport {

ProgramRun dvrequest(const std::vector<std::string>& arguments, const std::string& input) {
  std::vector<std::string> command{dvrequestPath()};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return program(command, input);
}

std::string dvrequestPath() { return DVREQUEST_PROGRAM; }

std::string package(const std::string& name) { return DVREQUEST_PACKAGES "/" + name; }

std::string fragment() { return package("simulation.fragment.xsd"); }

std::vector<std::string> allPackages() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(DVREQUEST_PACKAGES)) {
    if (entry.path().extension() == ".xml") {
      names.push_back(entry.path().filename().string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace TestSupport
