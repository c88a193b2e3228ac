#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractJobLog.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/RemoteJobStatusInterface.h>
#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/common/SweepJobId.h>
#include <service/Identifier.h>

#include <boost/describe/enum_from_string.hpp>
#include <boost/describe/enum_to_string.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace Drelvan {

BOOST_DESCRIBE_ENUM(RemoteJobStatusInterface::State, Unknown, Queued, Running, Finished, Failed, Cancelled)
BOOST_DESCRIBE_ENUM(AbstractJobLog::Message::Type, Info, Warning, Error, Debug)

}  // namespace Drelvan

/// What the programs say to each other, as values. Packages.h gives the XML.
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
BOOST_DESCRIBE_ENUM(RequestKind, Submit, Status, Result, Cancel, Log)

struct Request {
  RequestKind kind = RequestKind::Status;
  SweepJobId jobId = {};
  Sweep sweep = {};                                  ///< of a submission
  std::string id = Drelvan::UniqueID::generateId();  ///< the reply repeats it
};

/// Answers submit, status and cancel, and is what the publisher sends.
struct JobStatus {
  static constexpr const char* c_type = "SweepStatusReply";

  SweepJobId jobId = {};
  JobState state = JobState::Queued;
  double progress = 0;                       ///< from 0 to 1
  Drelvan::HostInfo host = {};               ///< where the job runs; empty until it does
  Drelvan::HostInfo server = {};             ///< where the server is reached
  std::optional<SweepFailure> failure = {};  ///< why the job failed or was cancelled
};

struct SweepResult {
  static constexpr const char* c_type = "SweepResultReply";

  SweepJobId jobId = {};
  std::vector<Realization> realizations = {};
};

struct JobMessages {
  static constexpr const char* c_type = "SweepLogReply";

  SweepJobId jobId = {};
  std::vector<LogMessage> messages = {};
};

/// The refusal is an alternative of its own.
using ReplyContent = std::variant<JobStatus, SweepResult, JobMessages, SweepFailure>;

inline constexpr const char* c_noRequest = "0000000000000000-0000000000000000-0000000000000000";

struct Reply {
  ReplyContent content;
  std::string requestId = c_noRequest;  ///< `c_noRequest` when the request could not be read
};

/// Whether nothing more happens to a job in this state.
constexpr bool isEnd(JobState state) {
  return state == JobState::Finished || state == JobState::Failed || state == JobState::Cancelled;
}

/// The name of an enumerator, as packages and users see it.
template <typename Enumeration>
const char* toText(Enumeration value) {
  return boost::describe::enum_to_string(value, "");
}

/// The enumerator of that name; `otherwise` for any other text.
template <typename Enumeration>
Enumeration fromText(const std::string& text, Enumeration otherwise) {
  boost::describe::enum_from_string(text.c_str(), otherwise);
  return otherwise;
}

}  // namespace ParameterSweep
