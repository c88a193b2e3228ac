#pragma once

#include <tests/support/Documents.h>

#include <memory>
#include <string>

namespace TestSupport {

/// Xerces-C's own parser with the settings of `RequestXmlHelper`, as the measure of what its parser makes. It needs a
/// started platform, and must end before the platform does.
class StockParser {
 public:
  /// `schema` is the whole schema document.
  explicit StockParser(const std::string& schema);
  ~StockParser();
  StockParser(const StockParser&) = delete;
  StockParser& operator=(const StockParser&) = delete;

  /// Null when anything was reported or thrown. What one document leaves behind is not there for the next.
  Document parse(const std::string& text, const char* systemId, bool validate) const;

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

}  // namespace TestSupport
