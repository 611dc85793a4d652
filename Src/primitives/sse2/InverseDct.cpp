// The inverse 8 x 8 transform with four float values a register.
#include "primitives/BlockDecode.h"
#include "primitives/kernels/InverseDctOutput.h"
#include "primitives/kernels/InverseDctPass.h"
#include "primitives/sse2/Sse2.h"

namespace Vexmora {
namespace {

// Four coefficients of a column, weighted.
__m128 LoadFour(const std::int16_t* inColumn, const float* inWeights) {
    const __m128i four = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(inColumn));
    const __m128i wide = _mm_srai_epi32(_mm_unpacklo_epi16(four, four), 16);
    return _mm_mul_ps(_mm_cvtepi32_ps(wide), _mm_load_ps(inWeights));
}

// The samples, each half of the rows in four lanes.
void InverseDct(const CoefficientBlock& inBlock, SampleRows& outRows) {
    if (IsFlat(inBlock.reach, inBlock.values)) {
        const auto flat = static_cast<std::int16_t>((inBlock.values[0] + 4) >> 3);
        for (__m128i& row : outRows) row = _mm_set1_epi16(flat);
        return;
    }
    __m128 halves[2][8];  // of the columns; each 4 x 4 quarter is transposed on its way to the rows
    for (int half = 0; half < 2; ++half) {
        __m128(&values)[8] = halves[half];
        for (int u = 0; u < 8; ++u) {
            values[u] = LoadFour(inBlock.values + u * 8 + half * 4, kCoefficientWeights.values[u] + half * 4);
        }
        if (half == 0) values[0] = _mm_add_ps(values[0], _mm_setr_ps(kTieBias, 0, 0, 0));
        InverseDctPass(values);
    }
    __m128i left[8];
    for (int half = 0; half < 2; ++half) {
        __m128 values[8];
        for (int v = 0; v < 8; ++v) values[v] = halves[v / 4][half * 4 + v % 4];
        _MM_TRANSPOSE4_PS(values[0], values[1], values[2], values[3]);
        _MM_TRANSPOSE4_PS(values[4], values[5], values[6], values[7]);
        InverseDctPass(values);
        for (int y = 0; y < 8; ++y) {
            const __m128i four = _mm_cvtps_epi32(values[y]);
            if (half == 0) {
                left[y] = four;
            } else {
                outRows[y] = _mm_packs_epi32(left[y], four);
            }
        }
    }
}

}  // namespace

PrimitiveStatus InverseDctToPixels_Sse2(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                        std::ptrdiff_t inStep) {
    if (outPixels == nullptr) return PrimitiveStatus::NullPointer;
    SampleRows rows;
    InverseDct(inBlock, rows);
    StoreClipped(rows, outPixels, inStep);
    return PrimitiveStatus::Ok;
}

PrimitiveStatus InverseDctAddToPixels_Sse2(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                           std::ptrdiff_t inStep) {
    if (ioPixels == nullptr) return PrimitiveStatus::NullPointer;
    SampleRows rows;
    InverseDct(inBlock, rows);
    AddPixels(rows, ioPixels, inStep);
    StoreClipped(rows, ioPixels, inStep);
    return PrimitiveStatus::Ok;
}

PrimitiveStatus InverseDctToResidual_Sse2(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                          std::ptrdiff_t inStepBytes) {
    if (outResidual == nullptr) return PrimitiveStatus::NullPointer;
    SampleRows rows;
    InverseDct(inBlock, rows);
    StoreRows(rows, outResidual, inStepBytes);
    return PrimitiveStatus::Ok;
}

}  // namespace Vexmora
