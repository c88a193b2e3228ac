#pragma once

// Private to the library's source units; not installed.

#include <Platform/RemoteComputation/Service/RequestPackages/PackageSchema.h>
#include <Platform/RemoteComputation/Service/RequestPackages/schema/FragmentMap.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Drelvan::Private {

/// Estimates the cost of the content models of a schema. Xerces-C copies what is repeated a given number of times: a
/// repeated group always, an element when its model has a repeated group. The cost grows with the square of the copies.
class ContentSize {
 public:
  /// The maps of all fragments, that of the base schema first.
  explicit ContentSize(const std::vector<FragmentMap>& fragments);

  /// What would cost too much; `Error::fragment` counts the maps.
  std::vector<PackageSchema::Error> check();

 private:
  struct Key {
    std::size_t fragment;
    std::size_t element;

    friend bool operator<(const Key& left, const Key& right) {
      return std::pair(left.fragment, left.element) < std::pair(right.fragment, right.element);
    }
  };
  using Names = std::map<std::string, Key>;

  const SchemaElement& at(const Key& key) const { return m_fragments[key.fragment].getElements()[key.element]; }
  std::vector<Key> particlesOf(const Key& parent) const;
  const Key* definitionOf(const Key& reference, const Names& names) const;
  /// The content of a type with that of the types that it extends.
  std::vector<Key> contentOf(const Key& type) const;
  void checkType(const Key& type);
  /// Whether elements in the model keep their number instead of being copied.
  bool keepsNumbers(const Key& particle);
  /// How many elements the particle makes of its model.
  std::uint64_t sizeOf(const Key& particle, bool keepsNumbers);
  std::uint64_t sizeOfOne(const Key& particle, bool keepsNumbers);
  void failCopies(const Key& particle, std::uint64_t copies);
  void fail(const Key& particle, const std::string& message);

  const std::vector<FragmentMap>& m_fragments;
  Names m_groups;
  Names m_types;
  std::map<Key, bool> m_groupKeepsNumbers;
  std::map<std::pair<Key, bool>, std::uint64_t> m_groupSizes;
  std::vector<PackageSchema::Error> m_errors;
  std::uint64_t m_copied = 0;
};

}  // namespace Drelvan::Private
