#include <service/ExceptionHandling.h>
#include <tests/support/ReaderComparison.h>

#include <algorithm>
#include <exception>
#include <xercesc/framework/MemBufInputSource.hpp>

namespace TestSupport {

namespace {

using Drelvan::PackageErrors;
using DvRequest::ReadError;
using DvRequest::Verdict;

std::string lineOf(long line, long column, const std::string& message) {
  return std::to_string(line) + ":" + std::to_string(column) + " " + message;
}

/// Takes down what is read.
class Recorder final : public DvRequest::ReadHandler {
 public:
  void start(const DvRequest::ReadElement&, const std::vector<ReadError>& errors) override { record(errors); }
  void end(const DvRequest::EndTag&, const std::string&, const std::vector<ReadError>& errors) override {
    record(errors);
  }
  void error(const ReadError& error) override { record({error}); }

  std::vector<std::string> m_lines;

 private:
  void record(const std::vector<ReadError>& errors) {
    for (const ReadError& error : errors) {
      const DvRequest::ReportedError& reported = error.reported;
      m_lines.push_back(lineOf(reported.place.line, reported.place.column, reported.message));
    }
  }
};

/// Whether the message is the library's own, not one of Xerces-C.
bool isOwn(const std::string& message) { return !message.empty() && message.back() == '.'; }

std::string differenceOfLines(const std::vector<std::string>& expected, const std::vector<std::string>& found) {
  std::string text;
  for (std::size_t index = 0; index < std::max(expected.size(), found.size()); ++index) {
    const std::string here = index < expected.size() ? expected[index] : "nothing";
    const std::string there = index < found.size() ? found[index] : "nothing";
    if (here != there) {
      text += "error " + std::to_string(index + 1) + "\n  library: " + here + "\n  tool:    " + there + "\n";
    }
  }
  return text;
}

}  // namespace

ReaderComparison::ReaderComparison(const std::vector<std::string>& fragments)
    : m_fragments(fragments),
      m_session(m_fragments.get()),
      m_schemaOfReader(m_fragments.combined()),
      m_schemaOfValidating(m_fragments.combined()),
      m_schemaOfOther(m_fragments.combined()),
      m_reader(m_schemaOfReader),
      m_validating(m_schemaOfValidating, true),
      m_notValidating(m_schemaOfOther, false) {}

ReaderComparison::Outcome ReaderComparison::parse(const std::string& document, bool validate) {
  const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(document.data()), document.size(),
                                              "input");
  try {
    Drelvan::PackageDocument::fromSource(source, validate);
    return {true, {}, {}};
  } catch (const Drelvan::DvExceptionNested& failure) {
    try {
      std::rethrow_exception(failure.getNested());
    } catch (const PackageErrors& errors) {
      return {false, failure.what(), errors};
    } catch (const std::exception&) {
      return {false, failure.what(), {}};
    }
  }
}

std::string ReaderComparison::differenceOf(const std::string& document, bool validate) {
  const Outcome outcome = parse(document, validate);
  const std::string difference = differenceOfReader(outcome, document, validate);
  if (!difference.empty()) {
    return difference;
  }
  return differenceOfReport(outcome, (validate ? m_validating : m_notValidating).check("input", document), validate);
}

std::string ReaderComparison::differenceOfReader(const Outcome& outcome, const std::string& document, bool validate) {
  if (!outcome.accepted && !outcome.errors) {
    return {};
  }
  Recorder recorder;
  m_reader.read(DvRequest::SourceText(document, "input"), validate, recorder);
  std::vector<std::string> expected;
  const std::size_t count = outcome.errors ? outcome.errors->getCount() : 0;
  if (outcome.errors) {
    for (const PackageErrors::Report& report : outcome.errors->getReports()) {
      expected.push_back(lineOf(static_cast<long>(report.line), static_cast<long>(report.column), report.message));
    }
  }
  std::vector<std::string>& found = recorder.m_lines;
  const bool isRefused = isOwn(outcome.message);
  if (isRefused ? found.size() + 1 < count : found.size() != count) {
    return "the library reports " + std::to_string(count) + " errors, the tool " + std::to_string(found.size()) + "\n" +
           differenceOfLines(expected, found);
  }
  if (isRefused && expected.size() == count) {
    expected.pop_back();
  }
  found.resize(std::min(found.size(), expected.size()));
  return differenceOfLines(expected, found);
}

std::string ReaderComparison::differenceOfReport(const Outcome& outcome, const DvRequest::Report& report,
                                                 bool validate) const {
  const Verdict good = validate ? Verdict::valid : Verdict::wellFormed;
  if (outcome.accepted != (report.verdict == good) || outcome.message != report.message ||
      outcome.accepted != report.diagnostics.empty() || outcome.accepted != report.package.has_value()) {
    return "the verdict is not the library's: " + report.message;
  }
  std::size_t count = 0;
  for (const DvRequest::Diagnostic& diagnostic : report.diagnostics) {
    count += 1 + diagnostic.consequences;
    if (outcome.errors && diagnostic.place.line == 0) {
      return "no place is known of: " + diagnostic.message;
    }
  }
  const std::size_t expected = outcome.errors ? outcome.errors->getCount() : count;
  return count == expected ? ""
                           : "the library reports " + std::to_string(expected) + " errors, the report accounts for " +
                                 std::to_string(count);
}

}  // namespace TestSupport
