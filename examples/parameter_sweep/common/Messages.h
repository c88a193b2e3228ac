#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractJobLog.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/RemoteJobStatusInterface.h>
#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/common/SweepJobId.h>

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

/// What the programs say to each other, as values. PackageWriter.h and PackageReader.h give the XML.
namespace ParameterSweep {

using JobState = Drelvan::RemoteJobStatusInterface::State;
using LogMessage = Drelvan::AbstractJobLog::Message;

struct Parameter {
  std::string id;
  double value = 0;
};

/// The parameters of one evaluation.
struct ParameterVector {
  std::uint32_t realizationId = 0;
  std::vector<Parameter> parameters;
};

/// What a job computes: the expression, once for every vector.
struct Sweep {
  std::string expression;
  std::vector<ParameterVector> vectors;
};

/// The value of the expression for one vector.
struct Realization {
  std::uint32_t realizationId = 0;
  double value = 0;
};

enum class RequestKind { Submit, Status, Result, Cancel, Log };

struct Request {
  std::string id;  ///< a unique id; the reply repeats it
  RequestKind kind = RequestKind::Status;
  SweepJobId jobId;
  Sweep sweep;  ///< of a submission
};

/// Answers submit, status and cancel, and is what the publisher sends.
struct JobStatus {
  SweepJobId jobId;
  JobState state = JobState::Queued;
  double progress = 0;                  ///< from 0 to 1
  Drelvan::HostInfo host;               ///< where the job runs; empty until it does
  Drelvan::HostInfo server;             ///< where the server is reached
  std::optional<SweepFailure> failure;  ///< why the job failed or was cancelled
};

struct SweepResult {
  SweepJobId jobId;
  std::vector<Realization> realizations;
};

struct JobMessages {
  SweepJobId jobId;
  std::vector<LogMessage> messages;
};

/// The refusal is an alternative of its own.
using ReplyContent = std::variant<JobStatus, SweepResult, JobMessages, SweepFailure>;

struct Reply {
  std::string requestId;  ///< `c_noRequest` when the request could not be read
  ReplyContent content;
};

inline constexpr const char* c_noRequest = "0000000000000000-0000000000000000-0000000000000000";

/// Whether nothing more happens to a job in this state.
constexpr bool isEnd(JobState state) {
  return state == JobState::Finished || state == JobState::Failed || state == JobState::Cancelled;
}

const char* toText(JobState state);
/// `Unknown` for a text that is no state.
JobState toJobState(const std::string& text);
const char* toText(LogMessage::Type type);
LogMessage::Type toLogType(const std::string& text);

/// The shortest text that reads back as the same number, in the form that the schema's `xs:double` takes.
std::string toText(double number);
/// Reads an `xs:double`, as a validated package holds it, or a number of a CSV file. Empty for anything else.
std::optional<double> toDouble(const std::string& text);

/// Milliseconds since 1970-01-01 00:00 UTC.
std::int64_t currentMilliseconds();

}  // namespace ParameterSweep
