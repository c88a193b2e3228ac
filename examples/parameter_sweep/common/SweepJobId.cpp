#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/common/SweepJobId.h>

#include <stdexcept>

namespace ParameterSweep {

namespace {

const std::string c_prefix = "Sweep";

[[noreturn]] void fail() {
  throw SweepFailure(FailureKind::UnknownJob, "not the id of a sweep job; give the id that submit printed");
}

}  // namespace

SweepJobId::SweepJobId() { setPrefixAndGenerateUniqueId(c_prefix); }

SweepJobId::SweepJobId(const Drelvan::GenericJobId& received) : GenericJobId(received) {
  if (!isValid() || getName().substr(0, getName().rfind('_')) != c_prefix) {
    fail();
  }
}

SweepJobId SweepJobId::fromText(const std::string& text) {
  const bool isWhole = text.find('#') != std::string::npos;
  std::string whole = isWhole ? text : c_prefix + "_" + text.substr(0, 10) + "#" + text;
  std::string ignored;
  try {
    return SweepJobId(fromString(whole, ignored));
  } catch (const std::out_of_range&) {  // the name is too short
    fail();
  }
}

}  // namespace ParameterSweep
