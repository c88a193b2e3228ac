#include <examples/parameter_sweep/common/SweepFailure.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace ParameterSweep {

namespace {

constexpr const char* c_group = "ParameterSweep";

// In the order of the enumeration.
constexpr std::array<const char*, 18> c_kinds{
    "MalformedPackage", "PackageTooLarge", "UnknownRequest", "UnknownJob",    "JobExists",    "JobEnded",
    "NotFinished",      "BadExpression",   "BadParameters",  "JobFailed",     "JobCrashed",   "JobTimedOut",
    "JobCancelled",     "LaunchFailed",    "Unreachable",    "AccessRefused", "LocalTrouble", "Internal"};

}  // namespace

const char* toText(FailureKind kind) { return c_kinds.at(static_cast<std::size_t>(kind)); }

FailureKind toFailureKind(const std::string& text) {
  const auto* const found = std::find(c_kinds.begin(), c_kinds.end(), text);
  return found == c_kinds.end() ? FailureKind::Internal : static_cast<FailureKind>(found - c_kinds.begin());
}

SweepFailure::SweepFailure(FailureKind kind, const std::string& message, const char* function, const char* file,
                           int line)
    : DvExceptionNested(message.c_str(), c_group, function, file, line), m_kind(kind) {}

FailureKind SweepFailure::getKind() const noexcept { return m_kind; }

}  // namespace ParameterSweep
