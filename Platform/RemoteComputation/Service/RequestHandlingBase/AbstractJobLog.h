#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/Service_RequestHandlingBase_export.h>
#include <service/Signals.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Drelvan {

/// Base class of the log of one job.
///
/// Threads: the signal may be used from any thread; the rules of the four operations are the concrete log's.
/// The destructor is protected: a log is not deleted through this class.
class SERVICE_REQUESTHANDLINGBASE_EXPORT AbstractJobLog {
 public:
  /// One entry, as the schema type `LogMessage` carries it.
  struct Message {
    /// The values of the schema attribute `type`.
    enum class Type { Info, Warning, Error, Debug };

    Type type = Type::Info;      ///< the severity
    std::string group;           ///< the component that wrote the entry
    std::int64_t timestamp = 0;  ///< milliseconds since 1970-01-01 00:00 UTC
    std::string text;            ///< what happened
  };

  AbstractJobLog();
  AbstractJobLog(const AbstractJobLog&) = delete;
  AbstractJobLog& operator=(const AbstractJobLog&) = delete;

  /// Adds an entry and emits `m_messageAppended` with it.
  virtual void append(const Message& message) = 0;
  /// All entries, oldest first.
  virtual std::vector<Message> getMessages() const = 0;
  /// The job that the log belongs to.
  virtual GenericJobId getJobId() const = 0;
  /// Removes all entries.
  virtual void clear() = 0;

 protected:
  virtual ~AbstractJobLog();

 public:
  Signals::Signal<void(const Message&)> m_messageAppended;  ///< emitted with each appended entry
};

}  // namespace Drelvan
