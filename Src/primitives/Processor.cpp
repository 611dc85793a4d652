// Reads the processor's identification and names the features in it.
#include "primitives/Processor.h"

#include <array>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace Vexmora {
namespace {

constexpr std::uint32_t Bit(int inBit) {
    return std::uint32_t{1} << inBit;
}

constexpr std::uint32_t kStateSavingByOs = Bit(27);
constexpr std::uint32_t kAvx = Bit(28);
constexpr std::uint32_t kAvx2AndBmi2 = Bit(5) | Bit(8);
// Bits 1 and 2 of the extended control register: the SSE state and the upper halves of the AVX registers.
constexpr std::uint64_t kAvxState = 6;

struct NamedBit {
    std::uint32_t registerBit;
    ProcessorFeature feature;
};

constexpr std::array kLeaf1Edx{NamedBit{Bit(23), kFeatureMmx}, NamedBit{Bit(25), kFeatureSse},
                               NamedBit{Bit(26), kFeatureSse2}};

constexpr std::array kLeaf1Ecx{NamedBit{Bit(0), kFeatureSse3},      NamedBit{Bit(9), kFeatureSsse3},
                               NamedBit{Bit(19), kFeatureSse41},    NamedBit{Bit(20), kFeatureSse42},
                               NamedBit{Bit(22), kFeatureMovbe},    NamedBit{Bit(25), kFeatureAes},
                               NamedBit{Bit(1), kFeaturePclmulqdq}, NamedBit{kAvx, kFeatureAvx}};

bool OsSavesAvx(const ProcessorFacts& inFacts) {
    constexpr std::uint32_t kNeeded = kStateSavingByOs | kAvx;
    return (inFacts.leaf1Ecx & kNeeded) == kNeeded && (inFacts.extendedControl & kAvxState) == kAvxState;
}

}  // namespace

std::uint32_t FeaturesOf(const ProcessorFacts& inFacts) {
    std::uint32_t features = 0;
    for (const NamedBit& named : kLeaf1Edx) {
        if ((inFacts.leaf1Edx & named.registerBit) != 0) features |= named.feature;
    }
    for (const NamedBit& named : kLeaf1Ecx) {
        if ((inFacts.leaf1Ecx & named.registerBit) != 0) features |= named.feature;
    }
    if (OsSavesAvx(inFacts)) features |= kFeatureOsAvx;
    return features;
}

bool RunsAvx2(const ProcessorFacts& inFacts) {
    return OsSavesAvx(inFacts) && (inFacts.leaf7Ebx & kAvx2AndBmi2) == kAvx2AndBmi2;
}

namespace {

#if defined(__x86_64__)

ProcessorFacts ReadFacts() {
    ProcessorFacts facts;
    std::uint32_t eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (__get_cpuid(0, &eax, &ebx, &ecx, &edx) == 0) return facts;
    facts.identifies = true;
    facts.isIntel = ebx == signature_INTEL_ebx && edx == signature_INTEL_edx && ecx == signature_INTEL_ecx;
    __get_cpuid(1, &facts.signature, &ebx, &facts.leaf1Ecx, &facts.leaf1Edx);
    if (facts.isIntel && __get_cpuid_count(4, 0, &eax, &ebx, &ecx, &edx) != 0) {
        facts.coresPerPackage = (eax >> 26) + 1;
    }
    __get_cpuid_count(7, 0, &eax, &facts.leaf7Ebx, &ecx, &edx);
    facts.is64Bit = __get_cpuid(0x80000001, &eax, &ebx, &ecx, &edx) != 0 && (edx & Bit(29)) != 0;
    if ((facts.leaf1Ecx & kStateSavingByOs) != 0) {
        // As an instruction, because the intrinsic needs a target flag that this file must not have.
        std::uint32_t low = 0, high = 0;
        __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
        facts.extendedControl = (std::uint64_t{high} << 32) | low;
    }
    return facts;
}

#else

ProcessorFacts ReadFacts() {
    return {};
}

#endif

}  // namespace

const ProcessorFacts& RunningProcessor() {
    static const ProcessorFacts facts = ReadFacts();
    return facts;
}

}  // namespace Vexmora
