#pragma once

#include <memory>
#include <string>

namespace benchmarks {

/// One way of turning a package into a tree and back into nothing.
///
/// Threads: one thread per peer, except for the library's, which any number of threads may use.
class Peer {
 public:
  virtual ~Peer() = default;

  /// Parses and validates `package`, makes the tree and frees it. Returns whether the package was accepted; whatever a
  /// refused one left behind is freed too.
  virtual bool accepts(const std::string& package) = 0;
};

/// The library, with the base schema, `EvaluateSchema` and `numberedSchemas` more. There is one instance in the
/// process: a second peer replaces the first one's.
std::unique_ptr<Peer> makeLibrary(int numberedSchemas = 0);

/// Xerces-C alone, set up once with the library's settings and the same cached grammar.
std::unique_ptr<Peer> makeCachedParser(int numberedSchemas = 0);

/// Xerces-C alone, set up for each package, the schema compiled each time.
std::unique_ptr<Peer> makeParserPerPackage(int numberedSchemas = 0);

/// libxml2 with a schema compiled once.
std::unique_ptr<Peer> makeLibxml2(int numberedSchemas = 0);

/// The tree of classes that xsdcxx generates, on a parser set up once with a cached grammar.
std::unique_ptr<Peer> makeTreeBinding();

}  // namespace benchmarks
