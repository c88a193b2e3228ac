#pragma once

#include <tools/dvrequest/support/Report.h>

namespace DvRequest {

/// Reports for people and editors: errors as compilers print them, good documents with what they hold.
class TextReporter final : public Reporter {
 public:
  explicit TextReporter(bool colour);
  void show(const Report& report) override;

 private:
  void showPackage(const Report& report) const;
  void showDiagnostic(const std::string& file, const Diagnostic& diagnostic) const;
  std::string coloured(const std::string& text, const char* code) const;

  const bool m_colour;
};

}  // namespace DvRequest
