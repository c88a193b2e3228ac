#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>

#include <string>

namespace ParameterSweep {

/// The id of a sweep job: a `GenericJobId` whose prefix is "Sweep".
///
/// The client that submits a job draws its id, so a submission whose reply was lost can be sent again without running
/// the job twice.
///
/// Threads: a plain value.
class SweepJobId : public Drelvan::GenericJobId {
 public:
  /// A fresh id.
  SweepJobId();
  /// An id received in another form, as it stands; `isSweepJob` tells whether it is usable.
  explicit SweepJobId(const Drelvan::GenericJobId& received);

  /// The job with this unique id, which is not checked.
  static SweepJobId fromUniqueId(const std::string& uniqueId);
  /// Reads the text form, or a unique id alone. Throws `SweepFailure` (`UnknownJob`) for anything else.
  static SweepJobId fromText(const std::string& text);
  /// Reads the id that `toCmd` wrote. Throws `SweepFailure` (`UnknownJob`) when there is none.
  static SweepJobId fromCommandLine(int argc, char* argv[]);

  /// Whether the id is valid and of this service. Only then is its unique id used to name a folder.
  bool isSweepJob() const;
};

}  // namespace ParameterSweep
