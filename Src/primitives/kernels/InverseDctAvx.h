// The inverse 8 x 8 transform with eight values a register. Included by files that are compiled for AVX or
// more.
#pragma once

#include <immintrin.h>

#include "primitives/BlockDecode.h"
#include "primitives/kernels/InverseDctPass.h"

namespace Vexmora {
namespace {

/// Eight coefficients of a column as float values.
inline __m256 LoadColumn(const std::int16_t* inColumn) {
    const __m128i column = _mm_load_si128(reinterpret_cast<const __m128i*>(inColumn));
#if defined(__AVX2__)
    return _mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(column));
#else
    const __m128i lower = _mm_cvtepi16_epi32(column);
    const __m128i upper = _mm_cvtepi16_epi32(_mm_unpackhi_epi64(column, column));
    return _mm256_cvtepi32_ps(_mm256_insertf128_si256(_mm256_castsi128_si256(lower), upper, 1));
#endif
}

/// Makes rows of columns.
inline void Transpose(__m256 (&ioValues)[8]) {
    __m256 pairs[8];
    for (int i = 0; i < 8; i += 2) {
        pairs[i] = _mm256_unpacklo_ps(ioValues[i], ioValues[i + 1]);
        pairs[i + 1] = _mm256_unpackhi_ps(ioValues[i], ioValues[i + 1]);
    }
    __m256 fours[8];
    for (int i = 0; i < 8; i += 4) {
        fours[i] = _mm256_shuffle_ps(pairs[i], pairs[i + 2], 0x44);
        fours[i + 1] = _mm256_shuffle_ps(pairs[i], pairs[i + 2], 0xEE);
        fours[i + 2] = _mm256_shuffle_ps(pairs[i + 1], pairs[i + 3], 0x44);
        fours[i + 3] = _mm256_shuffle_ps(pairs[i + 1], pairs[i + 3], 0xEE);
    }
    for (int i = 0; i < 4; ++i) {
        ioValues[i] = _mm256_permute2f128_ps(fours[i], fours[i + 4], 0x20);
        ioValues[i + 4] = _mm256_permute2f128_ps(fours[i], fours[i + 4], 0x31);
    }
}

/// The samples, row by row.
inline void InverseDct(const CoefficientBlock& inBlock, __m256i (&outRows)[8]) {
    __m256 values[8];
    for (int u = 0; u < 8; ++u) {
        values[u] =
            _mm256_mul_ps(LoadColumn(inBlock.values + u * 8), _mm256_load_ps(kCoefficientWeights.values[u]));
    }
    values[0] = _mm256_add_ps(values[0], _mm256_setr_ps(kTieBias, 0, 0, 0, 0, 0, 0, 0));
    InverseDctPass(values);
    Transpose(values);
    InverseDctPass(values);
    for (int y = 0; y < 8; ++y) outRows[y] = _mm256_cvtps_epi32(values[y]);
}

/// The sample of a block whose samples are all equal.
inline std::int16_t FlatSample(const CoefficientBlock& inBlock) {
    return static_cast<std::int16_t>((inBlock.values[0] + 4) >> 3);
}

}  // namespace
}  // namespace Vexmora
