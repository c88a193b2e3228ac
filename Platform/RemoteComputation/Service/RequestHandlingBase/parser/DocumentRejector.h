#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/Limits.h>

#include <cstddef>
#include <functional>
#include <string>
#include <utility>

namespace Drelvan::Parsing {

/// Thrown to leave a parse after the document was rejected and the reason reported.
struct DocumentRejected {};

/// Rejects a document: reports the reason like an error of Xerces-C, at the parser's position, and leaves the parse.
class DocumentRejector {
 public:
  using Report = std::function<void(const std::string& message)>;

  explicit DocumentRejector(Report report) : m_report(std::move(report)) {}

  void beginDocument() { m_exceedsLimit = false; }
  /// Whether the document was rejected for exceeding a limit.
  bool exceedsLimit() const { return m_exceedsLimit; }

  /// Rejects the document when `count` is above the limit.
  void enforceLimit(std::size_t count, const Limit& limit) {
    if (count > limit.most) {
      rejectForLimit(limit);
    }
  }

  [[noreturn]] void rejectForLimit(const Limit& limit) {
    m_exceedsLimit = true;
    reject("The document exceeds the limit of " + std::to_string(limit.most) + " " + limit.what + ".");
  }

  [[noreturn]] void reject(const std::string& message) {
    m_report(message);
    throw DocumentRejected();
  }

 private:
  const Report m_report;
  bool m_exceedsLimit = false;
};

}  // namespace Drelvan::Parsing
