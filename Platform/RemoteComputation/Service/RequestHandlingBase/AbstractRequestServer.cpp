#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestServer.h>

namespace Drelvan {

AbstractRequestServer* AbstractRequestServer::s_instance = nullptr;
boost::mutex AbstractRequestServer::s_instanceMutex;

AbstractRequestServer::AbstractRequestServer() = default;
AbstractRequestServer::AbstractRequestServer(const AbstractRequestServer& other) = default;
AbstractRequestServer& AbstractRequestServer::operator=(const AbstractRequestServer& other) = default;
AbstractRequestServer::~AbstractRequestServer() = default;

AbstractRequestServer* AbstractRequestServer::getInstance() {
  const boost::mutex::scoped_lock lock(s_instanceMutex);
  return s_instance;
}

}  // namespace Drelvan
