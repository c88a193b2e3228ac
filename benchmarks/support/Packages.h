#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>

#include <cstddef>
#include <string>

namespace benchmarks {

/// A program's own fragment, as a computation service would register it: `EvaluateRequest` extends the base schema's
/// `Request` by a job id, a host, a parameter vector and a data reference.
class EvaluateSchema final : public Drelvan::AbstractRequestSchema {
 public:
  EvaluateSchema();
};

/// One of many fragments of a large program: a request type of its own and the types it is made of.
class NumberedSchema final : public Drelvan::AbstractRequestSchema {
 public:
  explicit NumberedSchema(int number);
};

/// The base schema, `EvaluateSchema` and `numberedSchemas` numbered ones as one schema document.
std::string combinedSchema(int numberedSchemas);

/// What is wrong with a package.
enum class ErrorKind {
  none,
  value,    ///< one parameter value, halfway, is not a number
  element,  ///< one parameter, halfway, lacks its id
  syntax,   ///< the last closing tag is missing
};

/// A `DV_RequestScript` of `EvaluateRequest`s of exactly `size` bytes, at least 1000; without its last tag for
/// `ErrorKind::syntax`.
std::string script(std::size_t size, ErrorKind error);

/// "1 KB", "50 KB" or "10 MB"; other sizes in bytes.
std::string sizeName(std::size_t size);

constexpr std::size_t c_small = 1024;
constexpr std::size_t c_medium = 50 * 1024;
constexpr std::size_t c_large = 10 * 1024 * 1024;

}  // namespace benchmarks
