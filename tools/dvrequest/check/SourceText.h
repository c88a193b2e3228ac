#pragma once

#include <tools/dvrequest/support/Place.h>
#include <tools/dvrequest/support/Report.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace DvRequest {

/// The text of a document by bytes, lines and columns: its own bytes, or those in UTF-8 when it is in another encoding.
/// Xerces-C converts it; as long as that is not started, the text is taken as it stands.
class SourceText {
 public:
  /// Takes the bytes as they stand when they do not fit the encoding that they name.
  /// `name` is that of the document, for messages.
  explicit SourceText(std::string content, std::string name = {});

  /// The document as it was read.
  const std::string& content() const { return m_content; }
  const std::string& text() const { return m_converted ? *m_converted : m_content; }
  const std::string& name() const { return m_name; }
  /// The encoding that the document names; "UTF-8" when it names none.
  const std::string& encoding() const { return m_encoding; }
  /// The encoding with characters of one byte each that the XML declaration names although the document is in UTF-16;
  /// empty when it is not so.
  std::string contradictoryEncoding() const;

  /// Columns count characters. Cheap for a series of growing offsets.
  Place place(std::size_t offset) const;
  /// The byte at a place of Xerces-C, whose columns count UTF-16 units; nothing when there is none. Cheap for a series
  /// of growing places.
  std::optional<std::size_t> offset(const Place& place) const;
  /// What stands around the byte in its line, as much as a terminal shows in one.
  Excerpt excerpt(std::size_t offset) const;
  /// The first byte that is not part of a UTF-8 character.
  std::optional<std::size_t> invalidByte() const;
  /// Where the attribute `name`, whatever its prefix, begins in the start tag from `begin` to `end`.
  std::optional<std::size_t> attribute(std::size_t begin, std::size_t end, const std::string& name) const;

 private:
  struct Position {
    std::size_t offset = 0;
    Place place;
  };

  std::string m_name;
  std::string m_content;
  std::string m_encoding;
  std::optional<std::string> m_converted;
  std::vector<std::size_t> m_lines;  ///< where each line begins
  // What was asked for last:
  mutable Position m_lastOfPlace;
  mutable Position m_lastOfOffset;
};

}  // namespace DvRequest
