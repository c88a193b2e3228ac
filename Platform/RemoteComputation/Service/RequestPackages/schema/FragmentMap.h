#pragma once

// Private to the library's source units; not installed.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Drelvan::Private {

/// A place in a text, from 1; 0 when not known.
struct Place {
  std::uint64_t line = 0;
  std::uint64_t column = 0;
};

/// The place of the byte at `offset`.
Place placeOf(std::string_view text, std::size_t offset);

/// The offset of `place`; the end of the text when that is nearer.
std::size_t offsetOf(std::string_view text, const Place& place);

/// The start of the tag that ends at `offset` or before; `offset` itself when there is none.
std::size_t startOfTag(std::string_view text, std::size_t offset);

/// An element of a schema document.
struct SchemaElement {
  std::string tag;  ///< the local name; empty for elements of other namespaces
  std::string name;
  std::string reference;  ///< the local part of the attribute `ref` or, for a derivation, `base`
  std::uint64_t minOccurs = 1;
  std::uint64_t maxOccurs = 1;  ///< `c_unbounded` for "unbounded"
  Place place;
  std::size_t parent = 0;
  std::vector<std::size_t> children;
};

constexpr std::uint64_t c_unbounded = ~std::uint64_t{0};

/// The elements of one fragment, read without regard to what a schema may hold. Needs a started Xerces-C.
class FragmentMap {
 public:
  /// Reads `fragment` between `header` and `footer`.
  FragmentMap(const std::string& header, const std::string& fragment, const std::string& footer);

  /// Why the fragment is not well-formed XML; empty when it is.
  const std::optional<std::string>& getError() const { return m_error; }
  const Place& getErrorPlace() const { return m_errorPlace; }

  /// In the order of the document; the first is `xs:schema`.
  const std::vector<SchemaElement>& getElements() const { return m_elements; }

 private:
  class Handler;

  std::vector<SchemaElement> m_elements;
  std::optional<std::string> m_error;
  Place m_errorPlace;
};

}  // namespace Drelvan::Private
