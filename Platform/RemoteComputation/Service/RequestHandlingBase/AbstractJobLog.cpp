#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractJobLog.h>

namespace Drelvan {

AbstractJobLog::AbstractJobLog() = default;
AbstractJobLog::~AbstractJobLog() = default;

}  // namespace Drelvan
