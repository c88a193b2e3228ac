#pragma once

#include <tools/dvrequest/Fragments.h>
#include <tools/dvrequest/ParserPlatform.h>
#include <tools/dvrequest/Report.h>
#include <tools/dvrequest/SchemaModel.h>

#include <string>
#include <vector>

namespace DvRequest {

/// Takes documents through the library as a service program does. One at a time in a process.
class Checker {
 public:
  /// Refers to the platform and to `schema`, the sound schema of the fragments, as long as it lives.
  Checker(ParserPlatform& platform, const std::vector<Fragment>& fragments, const SchemaModel& schema, bool validate);
  Checker(const Checker&) = delete;
  Checker& operator=(const Checker&) = delete;

  /// Never throws for a document, however bad, nor for a file that cannot be read.
  Report check(const std::string& name);

 private:
  Report parse(const std::string& name, const std::string& content);

  ParserPlatform& m_platform;
  const SchemaModel& m_schema;
  const bool m_validate;
};

}  // namespace DvRequest
