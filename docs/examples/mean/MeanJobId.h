#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>

/// The id of a job of the mean service: its name begins with "Mean_".
class MeanJobId : public Drelvan::GenericJobId {
 public:
  MeanJobId() { setPrefixAndGenerateUniqueId("Mean"); }
};
