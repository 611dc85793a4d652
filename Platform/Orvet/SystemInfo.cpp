// Processor identification, and the register state that the operating system saves.
#include "Orvet/SystemInfo.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>

#include <cstdint>
#endif

namespace Orvet {

#if defined(__x86_64__) || defined(__i386__)

bool SystemInfo::ProcessorSupportsAVX() {
    std::uint32_t eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0) return false;
    constexpr std::uint32_t kStateSavingAndAVX = bit_OSXSAVE | bit_AVX;
    if ((ecx & kStateSavingAndAVX) != kStateSavingAndAVX) return false;
    // Extended control register 0: bit 1 the SSE state, bit 2 the upper halves of the AVX registers.
    std::uint32_t low = 0, high = 0;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return (low & 6) == 6;
}

bool SystemInfo::ProcessorSupportsAVX2() {
    std::uint32_t eax = 0, ebx = 0, ecx = 0, edx = 0;
    return ProcessorSupportsAVX() && __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 &&
           (ebx & bit_AVX2) != 0;
}

#else

bool SystemInfo::ProcessorSupportsAVX() {
    return false;
}

bool SystemInfo::ProcessorSupportsAVX2() {
    return false;
}

#endif

}  // namespace Orvet
