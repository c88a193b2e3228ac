#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/job/PartComputation.h>

#include <boost/asio/ip/host_name.hpp>
#include <limits>

namespace ParameterSweep {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* c_group = "sweep-job";
constexpr std::chrono::milliseconds c_progressInterval{500};
constexpr std::size_t c_resultsAPackage = 500;

}  // namespace

PartComputation::PartComputation(const PartFiles& files, const SweepJobId& jobId, FileJobLog& log)
    : m_files(files), m_jobId(jobId), m_log(log) {}

void PartComputation::run() {
  PackageFileReader input(m_files.input, std::numeric_limits<std::size_t>::max());
  const Request part = readRequestPackage(input.next().value_or(""));
  m_skip = part.skip;
  m_count = part.count;
  m_log.write(LogMessage::Type::Info, c_group,
              "evaluating '" + part.sweep.expression + "' for " + std::to_string(m_count) + " realizations");
  storeProgress();
  m_results.emplace(m_files.result);
  while (const auto package = input.next()) {
    compute(part.sweep.expression, readRequestPackage(*package));
  }
  if (m_done != m_count) {
    throw SweepFailure(FailureKind::Internal, "the part has fewer realizations than the server said");
  }
  addResults();
  m_results->finish();
  m_log.write(LogMessage::Type::Info, c_group, "finished");
}

void PartComputation::compute(const std::string& expression, const Request& package) {
  for (const ParameterVector& vector : package.sweep.vectors) {
    if (m_skip > 0) {
      --m_skip;
    } else if (m_done < m_count) {
      computeOne(expression, vector);
    }
  }
}

void PartComputation::computeOne(const std::string& expression, const ParameterVector& vector) {
  if (m_evaluator == nullptr) {
    m_evaluator = std::make_unique<SweepEvaluator>(expression, vector);
  }
  m_batch.push_back(m_evaluator->evaluate(vector));
  ++m_done;
  if (m_batch.size() == c_resultsAPackage) {
    addResults();
  }
  if (Clock::now() - m_progressStored >= c_progressInterval) {
    storeProgress();
  }
}

void PartComputation::addResults() {
  if (!m_batch.empty()) {
    m_results->add(writeReplyPackage({SweepResult{m_jobId, m_batch, m_done - m_batch.size(), m_count}}, c_group));
    m_batch.clear();
  }
}

void PartComputation::storeProgress() {
  JobStatus status{m_jobId, JobState::Running};
  status.progress = static_cast<double>(m_done) / static_cast<double>(m_count);
  status.host.setName(boost::asio::ip::host_name());
  replaceFile(m_files.progress, writeReplyPackage({status}, c_group));
  m_progressStored = Clock::now();
}

void storeFailure(const PartFiles& files, const SweepFailure& failure) {
  PackageFileWriter writer(files.result);
  writer.add(writeReplyPackage({failure}, c_group));
  writer.finish();
}

}  // namespace ParameterSweep
