#pragma once

#include <tools/dvrequest/Fragments.h>
#include <tools/dvrequest/LibraryLog.h>
#include <tools/dvrequest/Report.h>

#include <string>
#include <vector>

namespace DvRequest {

/// Takes documents through the library as a service program does. One at a time in a process.
class Checker {
 public:
  Checker(const std::vector<Fragment>& fragments, bool validate);
  /// Ends the library's parser.
  ~Checker();
  Checker(const Checker&) = delete;
  Checker& operator=(const Checker&) = delete;

  /// Never throws for a document, however bad, nor for a file that cannot be read.
  Report check(const std::string& name);

 private:
  Report parse(const std::string& name, const std::string& content);

  LibraryLog m_log;
  const bool m_validate;
};

}  // namespace DvRequest
