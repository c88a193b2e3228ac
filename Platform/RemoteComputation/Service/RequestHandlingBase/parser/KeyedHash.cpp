#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/KeyedHash.h>

#include <cstring>
#include <random>

namespace Drelvan::Parsing {

namespace {

struct Key {
  std::uint64_t first;
  std::uint64_t second;
};

Key drawKey() {
  std::random_device device;
  const auto word = [&device] { return std::uint64_t{device()} << 32U | device(); };
  const std::uint64_t first = word();
  return {first, word()};
}

const Key& key() {
  static const Key drawn = drawKey();
  return drawn;
}

std::uint64_t rotated(std::uint64_t word, unsigned bits) { return word << bits | word >> (64U - bits); }

/// The four words that SipHash mixes.
class State {
 public:
  explicit State(const Key& key)
      : m_0(key.first ^ 0x736f6d6570736575U),
        m_1(key.second ^ 0x646f72616e646f6dU),
        m_2(key.first ^ 0x6c7967656e657261U),
        m_3(key.second ^ 0x7465646279746573U) {}

  void take(std::uint64_t word) {
    m_3 ^= word;
    mix();
    m_0 ^= word;
  }

  std::uint64_t finish() {
    m_2 ^= 0xffU;
    mix();
    mix();
    mix();
    return m_0 ^ m_1 ^ m_2 ^ m_3;
  }

 private:
  void mix() {
    m_0 += m_1;
    m_2 += m_3;
    m_1 = rotated(m_1, 13) ^ m_0;
    m_3 = rotated(m_3, 16) ^ m_2;
    m_0 = rotated(m_0, 32);
    m_2 += m_1;
    m_0 += m_3;
    m_1 = rotated(m_1, 17) ^ m_2;
    m_3 = rotated(m_3, 21) ^ m_0;
    m_2 = rotated(m_2, 32);
  }

  std::uint64_t m_0;
  std::uint64_t m_1;
  std::uint64_t m_2;
  std::uint64_t m_3;
};

}  // namespace

std::size_t KeyedHash::operator()(std::u16string_view name) const {
  constexpr std::size_t charactersOfWord = sizeof(std::uint64_t) / sizeof(char16_t);
  State state(key());
  std::size_t at = 0;
  for (; at + charactersOfWord <= name.size(); at += charactersOfWord) {
    std::uint64_t word = 0;
    std::memcpy(&word, name.data() + at, sizeof(word));
    state.take(word);
  }
  std::uint64_t last = std::uint64_t{name.size()} << 48U;
  for (unsigned shift = 0; at < name.size(); ++at, shift += 16U) {
    last |= std::uint64_t{name[at]} << shift;
  }
  state.take(last);
  return static_cast<std::size_t>(state.finish());
}

}  // namespace Drelvan::Parsing
