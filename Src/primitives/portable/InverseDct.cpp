// The inverse 8 x 8 transform (ISO/IEC 13818-2, 7.5 and Annex A).
#include <algorithm>
#include <cstring>

#include "primitives/BlockDecode.h"
#include "primitives/kernels/InverseDctPass.h"
#include "primitives/portable/Portable.h"

namespace Vexmora {
namespace {

constexpr int kSize = 8;

// Eight values, each in its lane; loops over them become vector code.
struct Lanes {
    float lane[kSize];

    template <typename Operation>
    static Lanes Each(Operation inOperation) {
        Lanes result;
        for (int i = 0; i < kSize; ++i) result.lane[i] = inOperation(i);
        return result;
    }
    friend Lanes operator+(const Lanes& inLeft, const Lanes& inRight) {
        return Each([&](int i) { return inLeft.lane[i] + inRight.lane[i]; });
    }
    friend Lanes operator-(const Lanes& inLeft, const Lanes& inRight) {
        return Each([&](int i) { return inLeft.lane[i] - inRight.lane[i]; });
    }
    friend Lanes operator*(const Lanes& inLeft, float inFactor) {
        return Each([&](int i) { return inLeft.lane[i] * inFactor; });
    }
};

// The nearest integer, ties to even. Above 2^23 floats have no fraction; the sum's lower bits are the
// number.
std::int16_t Round(float inValue) {
    constexpr float kNoFraction = 3 << 22;
    const float sum = inValue + kNoFraction;
    std::int32_t bits;
    std::memcpy(&bits, &sum, sizeof bits);
    return static_cast<std::int16_t>(bits);
}

using Samples = std::int16_t[kSize][kSize];

void InverseDct(const CoefficientBlock& inBlock, Samples& outSamples) {
    if (IsFlat(inBlock.reach, inBlock.values)) {
        const std::int16_t flat = static_cast<std::int16_t>((inBlock.values[0] + 4) >> 3);
        std::fill_n(&outSamples[0][0], kSize * kSize, flat);
        return;
    }
    Lanes columns[kSize];
    for (int u = 0; u < kSize; ++u) {
        columns[u] = Lanes::Each([&](int v) {
            return static_cast<float>(inBlock.values[u * kSize + v]) * kCoefficientWeights.values[u][v];
        });
    }
    columns[0].lane[0] += kTieBias;
    InverseDctPass(columns);
    Lanes rows[kSize];
    for (int v = 0; v < kSize; ++v) rows[v] = Lanes::Each([&](int x) { return columns[x].lane[v]; });
    InverseDctPass(rows);
    for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) outSamples[y][x] = Round(rows[y].lane[x]);
    }
}

std::uint8_t Clip(int inValue) {
    return static_cast<std::uint8_t>(std::clamp(inValue, 0, 255));
}

}  // namespace

PrimitiveStatus InverseDctToPixels_Portable(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                            std::ptrdiff_t inStep) {
    if (outPixels == nullptr) return PrimitiveStatus::NullPointer;
    Samples samples;
    InverseDct(inBlock, samples);
    for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) outPixels[y * inStep + x] = Clip(samples[y][x]);
    }
    return PrimitiveStatus::Ok;
}

PrimitiveStatus InverseDctAddToPixels_Portable(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                               std::ptrdiff_t inStep) {
    if (ioPixels == nullptr) return PrimitiveStatus::NullPointer;
    Samples samples;
    InverseDct(inBlock, samples);
    for (int y = 0; y < kSize; ++y) {
        std::uint8_t* const row = ioPixels + y * inStep;
        for (int x = 0; x < kSize; ++x) row[x] = Clip(row[x] + samples[y][x]);
    }
    return PrimitiveStatus::Ok;
}

PrimitiveStatus InverseDctToResidual_Portable(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                              std::ptrdiff_t inStepBytes) {
    if (outResidual == nullptr) return PrimitiveStatus::NullPointer;
    Samples samples;
    InverseDct(inBlock, samples);
    auto* row = reinterpret_cast<std::uint8_t*>(outResidual);
    for (int y = 0; y < kSize; ++y) std::memcpy(row + y * inStepBytes, samples[y], sizeof samples[y]);
    return PrimitiveStatus::Ok;
}

}  // namespace Vexmora
