/// Long runs: does memory stay flat, is every entry of the log written, is every answer right?
///
/// Usage: soak [FAILING_AND_GOOD [MIXED]]      100000 failing and as many good parses, then 1000000 mixed packages from
/// eight threads, by default. Exits with 1 when an answer differs or an entry is lost.

#include <malloc.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/Memory.h"
#include "support/Packages.h"
#include "support/Peers.h"

namespace {

using benchmarks::ErrorKind;
using benchmarks::Peer;

constexpr int c_threads = 8;
/// A failing string leaves one of the parser's error and one with the input.
constexpr long c_errorEntriesOfFailure = 2;

std::atomic<long> s_entries{0};

/// Counts entries and drops them.
class CountingSink final : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
 protected:
  void sink_it_(const spdlog::details::log_msg& entry) override {
    if (entry.level == spdlog::level::err) {
      ++s_entries;
    }
  }
  void flush_() override {}
};

long residentKib() {
  malloc_trim(0);
  return benchmarks::statusKib("VmRSS:");
}

struct Outcome {
  long failures = 0;
  long wrongAnswers = 0;
};

struct Document {
  std::string text;
  bool isValid;
};

std::vector<Document> mixedDocuments() {
  std::vector<Document> documents;
  for (const std::size_t size : {std::size_t{1000}, std::size_t{1500}, std::size_t{3000}}) {
    for (const ErrorKind error :
         {ErrorKind::none, ErrorKind::value, ErrorKind::none, ErrorKind::element, ErrorKind::none, ErrorKind::syntax}) {
      documents.push_back({benchmarks::script(size, error), error == ErrorKind::none});
    }
  }
  return documents;
}

Outcome parseAll(Peer& library, const std::vector<Document>& documents, long count) {
  Outcome outcome;
  for (long index = 0; index < count; ++index) {
    const Document& document = documents[static_cast<std::size_t>(index) % documents.size()];
    outcome.failures += document.isValid ? 0 : 1;
    outcome.wrongAnswers += library.accepts(document.text) == document.isValid ? 0 : 1;
  }
  return outcome;
}

Outcome parseFromThreads(Peer& library, const std::vector<Document>& documents, long count) {
  std::vector<Outcome> outcomes(c_threads);
  std::vector<std::thread> threads;
  for (Outcome& outcome : outcomes) {
    threads.emplace_back([&] { outcome = parseAll(library, documents, count / c_threads); });
  }
  Outcome sum;
  for (std::size_t index = 0; index < threads.size(); ++index) {
    threads[index].join();
    sum.failures += outcomes[index].failures;
    sum.wrongAnswers += outcomes[index].wrongAnswers;
  }
  return sum;
}

/// Runs `work` after a round of it that fills all caches, and reports. Returns whether all was right.
template <typename Work>
bool report(const char* name, long count, const Work& work) {
  work(count / 50);
  const long before = residentKib();
  s_entries = 0;
  const Outcome outcome = work(count);
  const long lost = outcome.failures * c_errorEntriesOfFailure - s_entries;
  std::printf(
      "{\"soak\": \"%s\", \"packages\": %ld, \"growth_kib\": %ld, \"lost_entries\": %ld, \"wrong_answers\": %ld}\n",
      name, count, residentKib() - before, lost, outcome.wrongAnswers);
  std::fflush(stdout);
  return lost == 0 && outcome.wrongAnswers == 0;
}

}  // namespace

int main(int argc, char** argv) {
  const long each = argc > 1 ? std::atol(argv[1]) : 100000;
  const long mixed = argc > 2 ? std::atol(argv[2]) : 1000000;
  spdlog::set_default_logger(std::make_shared<spdlog::logger>("soak", std::make_shared<CountingSink>()));
  const auto library = benchmarks::makeLibrary();
  const std::vector<Document> bad{{benchmarks::script(benchmarks::c_small, ErrorKind::value), false}};
  const std::vector<Document> good{{benchmarks::script(benchmarks::c_small, ErrorKind::none), true}};
  const std::vector<Document> all = mixedDocuments();
  bool right = report("failing", each, [&](long count) { return parseAll(*library, bad, count); });
  right = report("good", each, [&](long count) { return parseAll(*library, good, count); }) && right;
  right =
      report("mixed, 8 threads", mixed, [&](long count) { return parseFromThreads(*library, all, count); }) && right;
  return right ? EXIT_SUCCESS : EXIT_FAILURE;
}
