// What the processor identification instruction tells about the running processor.
#pragma once

#include <cstdint>

namespace Vexmora {

/// Instruction set features as bits of one mask.
enum ProcessorFeature : std::uint32_t {
    kFeatureMmx = 1U << 0,
    kFeatureSse = 1U << 1,
    kFeatureSse2 = 1U << 2,
    kFeatureSse3 = 1U << 3,
    kFeatureSsse3 = 1U << 4,
    kFeatureMovbe = 1U << 5,
    kFeatureSse41 = 1U << 6,
    kFeatureSse42 = 1U << 7,
    kFeatureAes = 1U << 8,
    kFeaturePclmulqdq = 1U << 9,
    kFeatureAvx = 1U << 10,
    /// The operating system saves the AVX registers.
    kFeatureOsAvx = 1U << 11,
};

/// The registers that tell about a processor, as read; all zero where there is nothing to read.
struct ProcessorFacts {
    /// There is a processor identification instruction.
    bool identifies = false;
    bool isIntel = false;
    /// 64-bit mode is supported.
    bool is64Bit = false;
    /// Leaf 1: signature in eax, features in ecx and edx.
    std::uint32_t signature = 0;
    std::uint32_t leaf1Ecx = 0;
    std::uint32_t leaf1Edx = 0;
    /// Leaf 7, sub-leaf 0.
    std::uint32_t leaf7Ebx = 0;
    /// Cores in the package, 0 when the processor does not tell.
    std::uint32_t coresPerPackage = 0;
    /// Extended control register 0, or 0 where it cannot be read.
    std::uint64_t extendedControl = 0;
};

/// The facts of the running processor, read once: under a hypervisor each look costs microseconds.
const ProcessorFacts& RunningProcessor();

/// Mask of the ProcessorFeature bits that inFacts name.
std::uint32_t FeaturesOf(const ProcessorFacts& inFacts);

/// Whether AVX2 code runs, which uses BMI2, too: the processor has both and the operating system saves the
/// AVX registers.
bool RunsAvx2(const ProcessorFacts& inFacts);

}  // namespace Vexmora
