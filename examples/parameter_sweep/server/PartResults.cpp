#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/server/PartResults.h>
#include <examples/parameter_sweep/store/Records.h>

namespace ParameterSweep {

namespace {

constexpr std::size_t c_maxPackage = std::size_t{4} << 20U;

}  // namespace

PartResults::PartResults(const PartFiles& files, const SweepJobId& jobId, std::uint64_t count)
    : m_reader(files.result, c_maxPackage), m_jobId(jobId), m_count(count) {}

bool PartResults::step() {
  const std::optional<std::string> package = m_reader.next();
  if (!package) {
    if (!m_failure && m_results.size() != m_count * c_resultBytes) {
      throw SweepFailure(FailureKind::Internal, "there are not as many results as realizations");
    }
    return false;
  }
  const ReplyContent content = readReplyPackage(*package).content;
  if (const auto* failure = std::get_if<SweepFailure>(&content)) {
    m_failure.emplace(*failure);
    return true;
  }
  const auto* result = std::get_if<SweepResult>(&content);
  if (result == nullptr || result->jobId.getUniqueId() != m_jobId.getUniqueId()) {
    throw SweepFailure(FailureKind::Internal, "what is stored belongs to another job");
  }
  m_results += packResults(result->realizations);
  return true;
}

}  // namespace ParameterSweep
