#pragma once

#include <service/ExceptionHandling.h>
#include <tools/dvrequest/check/PackageReader.h>
#include <tools/dvrequest/check/SchemaModel.h>
#include <tools/dvrequest/support/Report.h>

#include <string>

namespace DvRequest {

/// Takes documents through the library as a service program does. One at a time in a process, within a `ParserSession`.
class Checker {
 public:
  /// `schema`, the valid schema of the session, must live longer.
  Checker(SchemaModel& schema, bool validate);

  /// Never throws for a document, however bad, nor for a file that cannot be read.
  Report check(const std::string& name);
  /// The same for a document that has been read from `name`.
  Report check(const std::string& name, const std::string& content);

 private:
  void explainFailure(const Drelvan::DvExceptionNested& failure, const std::string& content, Report& report);

  const SchemaModel& m_schema;
  PackageReader m_reader;
  const bool m_validate;
};

}  // namespace DvRequest
