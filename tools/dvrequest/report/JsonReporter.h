#pragma once

#include <tools/dvrequest/support/Report.h>

namespace DvRequest {

/// Reports for programs: one JSON object per document or broken fragment, each on a line of its own. The manual page
/// lists its members; further members may come, none of them goes or changes its meaning.
class JsonReporter final : public Reporter {
 public:
  void show(const Report& report) override;
};

}  // namespace DvRequest
