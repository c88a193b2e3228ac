#pragma once

#include <examples/parameter_sweep/common/Messages.h>

#include <string>
#include <vector>

/// Writes and reads packages. Every package that is read is validated; a failure is a `SweepFailure`, whose nested
/// exception says what the parser or the reader refused. Threads: any, within the `Drelvan::ParserSession`.
namespace ParameterSweep {

/// A `DV_RequestPackage` from this program.
std::string writeRequestPackage(const Request& request);
/// Fails with `MalformedPackage`, with `UnknownRequest` for a valid package that holds no request of this service, and
/// with `UnknownJob` for the id of another service's job.
Request readRequestPackage(const std::string& package);

/// A `DV_ReplyPackage`.
std::string writeReplyPackage(const Reply& reply, const std::string& origin);
/// Fails with `MalformedPackage`, also for a reply that this service does not know.
Reply readReplyPackage(const std::string& package);

/// One line for a job's log file: a `LogMessage` element and a line end.
std::string writeLogLine(const LogMessage& message);
/// The messages in the whole lines of such a file.
std::vector<LogMessage> readLogLines(const std::string& lines);

/// The shortest text that reads back as the same number, in the form of the schema's `xs:double`.
std::string toText(double number);

}  // namespace ParameterSweep
