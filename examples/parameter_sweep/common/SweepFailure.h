#pragma once

#include <service/ExceptionHandling.h>

#include <boost/describe/enum.hpp>
#include <string>

namespace ParameterSweep {

/// What went wrong, named by what the reader of the failure can do about it.
enum class FailureKind {
  MalformedPackage,       ///< the package does not follow the schema
  PackageTooLarge,        ///< the package is larger than the receiver accepts
  UnknownRequest,         ///< a valid package that is not a request of this service
  UnknownJob,             ///< no such job here
  JobExists,              ///< another job has this id
  JobEnded,               ///< too late to cancel
  NotFinished,            ///< the result is not there yet
  BadExpression,          ///< the expression cannot be evaluated
  BadParameters,          ///< the parameter vectors cannot be used
  JobFailed,              ///< the job program ended without a result
  JobCrashed,             ///< the job program was ended by a signal
  JobTimedOut,            ///< the job ran longer than the server allows
  JobCancelled,           ///< somebody cancelled the job
  LaunchFailed,           ///< the job program could not be started
  Unreachable,            ///< no answer from the server
  AccessRefused,          ///< the server does not know the client's key
  LocalFailure,           ///< a file or a program on this machine
  MissingPackage,         ///< a package of the submission was left out
  TooMuch,                ///< the server takes no more from this client now
  NotStored,              ///< the server could not store it; nothing has changed
  ProcessorTimeExceeded,  ///< a part used more processor time than the server allows
  MemoryExceeded,         ///< a part needed more memory than the server allows
  Internal                ///< an error of this service
};
BOOST_DESCRIBE_ENUM(FailureKind, MalformedPackage, PackageTooLarge, UnknownRequest, UnknownJob, JobExists, JobEnded,
                    NotFinished, BadExpression, BadParameters, JobFailed, JobCrashed, JobTimedOut, JobCancelled,
                    LaunchFailed, Unreachable, AccessRefused, LocalFailure, MissingPackage, TooMuch, NotStored,
                    ProcessorTimeExceeded, MemoryExceeded, Internal)

/// A failure that programs can send each other: an exception within a program, a `DVException` in a package.
///
/// The place of the failure is that of the constructor's caller. Threads and copies: as for its base.
class SweepFailure : public Drelvan::DvExceptionNested {
 public:
  static constexpr const char* c_type = "SweepRefusal";  ///< its type in a package

  SweepFailure(FailureKind kind, const std::string& message, const char* function = __builtin_FUNCTION(),
               const char* file = __builtin_FILE(), int line = __builtin_LINE())
      : DvExceptionNested(message.c_str(), "ParameterSweep", function, file, line), m_kind(kind) {}

  FailureKind getKind() const noexcept { return m_kind; }

 private:
  FailureKind m_kind;
};

}  // namespace ParameterSweep
