#pragma once

#include <fuzz/parse/Tokens.h>

#include <cstddef>
#include <random>
#include <string>

namespace Fuzz {

/// Changes sequences of documents by what XML and the schema are made of: elements, attributes, namespaces, types,
/// declarations, entities, encodings, and many of the same. The same seed and input give the same result.
class DocumentMutator {
 public:
  explicit DocumentMutator(unsigned seed) : m_random(seed) {}

  std::string mutated(const std::string& input);
  /// `input` with a part of `other` in it.
  std::string crossed(const std::string& input, const std::string& other);

 private:
  std::size_t below(std::size_t count) { return m_random() % count; }
  bool oneIn(std::size_t count) { return below(count) == 0; }
  /// Mostly few, now and then around the limits.
  std::size_t repetitions();
  template <typename Table>
  std::string oneOf(const Table& table) {
    return std::string(table[below(std::size(table))]);
  }

  std::string changedDocument(const std::string& document);
  void change(Tokens& tokens);

  std::size_t anyPlace(const Tokens& tokens) { return below(tokens.size() + 1); }
  /// An opening or empty tag, or the number of tokens when there is none.
  std::size_t anyTag(const Tokens& tokens);
  std::string elementName();
  std::string attribute();
  std::string subset();
  Tokens package();

  void remove(Tokens& tokens);
  void duplicate(Tokens& tokens);
  void move(Tokens& tokens);
  void wrap(Tokens& tokens);
  void rename(Tokens& tokens);
  void addAttribute(Tokens& tokens);
  void addManyAttributes(Tokens& tokens);
  void removeAttribute(Tokens& tokens);
  void changeValue(Tokens& tokens);
  void insertPiece(Tokens& tokens);
  void insertElement(Tokens& tokens);
  void insertMany(Tokens& tokens);
  void setDeclaration(Tokens& tokens);
  void setDoctype(Tokens& tokens);
  void startAnew(Tokens& tokens);

  std::minstd_rand m_random;
};

}  // namespace Fuzz
