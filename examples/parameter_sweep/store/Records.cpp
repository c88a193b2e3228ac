#include <examples/parameter_sweep/store/Records.h>

#include <cstring>

namespace ParameterSweep {

namespace {

template <typename Number>
void append(std::string& bytes, Number number) {
  for (std::size_t index = 0; index < sizeof number; ++index) {
    bytes.push_back(static_cast<char>(number >> (8 * index) & 0xFFU));
  }
}

template <typename Number>
Number extract(const char* bytes) {
  Number number = 0;
  for (std::size_t index = 0; index < sizeof number; ++index) {
    number |= static_cast<Number>(static_cast<Number>(static_cast<unsigned char>(bytes[index])) << (8 * index));
  }
  return number;
}

}  // namespace

std::string packResults(const std::vector<Realization>& realizations) {
  std::string bytes;
  bytes.reserve(realizations.size() * c_resultBytes);
  for (const Realization& realization : realizations) {
    std::uint64_t value = 0;
    static_assert(sizeof value == sizeof realization.value);
    std::memcpy(&value, &realization.value, sizeof value);
    append(bytes, realization.realizationId);
    append(bytes, value);
  }
  return bytes;
}

std::vector<Realization> unpackResults(const std::string& bytes) {
  std::vector<Realization> realizations;
  for (std::size_t place = 0; place + c_resultBytes <= bytes.size(); place += c_resultBytes) {
    const auto bits = extract<std::uint64_t>(bytes.data() + place + sizeof(std::uint32_t));
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    realizations.push_back({extract<std::uint32_t>(bytes.data() + place), value});
  }
  return realizations;
}

}  // namespace ParameterSweep
