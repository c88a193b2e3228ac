#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/Service_RequestHandlingBase_export.h>
#include <service/Signals.h>

#include <string>

namespace Drelvan {

/// The status of one remote job, and the signals that tell of its changes.
///
/// Threads: the signals may be used from any thread; the rules of the six operations are the implementation's.
class SERVICE_REQUESTHANDLINGBASE_EXPORT RemoteJobStatusInterface {
 public:
  /// `Unknown` is a job that nothing is known of; that is not the same as `Queued`.
  enum class State { Unknown, Queued, Running, Finished, Failed, Cancelled };

  RemoteJobStatusInterface();
  RemoteJobStatusInterface(const RemoteJobStatusInterface&) = delete;
  RemoteJobStatusInterface& operator=(const RemoteJobStatusInterface&) = delete;
  virtual ~RemoteJobStatusInterface();

  /// The job that the status belongs to.
  virtual GenericJobId getJobId() const = 0;
  /// The state that was last heard of.
  virtual State getState() const = 0;
  /// The done part of the job, from 0 to 1.
  virtual double getProgress() const = 0;
  /// The machine that the job runs on; `empty()` as long as there is none.
  virtual HostInfo getHost() const = 0;
  /// Why the job failed; empty unless it did.
  virtual std::string getErrorMessage() const = 0;
  /// Asks for the end of the job; `m_cancelled` tells that it came.
  virtual void cancel() = 0;

  Signals::Signal<void(State)> m_stateChanged;         ///< the new state
  Signals::Signal<void(double)> m_progressChanged;     ///< the done part, from 0 to 1
  Signals::Signal<void()> m_started;                   ///< the job runs
  Signals::Signal<void(const std::string&)> m_failed;  ///< the job failed; says why
  Signals::Signal<void()> m_finished;                  ///< the job ended well
  Signals::Signal<void()> m_cancelled;                 ///< the job was ended on request
  Signals::Signal<void()> m_connectionLost;            ///< the job is no longer heard of
};

}  // namespace Drelvan
