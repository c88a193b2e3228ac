#pragma once

#include <service/Xerces.h>
#include <tools/dvrequest/check/PackageReader.h>
#include <tools/dvrequest/check/SourceText.h>

#include <cstddef>
#include <optional>
#include <string>
#include <xercesc/framework/psvi/XSSimpleTypeDefinition.hpp>

namespace DvRequest {

/// What a message means, and what to do.
struct Hint {
  std::string text;                   ///< empty when the message says it all
  std::optional<std::size_t> offset;  ///< the byte to look at, where that is not the one that the parser reached
};

/// For an error of syntax or encoding. `open` is the innermost open element; null outside the root.
Hint hintOnSyntax(const ReadError& error, const SourceText& source, const ReadElement* open);

/// For a value that is not of its type.
std::string hintOnValue(const std::string& value, const std::string& message,
                        xercesc_3_1::XSSimpleTypeDefinition& type);

/// For an error of the tag at `tag` in a fragment of `schema`: which prefix a name in it lacks. Empty when none does.
std::string hintOnPrefix(const SourceText& fragment, std::size_t tag, const SourceText& schema);

}  // namespace DvRequest
