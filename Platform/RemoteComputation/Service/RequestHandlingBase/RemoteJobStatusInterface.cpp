#include <Platform/RemoteComputation/Service/RequestHandlingBase/RemoteJobStatusInterface.h>

namespace Drelvan {

RemoteJobStatusInterface::RemoteJobStatusInterface() = default;
RemoteJobStatusInterface::~RemoteJobStatusInterface() = default;

}  // namespace Drelvan
