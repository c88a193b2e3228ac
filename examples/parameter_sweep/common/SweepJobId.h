#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>

#include <string>
#include <vector>

namespace ParameterSweep {

/// The id of a sweep job: a valid `GenericJobId` whose prefix is "Sweep".
///
/// The client that submits a job generates its id, so a submission whose reply was lost can be sent again without
/// running the job twice. Threads: a plain value.
class SweepJobId : public Drelvan::GenericJobId {
 public:
  /// A fresh id.
  SweepJobId();
  /// An id received in another form. Throws `SweepFailure` (`UnknownJob`) when it is malformed or another service's.
  explicit SweepJobId(const Drelvan::GenericJobId& received);

  /// Reads the text form, or a unique id alone. Throws as above.
  static SweepJobId fromText(const std::string& text);
  /// Reads the argument after `c_cmdTag`. Throws as above.
  static SweepJobId fromCmd(const std::vector<std::string>& arguments);
};

}  // namespace ParameterSweep
