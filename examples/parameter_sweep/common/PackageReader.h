#pragma once

#include <examples/parameter_sweep/common/Messages.h>

#include <filesystem>
#include <string>
#include <vector>

/// Every reader validates what it reads against the schema, whoever wrote it. A failure is a `SweepFailure` that keeps
/// the parser's exception. Threads: any, once the schema is registered.
namespace ParameterSweep {

/// Fails with `MalformedPackage`, and with `UnknownRequest` for a valid package that holds no request of this service.
Request readRequestPackage(const std::string& package);
/// A file that holds a request package.
Request readRequestFile(const std::filesystem::path& file);

/// Fails with `MalformedPackage`, also for a reply that this service does not know.
Reply readReplyPackage(const std::string& package);
/// A file that holds a bare reply.
Reply readReplyFile(const std::filesystem::path& file);

/// The messages in the whole lines of a job's log file.
std::vector<LogMessage> readLogLines(const std::string& lines);

}  // namespace ParameterSweep
