#pragma once

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TEST_SUPPORT_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TEST_SUPPORT_SANITIZED
#endif

namespace TestSupport {

/// Whether a sanitizer instruments this build, which then takes many times the memory.
#ifdef TEST_SUPPORT_SANITIZED
inline constexpr bool c_sanitized = true;
#else
inline constexpr bool c_sanitized = false;
#endif

}  // namespace TestSupport
