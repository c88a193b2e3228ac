#pragma once

#include <tools/dvrequest/support/Place.h>
#include <tools/dvrequest/support/Report.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace DvRequest {

/// The text of a document by bytes, lines and columns. One that says that it is in another encoding than UTF-8 is
/// converted.
class SourceText {
 public:
  /// Takes the bytes as they stand when they do not fit the encoding that they name.
  /// `name` is that of the document, for messages.
  explicit SourceText(std::string content, std::string name = {});

  const std::string& text() const { return m_text; }
  const std::string& name() const { return m_name; }
  bool wasConverted() const { return m_wasConverted; }
  /// The encoding that the document names; "UTF-8" when it names none.
  const std::string& encoding() const { return m_encoding; }

  /// Columns count characters. Cheap for a series of growing offsets.
  Place place(std::size_t offset) const;
  /// The byte at `place`; nothing when there is none.
  std::optional<std::size_t> offset(const Place& place) const;
  /// What stands around the byte in its line, as much as a terminal shows in one.
  Excerpt excerpt(std::size_t offset) const;
  /// The first byte that is not part of a UTF-8 character.
  std::optional<std::size_t> invalidByte() const;
  /// Where the attribute `name`, whatever its prefix, begins in the start tag from `begin` to `end`.
  std::optional<std::size_t> attribute(std::size_t begin, std::size_t end, const std::string& name) const;

 private:
  std::string m_name;
  std::string m_text;
  std::string m_encoding;
  bool m_wasConverted = false;
  std::vector<std::size_t> m_lines;  ///< where each line begins
  mutable std::size_t m_lastOffset = 0;
  mutable Place m_lastPlace{1, 1};
};

}  // namespace DvRequest
