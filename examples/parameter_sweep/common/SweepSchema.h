#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>

namespace ParameterSweep {

/// The requests and replies of the sweep service. Every program of the service registers it before it parses anything.
///
/// Threads: a plain value.
class SweepSchema : public Drelvan::AbstractRequestSchema {
 public:
  SweepSchema();
};

/// Starts the parser with the service's fragment and ends it with the program. Exactly one, in `main`.
class ParserSession {
 public:
  ParserSession();
  ParserSession(const ParserSession&) = delete;
  ParserSession& operator=(const ParserSession&) = delete;
  ~ParserSession();
};

}  // namespace ParameterSweep
