#pragma once

#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/engines/JobEngine.h>
#include <examples/parameter_sweep/server/Clocks.h>
#include <examples/parameter_sweep/store/Records.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

/// Stand-ins for what the sweep's server runs on, and values to begin with.
namespace SweepTest {

/// A clock that a test sets.
class FakeClock {
 public:
  void pass(std::chrono::milliseconds time) { *m_now += time; }
  /// Somebody sets the machine's clock; ages are not those of that clock.
  void step(std::chrono::milliseconds time) { *m_step += time; }

  ParameterSweep::Clocks get() const {
    ParameterSweep::Clocks clocks;
    clocks.now = [now = m_now] { return *now; };
    clocks.millisecondsSince1970 = [now = m_now, step = m_step] {
      return std::chrono::duration_cast<std::chrono::milliseconds>(now->time_since_epoch() + *step).count();
    };
    return clocks;
  }

 private:
  std::shared_ptr<ParameterSweep::TimePoint> m_now =
      std::make_shared<ParameterSweep::TimePoint>(std::chrono::hours(1000));
  std::shared_ptr<std::chrono::milliseconds> m_step = std::make_shared<std::chrono::milliseconds>(0);
};

/// An engine that starts nothing: the test says what becomes of the runs.
class FakeEngine final : public ParameterSweep::JobEngine {
 public:
  using Run = ParameterSweep::Run;
  using Report = ParameterSweep::RunReport;

  std::string getName() const override { return "fake"; }
  std::size_t getRoom() const override { return m_room - std::min(m_room, m_started.size()); }
  std::chrono::milliseconds getFileDelay() const override { return m_fileDelay; }
  void start(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      m_all.push_back(run);
      if (m_refusal) {
        Report report = *m_refusal;
        report.run = run;
        m_reports.push_back(report);
        continue;
      }
      m_started.push_back(run);
      m_reports.push_back({run, Report::Kind::Started, "run " + std::to_string(m_all.size())});
      if (m_runsAtOnce) {
        m_reports.push_back({run, Report::Kind::Running});
      }
    }
  }
  void resume(const Run& run, const std::string& record) override {
    m_started.push_back(run);
    m_resumed.push_back(record);
  }
  void end(const Run& run) override {
    m_ended.push_back(run);
    forget(run);
  }
  bool isLeft(const Run&) const override { return m_isLeft; }
  std::vector<Report> poll() override { return std::exchange(m_reports, {}); }
  int getDescriptor() const override { return -1; }
  std::string getError() const override { return m_error; }
  void endAll() override {}

  void report(Report report) { m_reports.push_back(std::move(report)); }
  void finish(Run run, const ParameterSweep::RunEnd& end) {
    forget(run);
    Report report{run, Report::Kind::Ended};
    report.end = end;
    m_reports.push_back(report);
  }

  std::size_t m_room = 1;
  bool m_runsAtOnce = true;
  bool m_isLeft = false;
  std::chrono::milliseconds m_fileDelay{0};
  std::string m_error;
  std::unique_ptr<Report> m_refusal;  ///< what comes of every start
  std::vector<Run> m_all;             ///< that were to be started
  std::vector<Run> m_started;         ///< and have not ended
  std::vector<Run> m_ended;           ///< that were told to end
  std::vector<std::string> m_resumed;

 private:
  void forget(const Run& run) {
    const auto isRun = [&](const Run& other) { return !(other < run) && !(run < other); };
    m_started.erase(std::remove_if(m_started.begin(), m_started.end(), isRun), m_started.end());
  }

  std::vector<Report> m_reports;
};

/// A whole submission in one package: realizations 1 to `count` of x, in parts of `partSize`.
inline ParameterSweep::AddPackage makeJob(std::uint32_t count, std::uint32_t partSize, const std::string& owner = "") {
  using namespace ParameterSweep;
  Request request{RequestKind::Submit, SweepJobId(), {"2*x", {}}};
  for (std::uint32_t id = 1; id <= count; ++id) {
    request.sweep.vectors.push_back({id, {{"x", 1.0 * id}}});
  }
  AddPackage change;
  change.content = writeRequestPackage(request);
  change.package = {1, 0, count};
  change.job.status.jobId = request.jobId;
  change.job.status.owner = owner;
  change.job.status.realizations = count;
  change.job.status.submitted = 1000;
  change.job.isComplete = true;
  change.job.packages = 1;
  change.job.expression = request.sweep.expression;
  change.job.columns = "x";
  for (std::uint32_t first = 0; first < count; first += partSize) {
    PartRecord part;
    part.number = static_cast<std::uint32_t>(change.parts.size()) + 1;
    part.first = first;
    part.count = std::min(partSize, count - first);
    change.parts.push_back(part);
  }
  change.job.status.parts = static_cast<std::uint32_t>(change.parts.size());
  return change;
}

/// The first report of the kind; fails after a minute.
inline ParameterSweep::RunReport waitForReport(ParameterSweep::JobEngine& engine,
                                               ParameterSweep::RunReport::Kind kind) {
  for (int look = 0; look < 6000; ++look) {
    for (const ParameterSweep::RunReport& report : engine.poll()) {
      if (report.kind == kind) {
        return report;
      }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  ADD_FAILURE() << "no such report";
  return {};
}

}  // namespace SweepTest
