// The inverse 8 x 8 transform with two rows of samples a register.
#include "primitives/avx2/Avx2.h"
#include "primitives/kernels/InverseDctAvx.h"

namespace Vexmora {
namespace {

// A pair of rows: samples 0 to 3 of both, then samples 4 to 7 of both.
using RowPairs = __m256i[4];

// In its callers, so that the rows stay in registers.
[[gnu::always_inline]] inline void InverseDct(const CoefficientBlock& inBlock, RowPairs& outPairs) {
    if (IsFlat(inBlock.reach, inBlock.values)) {
        for (__m256i& pair : outPairs) pair = _mm256_set1_epi16(FlatSample(inBlock));
        return;
    }
    __m256i rows[8];
    InverseDct(inBlock, rows);
    for (int i = 0; i < 4; ++i) outPairs[i] = _mm256_packs_epi32(rows[2 * i], rows[2 * i + 1]);
}

__m256i LoadPair(const std::uint8_t* inPixels, std::ptrdiff_t inStep) {
    const __m128i first = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(inPixels));
    const __m128i second = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(inPixels + inStep));
    return _mm256_cvtepu8_epi16(_mm_unpacklo_epi32(first, second));
}

void StoreRows(__m128i inRows, std::uint8_t* outPixels, std::ptrdiff_t inStep) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(outPixels), inRows);
    _mm_storeh_pi(reinterpret_cast<__m64*>(outPixels + inStep), _mm_castsi128_ps(inRows));
}

void StoreClipped(const RowPairs& inPairs, std::uint8_t* outPixels, std::ptrdiff_t inStep) {
    for (int i = 0; i < 4; i += 2, outPixels += 4 * inStep) {
        const __m256i four = _mm256_packus_epi16(inPairs[i], inPairs[i + 1]);
        const __m128i left = _mm256_castsi256_si128(four);
        const __m128i right = _mm256_extracti128_si256(four, 1);
        StoreRows(_mm_unpacklo_epi32(left, right), outPixels, inStep);
        StoreRows(_mm_unpackhi_epi32(left, right), outPixels + 2 * inStep, inStep);
    }
}

}  // namespace

PrimitiveStatus InverseDctToPixels_Avx2(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                        std::ptrdiff_t inStep) {
    if (outPixels == nullptr) return PrimitiveStatus::NullPointer;
    RowPairs pairs;
    InverseDct(inBlock, pairs);
    StoreClipped(pairs, outPixels, inStep);
    return PrimitiveStatus::Ok;
}

PrimitiveStatus InverseDctAddToPixels_Avx2(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                           std::ptrdiff_t inStep) {
    if (ioPixels == nullptr) return PrimitiveStatus::NullPointer;
    RowPairs pairs;
    InverseDct(inBlock, pairs);
    for (int i = 0; i < 4; ++i) {
        pairs[i] = _mm256_adds_epi16(pairs[i], LoadPair(ioPixels + 2 * i * inStep, inStep));
    }
    StoreClipped(pairs, ioPixels, inStep);
    return PrimitiveStatus::Ok;
}

PrimitiveStatus InverseDctToResidual_Avx2(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                          std::ptrdiff_t inStepBytes) {
    if (outResidual == nullptr) return PrimitiveStatus::NullPointer;
    RowPairs pairs;
    InverseDct(inBlock, pairs);
    auto* row = reinterpret_cast<std::uint8_t*>(outResidual);
    for (const __m256i& pair : pairs) {
        const __m256i rows = _mm256_permute4x64_epi64(pair, 0xD8);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row), _mm256_castsi256_si128(rows));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row + inStepBytes), _mm256_extracti128_si256(rows, 1));
        row += 2 * inStepBytes;
    }
    return PrimitiveStatus::Ok;
}

}  // namespace Vexmora
