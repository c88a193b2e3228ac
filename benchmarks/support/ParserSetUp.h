#pragma once

#include <service/Xerces.h>

#include <memory>
#include <string>
#include <xercesc/dom/DOMDocument.hpp>

namespace benchmarks {

/// Keeps Xerces-C's platform started.
class Platform {
 public:
  Platform();
  ~Platform();
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;
};

/// Xerces-C's parser with the settings that `RequestXmlHelper` makes, and `schema` as its cached grammar.
class Parser {
 public:
  explicit Parser(const std::string& schema);
  ~Parser();

  /// The caller releases the document. Null when anything was reported; nothing is left behind then.
  xercesc_3_1::DOMDocument* parse(const std::string& package);

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

}  // namespace benchmarks
