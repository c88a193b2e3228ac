#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>
#include <Platform/RemoteComputation/Service/RequestPackages/Service_RequestPackages_export.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace Drelvan {

/// The base schema together with fragments, and the errors in them. The parser does not check fragments: documents fail
/// instead. Check them in a unit test:
///
///     EXPECT_EQ(Drelvan::PackageSchema({MySchema()}).describeErrors(), "");
///
/// Neither a `ParserSession` nor a started Xerces-C is needed; both may exist.
///
/// Threads: a plain value.
class SERVICE_REQUESTPACKAGES_EXPORT PackageSchema {
 public:
  /// One error.
  struct Error {
    /// Which of the fragments given it is in, from 0; empty when only the whole schema is known to have it.
    std::optional<std::size_t> fragment;
    std::uint64_t line = 0;    ///< in the text of the fragment, from 1; 0 when not known
    std::uint64_t column = 0;  ///< of the start of the tag, or of the character, from 1; 0 when not known
    std::string message;       ///< what is wrong
  };

  /// @{
  /// The base schema and `fragments`, in the order in which a program registers them.
  PackageSchema(std::initializer_list<AbstractRequestSchema> fragments);
  explicit PackageSchema(const std::vector<AbstractRequestSchema>& fragments);
  /// @}

  /// The whole schema document, as the parser of the process loads it.
  std::string getText() const;

  /// All errors, in the order of their places; empty when the fragments are valid. First each fragment is checked by
  /// itself, then the schema is compiled if no error was found. What would take the parser minutes or gigabytes, such
  /// as a repeated sequence with a `maxOccurs` of 10 000, is an error as well, and is not compiled. Reaches no files
  /// and no network. Throws nothing but `std::bad_alloc`.
  std::vector<Error> check() const;

  /// The errors as text: "fragment 1, line 3, column 5: message" and a line feed for each; empty when there is none.
  std::string describeErrors() const;

 private:
  std::vector<AbstractRequestSchema> m_fragments;
};

}  // namespace Drelvan
