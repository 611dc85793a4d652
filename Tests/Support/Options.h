// Numbers that a run of the tests takes from the environment.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace Vexmora::Test {

/// The variable's value, or inDefault when it is not set; printed, so that a run can be repeated.
inline unsigned Option(const char* inName, unsigned inDefault) {
    const char* const text = std::getenv(inName);
    const unsigned value = text != nullptr ? static_cast<unsigned>(std::atoi(text)) : inDefault;
    std::printf("%s=%u\n", inName, value);
    return value;
}

/// Whether the tests are built with AddressSanitizer or ThreadSanitizer, under which they take many times as
/// long and as much memory.
#if defined(__has_feature)  // of clang
inline constexpr bool kIsSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kIsSanitized = true;
#else
inline constexpr bool kIsSanitized = false;
#endif

}  // namespace Vexmora::Test
