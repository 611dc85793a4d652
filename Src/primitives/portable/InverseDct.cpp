// The inverse 8 x 8 transform (ISO/IEC 13818-2, 7.5 and Annex A), exact in integers up to one rounding at the
// end.
#include <algorithm>
#include <cstring>

#include "primitives/BlockDecode.h"
#include "primitives/portable/Portable.h"

namespace Vexmora {
namespace {

constexpr int kSize = 8;
constexpr std::uint64_t kDcOnly = 1;
constexpr std::uint64_t kRowBits = 0xFF;

// sqrt(2) * cos(k * pi / 16) for k = 1 to 7, and 1, over 2^14. With the DC and k = 4 factor 1, one pass is
// sqrt(8) times an orthonormal transform, two passes 8 times; so the DC path needs no rounded constant at
// all. All constants fit 16 bits. For coefficients of -2048 to 2047 a first pass stays below 2^28, and its
// upper and lower 14-bit halves times the constants stay within 32 bits each: vector code gets the same
// result from 16-bit products.
constexpr int kConstantBits = 14;
constexpr int kUnit = 1 << kConstantBits;
constexpr int kC1 = 22725;
constexpr int kC2 = 21407;
constexpr int kC3 = 19266;
constexpr int kC5 = 12873;
constexpr int kC6 = 8867;
constexpr int kC7 = 4520;

/// Takes the scale of both passes away: 2^28 for the constants, 8 for the factors.
constexpr int kFinalShift = 2 * kConstantBits + 3;

/// One pass over 8 values, inStep apart in the input.
template <typename Number, typename Input>
void Transform(const Input* inValues, int inStep, Number (&outValues)[kSize]) {
    const auto in = [=](int inIndex) { return static_cast<Number>(inValues[inIndex * inStep]); };
    const Number sum = (in(0) + in(4)) * kUnit;
    const Number difference = (in(0) - in(4)) * kUnit;
    const Number outer = in(2) * kC2 + in(6) * kC6;
    const Number inner = in(2) * kC6 - in(6) * kC2;
    const Number even[4] = {sum + outer, difference + inner, difference - inner, sum - outer};
    const Number odd[4] = {in(1) * kC1 + in(3) * kC3 + in(5) * kC5 + in(7) * kC7,
                           in(1) * kC3 - in(3) * kC7 - in(5) * kC1 - in(7) * kC5,
                           in(1) * kC5 - in(3) * kC1 + in(5) * kC7 + in(7) * kC3,
                           in(1) * kC7 - in(3) * kC5 + in(5) * kC3 - in(7) * kC1};
    for (int i = 0; i < 4; ++i) {
        outValues[i] = even[i] + odd[i];
        outValues[7 - i] = even[i] - odd[i];
    }
}

/// Rounds a value of scale 2^(2 * kConstantBits + 3) to the nearest integer, halves up.
std::int16_t Round(std::int64_t inValue) {
    return static_cast<std::int16_t>((inValue + (std::int64_t{1} << (kFinalShift - 1))) >> kFinalShift);
}

/// The transform into 8 x 8 values. What it passes over is 0, so every path gives the same values.
void InverseDct(const CoefficientBlock& inBlock, std::int16_t (&outValues)[kSize][kSize]) {
    if ((inBlock.nonZero & ~kDcOnly) == 0) {
        const std::int16_t flat = static_cast<std::int16_t>((inBlock.values[0] + 4) >> 3);
        std::fill_n(&outValues[0][0], kSize * kSize, flat);
        return;
    }
    std::int32_t rows[kSize][kSize] = {};
    for (int row = 0; row < kSize; ++row) {
        if ((inBlock.nonZero >> (row * kSize) & kRowBits) != 0) {
            Transform(inBlock.values + row * kSize, 1, rows[row]);
        }
    }
    if ((inBlock.nonZero & ~kRowBits) == 0) {
        for (int x = 0; x < kSize; ++x) outValues[0][x] = Round(std::int64_t{rows[0][x]} * kUnit);
        for (int y = 1; y < kSize; ++y) std::memcpy(outValues[y], outValues[0], sizeof outValues[0]);
        return;
    }
    for (int x = 0; x < kSize; ++x) {
        std::int64_t column[kSize];
        Transform(&rows[0][x], kSize, column);
        for (int y = 0; y < kSize; ++y) outValues[y][x] = Round(column[y]);
    }
}

}  // namespace

PrimitiveStatus InverseDctToPixels_Portable(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                            std::ptrdiff_t inStep) {
    if (outPixels == nullptr) return PrimitiveStatus::NullPointer;
    std::int16_t values[kSize][kSize];
    InverseDct(inBlock, values);
    for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) {
            outPixels[y * inStep + x] = static_cast<std::uint8_t>(std::clamp<int>(values[y][x], 0, 255));
        }
    }
    return PrimitiveStatus::Ok;
}

PrimitiveStatus InverseDctToResidual_Portable(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                              std::ptrdiff_t inStepBytes) {
    if (outResidual == nullptr) return PrimitiveStatus::NullPointer;
    std::int16_t values[kSize][kSize];
    InverseDct(inBlock, values);
    auto* row = reinterpret_cast<std::uint8_t*>(outResidual);
    for (int y = 0; y < kSize; ++y) std::memcpy(row + y * inStepBytes, values[y], sizeof values[y]);
    return PrimitiveStatus::Ok;
}

}  // namespace Vexmora
