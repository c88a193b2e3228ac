#pragma once

#include <service/Xerces.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <unordered_map>
#include <xercesc/framework/MemoryManager.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>

namespace TestSupport {

/// A memory manager for Xerces-C that counts blocks and finds writes past the end of one, also far past it. To be
/// given to the platform's first start, and to outlive the platform.
class GuardedMemory final : public xercesc_3_1::MemoryManager {
 public:
  xercesc_3_1::MemoryManager* getExceptionMemoryManager() override { return this; }

  void* allocate(XMLSize_t size) override {
    if (failsNow()) {
      throw xercesc_3_1::OutOfMemoryException();
    }
    auto* block = static_cast<unsigned char*>(std::malloc(size + guardOf(size)));
    if (block == nullptr) {
      throw xercesc_3_1::OutOfMemoryException();
    }
    std::memset(block + size, c_sign, guardOf(size));
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_blocks.emplace(block, size);
    ++m_allocations;
    return block;
  }

  void deallocate(void* block) override {
    if (block == nullptr) {
      return;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_blocks.find(block);
    m_damages += isWhole(found->first, found->second) ? 0U : 1U;
    m_blocks.erase(found);
    std::free(block);
  }

  /// Blocks that were written past their end, those that are freed already included.
  std::size_t damages() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::size_t result = m_damages;
    for (const auto& [block, size] : m_blocks) {
      result += isWhole(block, size) ? 0U : 1U;
    }
    return result;
  }

  /// Blocks that are not freed.
  std::size_t blocks() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_blocks.size();
  }

  /// Blocks that have been allocated since the start.
  std::size_t allocations() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_allocations;
  }

  /// Has the allocation after `successes` further ones fail, once.
  void failAfter(std::size_t successes) { setRemaining(successes + 1); }
  void failNone() { setRemaining(0); }

 private:
  static constexpr unsigned char c_sign = 0xA5;

  /// Arrays that grow by doubling get much room, as an index may lie far past their end.
  static std::size_t guardOf(std::size_t size) {
    const bool isPowerOfTwo = size >= 64 && (size & (size - 1)) == 0;
    return isPowerOfTwo ? 8192 : 32;
  }

  static bool isWhole(const void* block, std::size_t size) {
    const auto* guard = static_cast<const unsigned char*>(block) + size;
    for (std::size_t index = 0; index < guardOf(size); ++index) {
      if (guard[index] != c_sign) {
        return false;
      }
    }
    return true;
  }

  void setRemaining(std::size_t remaining) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_remaining = remaining;
  }

  bool failsNow() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_remaining == 0) {
      return false;
    }
    return --m_remaining == 0;
  }

  mutable std::mutex m_mutex;
  std::unordered_map<void*, std::size_t> m_blocks;
  std::size_t m_allocations = 0;
  std::size_t m_damages = 0;
  std::size_t m_remaining = 0;
};

}  // namespace TestSupport
