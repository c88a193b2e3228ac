#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>

namespace ParameterSweep {

/// The requests and replies of the sweep service. Every program of the service starts its `Drelvan::ParserSession` with
/// it.
///
/// Threads: a plain value.
class SweepSchema : public Drelvan::AbstractRequestSchema {
 public:
  SweepSchema();
};

}  // namespace ParameterSweep
