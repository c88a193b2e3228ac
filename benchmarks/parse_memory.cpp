/// What one parse takes in a fresh process, as one line of JSON.
///
/// Usage: parse_memory PARSER SIZE valid|invalid

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "support/Memory.h"
#include "support/Packages.h"
#include "support/Peers.h"

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
}

namespace {

std::atomic<unsigned long> s_allocations{0};

}  // namespace

// Every allocation of the process, `operator new` included, comes through these.
extern "C" {
void* malloc(std::size_t size) {
  ++s_allocations;
  return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  ++s_allocations;
  return __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size) {
  ++s_allocations;
  return __libc_realloc(block, size);
}
}

namespace {

using benchmarks::ErrorKind;

std::unique_ptr<benchmarks::Peer> peerNamed(const std::string& name) {
  static const std::map<std::string, std::function<std::unique_ptr<benchmarks::Peer>()>> makers{
      {"library", [] { return benchmarks::makeLibrary(); }},
      {"bare", [] { return benchmarks::makeCachedParser(); }},
      {"per_package", [] { return benchmarks::makeParserPerPackage(); }},
      {"libxml2", [] { return benchmarks::makeLibxml2(); }},
      {"xsdcxx", [] { return benchmarks::makeTreeBinding(); }}};
  return makers.at(name)();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: parse_memory PARSER SIZE valid|invalid\n");
    return EXIT_FAILURE;
  }
  const auto peer = peerNamed(argv[1]);
  const auto size = static_cast<std::size_t>(std::atol(argv[2]));
  const ErrorKind error = std::string(argv[3]) == "valid" ? ErrorKind::none : ErrorKind::element;
  peer->accepts(benchmarks::script(benchmarks::c_small, ErrorKind::none));
  const std::string package = benchmarks::script(size, error);
  const long before = benchmarks::statusKib("VmRSS:");
  const unsigned long allocationsBefore = s_allocations;
  if (peer->accepts(package) != (error == ErrorKind::none)) {
    std::fprintf(stderr, "a wrong verdict\n");
    return EXIT_FAILURE;
  }
  const unsigned long allocations = s_allocations - allocationsBefore;
  std::printf("{\"parser\": \"%s\", \"size\": %zu, \"package\": \"%s\", \"peak_kib\": %ld, \"allocations\": %lu}\n",
              argv[1], size, argv[3], benchmarks::statusKib("VmHWM:") - before, allocations);
  return EXIT_SUCCESS;
}
