#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/common/SweepJobId.h>

#include <stdexcept>

namespace ParameterSweep {

namespace {

const std::string c_prefix = "Sweep";

[[noreturn]] void failMalformed() {
  throw SweepFailure(FailureKind::UnknownJob, "malformed job id; give the id that submit printed");
}

/// What `read` gives; it throws for a name that is too short.
template <typename Read>
SweepJobId readOrFail(Read read) {
  try {
    std::string ignored;  // what is wrong makes the id invalid, too
    return SweepJobId(read(ignored));
  } catch (const std::out_of_range&) {
    failMalformed();
  }
}

}  // namespace

SweepJobId::SweepJobId() { setPrefixAndGenerateUniqueId(c_prefix); }

SweepJobId::SweepJobId(const Drelvan::GenericJobId& received) : GenericJobId(received) {
  if (!isValid()) {
    failMalformed();
  }
  if (getName().substr(0, getName().rfind('_')) != c_prefix) {
    throw SweepFailure(FailureKind::UnknownJob, "not the id of a sweep job; give the id that submit printed");
  }
}

SweepJobId SweepJobId::fromText(const std::string& text) {
  const bool isWhole = text.find('#') != std::string::npos;
  std::string whole = isWhole ? text : c_prefix + "_" + text.substr(0, 10) + "#" + text;
  return readOrFail([&](std::string& error) { return fromString(whole, error); });
}

SweepJobId SweepJobId::fromCmd(const std::vector<std::string>& arguments) {
  return readOrFail([&](std::string& error) { return GenericJobId::fromCmd(arguments, error); });
}

}  // namespace ParameterSweep
