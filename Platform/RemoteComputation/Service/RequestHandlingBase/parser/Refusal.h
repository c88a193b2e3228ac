#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/Limits.h>

#include <cstddef>
#include <functional>
#include <string>
#include <utility>

namespace Drelvan::Parsing {

/// Thrown to leave a parse after the document was rejected and the reason reported.
struct Refused {};

/// Rejects a document: reports the reason like an error of Xerces-C, at the parser's position, and leaves the parse.
class Refusal {
 public:
  using Report = std::function<void(const std::string& message)>;

  explicit Refusal(Report report) : m_report(std::move(report)) {}

  void beginDocument() { m_isExcess = false; }
  /// Whether the document was rejected for exceeding a limit.
  bool isExcess() const { return m_isExcess; }

  /// Rejects the document when `count` is above the limit.
  void enforceLimit(std::size_t count, const Limit& limit) {
    if (count > limit.most) {
      refuseExcess(limit);
    }
  }

  [[noreturn]] void refuseExcess(const Limit& limit) {
    m_isExcess = true;
    refuse("The document exceeds the limit of " + std::to_string(limit.most) + " " + limit.what + ".");
  }

  [[noreturn]] void refuse(const std::string& message) {
    m_report(message);
    throw Refused();
  }

 private:
  const Report m_report;
  bool m_isExcess = false;
};

}  // namespace Drelvan::Parsing
