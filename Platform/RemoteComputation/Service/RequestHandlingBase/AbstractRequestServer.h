#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/Service_RequestHandlingBase_export.h>

#include <boost/thread/mutex.hpp>
#include <string>

namespace Drelvan {

/// Base class of request servers, and access to the one server of the process.
///
/// A concrete server installs itself by storing its address in `s_instance` while it holds `s_instanceMutex`, and
/// stores null again under the same lock before it is destroyed. This class never does either.
///
/// Threads: `getInstance` may be called from any thread; the rules of the four operations are the concrete server's.
class SERVICE_REQUESTHANDLINGBASE_EXPORT AbstractRequestServer {
 public:
  AbstractRequestServer();
  /// @{
  /// A copy is not installed, even if `other` is.
  AbstractRequestServer(const AbstractRequestServer& other);
  AbstractRequestServer& operator=(const AbstractRequestServer& other);
  /// @}
  virtual ~AbstractRequestServer();

  /// Starts accepting requests.
  virtual void start() = 0;
  /// Stops accepting requests.
  virtual void stop() = 0;
  /// The host and ports at which clients reach this server.
  virtual HostInfo getHostInfo() const = 0;
  /// Answers a request package or script (XML text) with a reply package or script. A server that replies later
  /// returns an empty text.
  virtual std::string handleRequest(const std::string& requestPackage) = 0;

  /// The server of this process, or null when none is installed. The caller does not own it; the
  /// server's owner must not destroy it while it is used.
  static AbstractRequestServer* getInstance();

 protected:
  static AbstractRequestServer* s_instance;  ///< what `getInstance` returns; not owned
  static boost::mutex s_instanceMutex;       ///< guards `s_instance`; held for the read or write only
};

}  // namespace Drelvan
