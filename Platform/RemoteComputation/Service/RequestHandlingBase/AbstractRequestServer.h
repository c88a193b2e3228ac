#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/Service_RequestHandlingBase_export.h>

#include <boost/thread/mutex.hpp>
#include <string>

namespace Drelvan {

/// Base of the request server of a program, and the access point to the one server of the process.
///
/// A concrete server installs itself by storing its address in `s_instance` while it holds `s_instanceMutex`, and
/// stores null again under the same lock before it is destroyed. This class never does either.
///
/// Threads: `getInstance` may be called from any thread; the rules of the four operations are the concrete server's.
class SERVICE_REQUESTHANDLINGBASE_EXPORT AbstractRequestServer {
 public:
  AbstractRequestServer();
  /// @{
  /// A copy is not installed, whether `other` is or not.
  AbstractRequestServer(const AbstractRequestServer& other);
  AbstractRequestServer& operator=(const AbstractRequestServer& other);
  /// @}
  virtual ~AbstractRequestServer();

  /// Begins to take requests.
  virtual void start() = 0;
  /// Ends taking requests.
  virtual void stop() = 0;
  /// Where this server is reached.
  virtual HostInfo getHostInfo() const = 0;
  /// Answers one request package (XML text) with a reply package (XML text).
  virtual std::string handleRequest(const std::string& requestPackage) = 0;

  /// The server of this process, or null when none is installed. The caller does not own it, and nothing keeps it
  /// alive.
  static AbstractRequestServer* getInstance();

 protected:
  static AbstractRequestServer* s_instance;  ///< what `getInstance` returns; not owned
  static boost::mutex s_instanceMutex;       ///< guards `s_instance`; held for the read or write only
};

}  // namespace Drelvan
