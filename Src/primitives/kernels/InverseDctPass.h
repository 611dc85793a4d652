// One pass of the inverse 8 x 8 transform, over any type that holds float values side by side.
#pragma once

#include <cfloat>
#include <cstdint>

// Everything is local to the file that includes this: each is compiled for its own processors, and no copy
// made for one of them may serve the others.
namespace Vexmora {
namespace {

// The transform is done in single precision. Its errors are some ten thousandths, far below those of integers
// of 16 bits, so that nearly every sample is the exactly rounded one. Every operation is rounded by itself,
// as IEEE 754 says, and all variants do the same ones in the same order: so they get the same bits, however
// many values a register holds. What relies on that is compiled without contraction, in the default rounding
// mode.
static_assert(FLT_EVAL_METHOD == 0);

/// sqrt(2) * cos(k * pi / 16), 1 for k = 0: inputs are weighted with it, so that the pass itself needs five
/// multiplications (Arai, Agui, Nakajima 1988). One pass is then sqrt(8) times an orthonormal transform.
constexpr double kInputWeights[8] = {1.0, 1.3870398453221475, 1.3065629648763766, 1.1758756024193588,
                                     1.0, 0.7856949583871022, 0.5411961001461971, 0.2758993792829430};

/// Weights of both passes, without their scale; symmetric.
struct CoefficientWeights {
    alignas(32) float values[8][8];
};
constexpr CoefficientWeights MakeCoefficientWeights() {
    CoefficientWeights weights{};
    for (int u = 0; u < 8; ++u) {
        for (int v = 0; v < 8; ++v) {
            weights.values[u][v] = static_cast<float>(kInputWeights[u] * kInputWeights[v] / 8);
        }
    }
    return weights;
}
constexpr CoefficientWeights kCoefficientWeights = MakeCoefficientWeights();

/// Added to the weighted DC coefficient and thus to every sample. Rounding to the nearest integer, ties to
/// even, then rounds ties up, as a block of the DC coefficient alone has them. It exceeds the errors there
/// and is too small to matter elsewhere.
constexpr float kTieBias = 1.0F / 4096;

/// Transforms ioValues[0] to ioValues[7], each of which holds inputs of several transforms.
template <typename Values>
inline void InverseDctPass(Values (&ioValues)[8]) {
    constexpr float kSqrt2 = 1.4142135623730951F;               // 2 cos(4 pi / 16)
    constexpr float kTwiceCos2 = 1.8477590650225735F;           // 2 cos(2 pi / 16)
    constexpr float kTwiceCos2MinusCos6 = 1.0823922002923940F;  // 2 (cos(2 pi / 16) - cos(6 pi / 16))
    constexpr float kTwiceCos2PlusCos6 = 2.6131259297527530F;   // 2 (cos(2 pi / 16) + cos(6 pi / 16))

    const Values sum04 = ioValues[0] + ioValues[4];
    const Values difference04 = ioValues[0] - ioValues[4];
    const Values sum26 = ioValues[2] + ioValues[6];
    const Values rest26 = (ioValues[2] - ioValues[6]) * kSqrt2 - sum26;
    const Values even0 = sum04 + sum26;
    const Values even1 = difference04 + rest26;
    const Values even2 = difference04 - rest26;
    const Values even3 = sum04 - sum26;

    const Values sum17 = ioValues[1] + ioValues[7];
    const Values difference17 = ioValues[1] - ioValues[7];
    const Values sum53 = ioValues[5] + ioValues[3];
    const Values difference53 = ioValues[5] - ioValues[3];
    const Values rotated = (difference53 + difference17) * kTwiceCos2;
    const Values odd0 = sum17 + sum53;
    const Values odd1 = (rotated - difference53 * kTwiceCos2PlusCos6) - odd0;
    const Values odd2 = (sum17 - sum53) * kSqrt2 - odd1;
    const Values odd3 = (rotated - difference17 * kTwiceCos2MinusCos6) - odd2;

    ioValues[0] = even0 + odd0;
    ioValues[7] = even0 - odd0;
    ioValues[1] = even1 + odd1;
    ioValues[6] = even1 - odd1;
    ioValues[2] = even2 + odd2;
    ioValues[5] = even2 - odd2;
    ioValues[3] = even3 + odd3;
    ioValues[4] = even3 - odd3;
}

/// Whether the values of the transform are all equal to (the DC coefficient + 4) >> 3. The last coefficient
/// may be what mismatch control made of 0: it moves samples by less than 1/4, and the DC coefficient is even
/// then, so that only halves are in danger.
inline bool IsFlat(std::uint32_t inReach, const std::int16_t* inValues) {
    return inReach == 0 && (inValues[63] == 0 || (inValues[0] & 7) != 4);
}

}  // namespace
}  // namespace Vexmora
