#pragma once

#include <tools/dvrequest/Place.h>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace DvRequest {

struct AttributeText {
  std::string name;  ///< without prefix
  std::string value;
};

/// One element of a document.
struct Element {
  std::optional<std::size_t> parent;
  std::string space;                      ///< namespace name
  std::string name;                       ///< without prefix
  std::string type;                       ///< what `xsi:type` names, without its prefix; empty when it does not
  std::vector<AttributeText> attributes;  ///< without those of the namespaces of XML Schema instances and of namespaces
  std::vector<std::size_t> children;
  Place start;  ///< just behind the start tag
  Place end;    ///< just behind the end tag; not known when the document ends before
};

/// The elements of a document and their places, whether it is valid or not. Stops early at a document type declaration
/// and at documents of an inordinate size.
class DocumentMap {
 public:
  explicit DocumentMap(const std::string& content);

  /// In the order of their start tags.
  const std::vector<Element>& elements() const { return m_elements; }
  /// Why the text is not well-formed; nothing when it is, or when the map stopped before the end.
  const std::optional<Problem>& brokenness() const { return m_brokenness; }

  std::optional<std::size_t> startingAt(const Place& place) const;
  std::optional<std::size_t> endingAt(const Place& place) const;
  /// The innermost element that has begun and not ended at `place`.
  std::optional<std::size_t> around(const Place& place) const;

  /// Such as /DV_Request/request[2]; numbers only among siblings of one name.
  std::string path(std::size_t element) const;

 private:
  class Scan;

  std::string step(std::size_t index) const;

  std::vector<Element> m_elements;
  std::map<Place, std::size_t> m_starts;
  std::map<Place, std::size_t> m_ends;
  std::optional<Problem> m_brokenness;
};

}  // namespace DvRequest
