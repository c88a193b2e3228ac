#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/common/SweepJobId.h>

#include <stdexcept>

namespace ParameterSweep {

namespace {

constexpr const char* c_prefix = "Sweep";

/// Runs one of the library's readers, which throws `std::out_of_range` for a name that is too short.
template <typename Reader>
SweepJobId read(Reader reader) {
  std::string error;
  try {
    SweepJobId jobId(reader(error));
    if (jobId.isSweepJob()) {
      return jobId;
    }
  } catch (const std::out_of_range&) {
    error = "the name is too short";
  }
  throw SweepFailure(FailureKind::UnknownJob, "not the id of a sweep job" +
                                                  (error.empty() ? std::string() : " (" + error + ")") +
                                                  "; give the id that submit printed");
}

}  // namespace

SweepJobId::SweepJobId() { setPrefixAndGenerateUniqueId(c_prefix); }

SweepJobId::SweepJobId(const Drelvan::GenericJobId& received) : GenericJobId(received) {}

SweepJobId SweepJobId::fromUniqueId(const std::string& uniqueId) {
  SweepJobId jobId;
  jobId.setPrefixAndUniqueId(c_prefix, uniqueId);
  return jobId;
}

SweepJobId SweepJobId::fromText(const std::string& text) {
  return read([&](std::string& error) -> GenericJobId {
    std::string copy = text;
    return text.find('#') == std::string::npos ? fromUniqueId(text) : fromString(copy, error);
  });
}

SweepJobId SweepJobId::fromCommandLine(int argc, char* argv[]) {
  return read([&](std::string& error) { return fromCmd(argc, argv, error); });
}

bool SweepJobId::isSweepJob() const { return isValid() && getName() == fromUniqueId(getUniqueId()).getName(); }

}  // namespace ParameterSweep
