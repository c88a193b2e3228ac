#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractJobLog.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/RemoteJobStatusInterface.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageValues.h>
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

using Drelvan::Parameter;
using Drelvan::ParameterVector;

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

enum class RequestKind {
  Submit,
  Append,
  Again,
  Status,
  Result,
  Cancel,
  Log,
  Output,
  Remove,
  List,
  Ping,
  Follow,
  Compute
};
BOOST_DESCRIBE_ENUM(RequestKind, Submit, Append, Again, Status, Result, Cancel, Log, Output, Remove, List, Ping, Follow,
                    Compute)

struct Request {
  RequestKind kind = RequestKind::Status;
  SweepJobId jobId = {};                             ///< of no meaning to `List` and `Ping`
  Sweep sweep = {};                                  ///< of `Submit`; its vectors also of `Append`
  std::string id = Drelvan::UniqueID::generateId();  ///< the reply repeats it
  std::string title = {};                            ///< of `Submit` and `Again`: what people call the job
  std::int32_t priority = 0;                         ///< of `Submit` and `Again`; higher ones start earlier
  std::uint32_t partSize = 0;                        ///< of `Submit`: realizations a part; 0 lets the server choose
  bool more = false;                                 ///< of `Submit` and `Append`: further packages follow
  std::uint32_t packageNumber = 1;                   ///< of `Append`: counts from 2
  std::optional<SweepJobId> ofJob = {};              ///< of `Again`: whose sweep is submitted
  std::uint64_t after = 0;                           ///< of `Result`, `Log` and `Output`: where the answer begins
  bool follow = false;                               ///< of `Output`: nothing that text of an earlier part may precede
  std::optional<JobState> state = {};                ///< of `List`: only these
  std::optional<std::string> owner = {};             ///< of `List`: only theirs
  std::uint64_t before = 0;                          ///< of `List`: where the answer begins; 0 for the newest job
  std::uint64_t skip = 0;                            ///< of `Compute`: realizations that come before the part's
  std::uint64_t count = 0;                           ///< of `Compute`: realizations of the part
};

/// Answers submissions, status and cancel, and is what those who follow a job get.
struct JobStatus {
  static constexpr const char* c_type = "SweepStatusReply";
  SweepJobId jobId = {};
  JobState state = JobState::Queued;
  double progress = 0;                       ///< from 0 to 1
  Drelvan::HostInfo host = {};               ///< where the job runs, or its part that started last; empty until it does
  Drelvan::HostInfo server = {};             ///< where the server is reached
  std::optional<SweepFailure> failure = {};  ///< why the job failed or was cancelled
  std::string title = {};
  std::string owner = {};  ///< the name of the client's key; empty without keys
  std::int32_t priority = 0;
  std::uint64_t realizations = 0;
  std::uint32_t parts = 0;
  std::uint32_t partsDone = 0;
  std::uint32_t partsRunning = 0;
  std::int64_t submitted = 0;  ///< milliseconds since 1970, as the next two
  std::int64_t started = 0;    ///< 0 for a job that has not started
  std::int64_t ended = 0;      ///< 0 for a job that has not ended
};

/// A part of the results, in the order of the sweep.
struct SweepResult {
  static constexpr const char* c_type = "SweepResultReply";
  SweepJobId jobId = {};
  std::vector<Realization> realizations = {};
  std::uint64_t first = 0;  ///< how many come before these
  std::uint64_t total = 0;  ///< of the whole sweep
};

struct JobMessages {
  static constexpr const char* c_type = "SweepLogReply";
  SweepJobId jobId = {};
  std::vector<LogMessage> messages = {};
  std::uint64_t next = 0;  ///< where the next answer begins
};

/// Answers a package of a submission that is not complete yet.
struct PackageReceived {
  static constexpr const char* c_type = "SweepReceivedReply";
  SweepJobId jobId = {};
  std::uint32_t packages = 0;      ///< stored so far
  std::uint64_t realizations = 0;  ///< stored so far
};

/// What the job programs wrote to standard output and error, a piece of it.
struct JobOutput {
  static constexpr const char* c_type = "SweepOutputReply";
  SweepJobId jobId = {};
  std::uint64_t next = 0;  ///< where the next piece begins
  bool more = false;       ///< whether there is one now
  std::string text = {};
};

struct JobList {
  static constexpr const char* c_type = "SweepListReply";
  std::vector<JobStatus> jobs = {};  ///< the newest first; without host and server
  std::uint64_t next = 0;            ///< where the next answer begins; 0 when there are no more
};

struct JobRemoved {
  static constexpr const char* c_type = "SweepRemovedReply";
  SweepJobId jobId = {};
};

/// How the server is, for monitors.
struct ServerHealth {
  static constexpr const char* c_type = "SweepPingReply";
  Drelvan::HostInfo server = {};
  std::string version = {};
  double upSeconds = 0;
  std::string engine = {};
  std::string engineError = {};  ///< why the engine cannot say or start anything now; empty when it can
  std::string storeError = {};   ///< why nothing can be stored now; empty when it can
  std::uint64_t queued = 0;      ///< jobs
  std::uint64_t running = 0;     ///< jobs
  std::uint64_t partsRunning = 0;
  std::uint64_t bytesFree = 0;  ///< of the spool's disk
};

/// The refusal is an alternative of its own.
using ReplyContent = std::variant<JobStatus, SweepResult, JobMessages, SweepFailure, PackageReceived, JobOutput,
                                  JobList, JobRemoved, ServerHealth>;

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
