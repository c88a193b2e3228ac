#include <service/ExceptionHandling.h>
#include <service/Identifier.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <string_view>

namespace Drelvan {

namespace {

constexpr std::size_t c_groups = 3;
constexpr std::size_t c_bytesPerGroup = 8;
constexpr std::size_t c_digitsPerGroup = 2 * c_bytesPerGroup;
constexpr std::size_t c_idLength = c_groups * c_digitsPerGroup + (c_groups - 1);

bool isHyphenPlace(std::size_t index) { return index % (c_digitsPerGroup + 1) == c_digitsPerGroup; }

bool isHexDigit(char character) {
  return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f') ||
         (character >= 'A' && character <= 'F');
}

}  // namespace

UniqueID::UniqueID() = default;
UniqueID::~UniqueID() = default;

std::string UniqueID::generateId() {
  constexpr std::string_view digits = "0123456789abcdef";
  std::array<unsigned char, c_groups * c_bytesPerGroup> bits{};
  if (getentropy(bits.data(), bits.size()) != 0) {
    throw DvException("The operating system has no secure random bits to give.", "Identifier",
                      "Drelvan::UniqueID::generateId", __FILE__, __LINE__);
  }
  std::string id;
  id.reserve(c_idLength);
  for (const unsigned char byte : bits) {
    if (isHyphenPlace(id.size())) {
      id += '-';
    }
    id += digits[byte >> 4U];
    id += digits[byte & 15U];
  }
  return id;
}

bool UniqueID::idCheckOK(const std::string& id) const {
  if (id.size() != c_idLength) {
    return false;
  }
  for (std::size_t index = 0; index < id.size(); ++index) {
    if (isHyphenPlace(index) ? id[index] != '-' : !isHexDigit(id[index])) {
      return false;
    }
  }
  return true;
}

}  // namespace Drelvan
