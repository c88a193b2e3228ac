#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/Service_RequestHandlingBase_export.h>
#include <service/Signals.h>

#include <string>

namespace Drelvan {

/// The status of one remote job, and signals of its changes.
///
/// Threads: the signals may be used from any thread; the rules of the six operations are the implementation's.
class SERVICE_REQUESTHANDLINGBASE_EXPORT RemoteJobStatusInterface {
 public:
  /// `Unknown`: the state was never received, which differs from `Queued`.
  enum class State { Unknown, Queued, Running, Finished, Failed, Cancelled };

  RemoteJobStatusInterface();
  RemoteJobStatusInterface(const RemoteJobStatusInterface&) = delete;
  RemoteJobStatusInterface& operator=(const RemoteJobStatusInterface&) = delete;
  virtual ~RemoteJobStatusInterface();

  /// The job that the status belongs to.
  virtual GenericJobId getJobId() const = 0;
  /// The last state received.
  virtual State getState() const = 0;
  /// The completed fraction of the job, from 0 to 1.
  virtual double getProgress() const = 0;
  /// The machine that runs the job; `empty()` until there is one.
  virtual HostInfo getHost() const = 0;
  /// Why the job failed; empty unless it failed.
  virtual std::string getErrorMessage() const = 0;
  /// Requests that the job be ended; `m_cancelled` is emitted when it has ended.
  virtual void cancel() = 0;

  Signals::Signal<void(State)> m_stateChanged;         ///< the new state
  Signals::Signal<void(double)> m_progressChanged;     ///< the completed fraction, from 0 to 1
  Signals::Signal<void()> m_started;                   ///< the job runs
  Signals::Signal<void(const std::string&)> m_failed;  ///< the job failed; the reason
  Signals::Signal<void()> m_finished;                  ///< the job finished successfully
  Signals::Signal<void()> m_cancelled;                 ///< the job was ended on request
  Signals::Signal<void()> m_connectionLost;            ///< no more states are received
};

}  // namespace Drelvan
