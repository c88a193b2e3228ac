// How the fuzzer changes inputs of the parse target: by structure mostly, by bytes otherwise.

#include <fuzz/parse/DocumentMutator.h>
#include <fuzz/support/Input.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace {

/// What does not fit is cut off.
std::size_t store(const std::string& text, std::uint8_t* data, std::size_t maxSize) {
  const std::size_t size = std::min(text.size(), maxSize);
  std::copy_n(text.begin(), size, data);
  return size;
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
  if (seed % 5 == 0) {
    return LLVMFuzzerMutate(data, size, maxSize);
  }
  const std::string text = Fuzz::DocumentMutator(seed).mutated(Fuzz::textOf(data, size));
  return text.size() > maxSize ? LLVMFuzzerMutate(data, size, maxSize) : store(text, data, maxSize);
}

extern "C" std::size_t LLVMFuzzerCustomCrossOver(const std::uint8_t* first, std::size_t firstSize,
                                                 const std::uint8_t* second, std::size_t secondSize, std::uint8_t* out,
                                                 std::size_t maxOutSize, unsigned seed) {
  Fuzz::DocumentMutator mutator(seed);
  return store(mutator.crossed(Fuzz::textOf(first, firstSize), Fuzz::textOf(second, secondSize)), out, maxOutSize);
}
