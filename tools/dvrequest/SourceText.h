#pragma once

#include <tools/dvrequest/Place.h>

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace DvRequest {

/// Finds tags and attributes in the text of a document, where the parser only tells what it had read when it noticed a
/// fault. Knows nothing of documents that are not in UTF-8.
class SourceText {
 public:
  /// Refers to `content` as long as it lives.
  explicit SourceText(const std::string& content);

  /// Where the tag begins that ends at `behind`.
  std::optional<Place> tag(const Place& behind) const;
  /// Where the attribute `name`, whatever its prefix, begins in the tag that ends at `behind`.
  std::optional<Place> attribute(const Place& behind, const std::string& name) const;

 private:
  /// How much text stands before a byte.
  struct Count {
    std::size_t units = 0;  ///< of UTF-16, in which the parser counts
    std::size_t characters = 0;
  };

  void addCharacter(std::size_t& index, Count& count) const;
  Count countBefore(std::size_t offset) const;
  std::optional<std::size_t> offset(const Place& place) const;
  std::optional<std::size_t> tagOffset(const Place& behind) const;
  Place place(std::size_t offset) const;

  const std::string& m_content;
  std::vector<std::size_t> m_lines;                    ///< where each line begins
  std::vector<std::pair<std::size_t, Count>> m_marks;  ///< offsets, some thousand bytes apart, and what is before them
};

}  // namespace DvRequest
