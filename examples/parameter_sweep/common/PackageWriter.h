#pragma once

#include <examples/parameter_sweep/common/Messages.h>

#include <string>

namespace ParameterSweep {

/// A `DV_RequestPackage`. `clientId` is a unique id of the sending program.
std::string writeRequestPackage(const Request& request, const std::string& clientId);

/// A `DV_ReplyPackage`. It begins with `replyPackageStart(origin)`.
std::string writeReplyPackage(const Reply& reply, const std::string& origin);

/// The first characters of every reply package with this origin. The publisher's packages have the job's text form as
/// their origin, so this is the subscription to one job.
std::string replyPackageStart(const std::string& origin);

/// A bare `DV_Reply`, as the files of the spool hold it.
std::string writeReply(const Reply& reply);

/// One line for a job's log file: a `logMessage` element and a line end.
std::string writeLogLine(const LogMessage& message);

}  // namespace ParameterSweep
