/// Every parser beside the library, in one run.
///
/// The names are FAMILY/PARSER/..., with the size in bytes, the number of further fragments or the threads after them.

#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "support/Memory.h"
#include "support/Packages.h"
#include "support/Peers.h"

namespace {

using benchmarks::ErrorKind;
using benchmarks::Peer;

using Maker = std::unique_ptr<Peer> (*)(int numberedSchemas);

/// The library with so many fragments; it is made anew only when the number changes.
Peer& library(int numberedSchemas) {
  static std::unique_ptr<Peer> peer;
  static int current = -1;
  if (std::exchange(current, numberedSchemas) != numberedSchemas) {
    peer = benchmarks::makeLibrary(numberedSchemas);
  }
  return *peer;
}

Peer& madeOnce(Maker maker, int numberedSchemas) {
  static std::map<std::pair<Maker, int>, std::unique_ptr<Peer>> peers;
  auto& peer = peers[{maker, numberedSchemas}];
  if (peer == nullptr) {
    peer = maker(numberedSchemas);
  }
  return *peer;
}

Peer& peerFor(Maker maker, int numberedSchemas) {
  return maker == benchmarks::makeLibrary ? library(numberedSchemas) : madeOnce(maker, numberedSchemas);
}

void run(benchmark::State& state, Peer& peer, std::size_t size, ErrorKind error) {
  const std::string package = benchmarks::script(size, error);
  // The same error in a small package tells whether the parser judges; a large one would take longer than its
  // measurement.
  if (peer.accepts(benchmarks::script(benchmarks::c_small, error)) != (error == ErrorKind::none)) {
    state.SkipWithError("a wrong verdict");
    return;
  }
  for (const auto iteration : state) {
    static_cast<void>(iteration);
    benchmark::DoNotOptimize(peer.accepts(package));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

struct NamedMaker {
  const char* name;
  Maker maker;
};

constexpr NamedMaker c_library{"library", benchmarks::makeLibrary};
constexpr NamedMaker c_bare{"bare", benchmarks::makeCachedParser};
constexpr NamedMaker c_perPackage{"per_package", benchmarks::makeParserPerPackage};
constexpr NamedMaker c_libxml2{"libxml2", benchmarks::makeLibxml2};
constexpr NamedMaker c_treeBinding{"xsdcxx", [](int) { return benchmarks::makeTreeBinding(); }};

void registerParse(const NamedMaker& parser, std::size_t size, ErrorKind error) {
  const std::string name =
      std::string(error == ErrorKind::none ? "valid/" : "invalid/") + parser.name + "/" + std::to_string(size);
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    run(state, peerFor(parser.maker, 0), size, error);
  })->Unit(benchmark::kMicrosecond);
}

void registerSizes() {
  for (const ErrorKind error : {ErrorKind::none, ErrorKind::element}) {
    for (const NamedMaker& parser : {c_library, c_bare, c_perPackage, c_libxml2, c_treeBinding}) {
      for (const std::size_t size : {benchmarks::c_small, benchmarks::c_medium, benchmarks::c_large}) {
        registerParse(parser, size, error);
      }
    }
    for (const NamedMaker& parser : {c_library, c_bare, c_libxml2}) {
      for (const std::size_t size : {5 * benchmarks::c_small, 5 * benchmarks::c_medium, 20 * benchmarks::c_medium}) {
        registerParse(parser, size, error);
      }
    }
  }
}

void registerFragments() {
  for (const NamedMaker& parser : {c_library, c_bare, c_perPackage, c_libxml2}) {
    for (const int count : {0, 10, 100}) {
      const std::string name = std::string("fragments/") + parser.name + "/" + std::to_string(count);
      benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        run(state, peerFor(parser.maker, count), benchmarks::c_small, ErrorKind::none);
      })->Unit(benchmark::kMicrosecond);
    }
  }
}

void libraryFromThreads(benchmark::State& state) {
  static Peer* peer = nullptr;
  if (state.thread_index() == 0) {
    peer = &library(0);
    peer->accepts(benchmarks::script(benchmarks::c_small, ErrorKind::none));
  }
  const std::string package = benchmarks::script(benchmarks::c_small, ErrorKind::none);
  for (const auto iteration : state) {
    static_cast<void>(iteration);
    benchmark::DoNotOptimize(peer->accepts(package));
  }
  state.SetItemsProcessed(state.iterations());
}

void bareFromThreads(benchmark::State& state) {
  const auto peer = benchmarks::makeCachedParser();
  const std::string package = benchmarks::script(benchmarks::c_small, ErrorKind::none);
  for (const auto iteration : state) {
    static_cast<void>(iteration);
    benchmark::DoNotOptimize(peer->accepts(package));
  }
  state.SetItemsProcessed(state.iterations());
}

void registerThreads() {
  for (const int threads : {1, 2, 4, 8}) {
    benchmark::RegisterBenchmark(("threads/library/" + std::to_string(threads)).c_str(), libraryFromThreads)
        ->Threads(threads)
        ->UseRealTime();
    benchmark::RegisterBenchmark(("threads/bare/" + std::to_string(threads)).c_str(), bareFromThreads)
        ->Threads(threads)
        ->UseRealTime();
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmarks::keepFreedMemory();
  // The platform stays started for all parsers, whichever comes and goes.
  const auto first = benchmarks::makeCachedParser();
  registerSizes();
  registerFragments();
  registerThreads();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
